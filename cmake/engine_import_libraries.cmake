# Stands in for the reference engine where the bridge is built alone: import libraries of an engine that is not at
# hand, made from its ordinals.
if(NOT WIN32)
    message(FATAL_ERROR "Only on Windows the bridge is built without an engine: libraries are linked by ordinals there")
endif()

foreach(library VELKProvider VELKParser VELKAdapter VELKDataCnvLib)
    set(definition ${PROJECT_SOURCE_DIR}/include/engine/${library}.def)
    set(stub ${CMAKE_BINARY_DIR}/engine/${library}.lib)
    if(MSVC)
        set(command ${CMAKE_AR} /nologo /def:${definition} /out:${stub} /machine:x64)
    else()
        # The names inside are drawn from the path told, and the process: both are kept the same everywhere.
        set(command ${CMAKE_DLLTOOL} -d ${definition} -D ${library}.dll -t ${library} -l ${library}.lib)
    endif()
    file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/engine)
    add_custom_command(OUTPUT ${stub} COMMAND ${command} DEPENDS ${definition} VERBATIM
        WORKING_DIRECTORY ${CMAKE_BINARY_DIR}/engine)
    add_custom_target(${library}_import_library DEPENDS ${stub})
    add_library(${library} SHARED IMPORTED GLOBAL)
    set_target_properties(${library} PROPERTIES IMPORTED_IMPLIB ${stub})
    add_dependencies(${library} ${library}_import_library)
endforeach()
