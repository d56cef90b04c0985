# A file's bytes as the constant std::string_view NAME, for what must not look for a file when it runs: appended to the
# C++ in the variable.
function(velk_embed_file variable name file)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
    file(READ ${file} bytes HEX)
    string(REGEX REPLACE "(..)" "\\\\x\\1" bytes "${bytes}")
    set(${variable} "${${variable}}constexpr std::string_view ${name}{\"${bytes}\"};\n" PARENT_SCOPE)
endfunction()
