# What the bridge and the engine's four libraries have in common as files: where they land, what Windows shows of
# them, that the same sources give the same bytes, and their debug information in a file of its own beside them.
function(velk_finished_library library description)
    if(WIN32)
        set(resource ${CMAKE_CURRENT_BINARY_DIR}/${library}.rc)
        configure_file(${PROJECT_SOURCE_DIR}/cmake/version.rc.in ${resource} @ONLY)
        target_sources(${library} PRIVATE ${resource})
        set_target_properties(${library} PROPERTIES
            PREFIX "" RUNTIME_OUTPUT_DIRECTORY ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
    endif()
    if(MINGW)
        # An image base of its own would be drawn from the file's name; Windows moves libraries anyway.
        target_link_options(${library} PRIVATE -static
            LINKER:--no-insert-timestamp LINKER:--disable-auto-image-base)
    elseif(MSVC)
        target_link_options(${library} PRIVATE /Brepro)
    endif()
    if(CMAKE_BUILD_TYPE STREQUAL "RelWithDebInfo" AND NOT MSVC AND NOT VELK_SANITIZE AND NOT VELK_THREAD_SANITIZE)
        set(file $<TARGET_FILE:${library}>)
        add_custom_command(TARGET ${library} POST_BUILD VERBATIM
            COMMAND ${CMAKE_OBJCOPY} -p --only-keep-debug ${file} ${file}.debug
            COMMAND ${CMAKE_STRIP} -p --strip-unneeded ${file}
            COMMAND ${CMAKE_OBJCOPY} -p --add-gnu-debuglink=${file}.debug ${file})
        install(FILES ${file}.debug DESTINATION lib)
    endif()
    # All in one folder: the bridge finds the engine beside it, a debugger its information.
    install(TARGETS ${library} RUNTIME DESTINATION lib LIBRARY DESTINATION lib)
endfunction()
