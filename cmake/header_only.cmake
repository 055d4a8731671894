# sealkit_header_only(NAME HEADER): an interface target for a header-only library of the build
# machine. Under a cross compiler only that library's own folder may be seen, never the build
# machine's C library headers beside it. Makes no target if the library is missing.
function(sealkit_header_only name header)
    find_path(${name}_INCLUDE_DIR ${header} NO_CMAKE_FIND_ROOT_PATH)
    if(NOT ${name}_INCLUDE_DIR)
        return()
    endif()
    set(include_dir ${${name}_INCLUDE_DIR})
    if(CMAKE_CROSSCOMPILING)
        get_filename_component(folder ${header} DIRECTORY)
        string(REGEX REPLACE "/.*" "" folder ${folder})
        set(include_dir ${CMAKE_BINARY_DIR}/header-only)
        file(MAKE_DIRECTORY ${include_dir})
        file(CREATE_LINK ${${name}_INCLUDE_DIR}/${folder} ${include_dir}/${folder} SYMBOLIC)
    endif()
    add_library(${name} INTERFACE)
    target_include_directories(${name} SYSTEM INTERFACE ${include_dir})
endfunction()
