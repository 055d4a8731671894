# Compiles the files of a folder as one, because headers take most of the time.

# sealkit_unity_groups(TARGET [APART PATH...]): groups the files of a target. Files under APART are compiled
# separately, because their internal names collide with others, and so are files with their own options.
function(sealkit_unity_groups target)
    cmake_parse_arguments(arg "" "" "APART" ${ARGN})
    get_target_property(sources ${target} SOURCES)
    foreach(source IN LISTS sources)
        cmake_path(ABSOLUTE_PATH source BASE_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR} OUTPUT_VARIABLE path)
        cmake_path(RELATIVE_PATH path BASE_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR})
        cmake_path(GET path PARENT_PATH folder)
        string(REPLACE / _ group "${folder}")
        if(path MATCHES "\\.cpp$" AND group AND NOT path IN_LIST arg_APART AND NOT folder IN_LIST arg_APART)
            set_source_files_properties(${source} PROPERTIES UNITY_GROUP ${group})
        endif()
    endforeach()
endfunction()

# sealkit_unity(TARGET CONDITION): whether the groups among its files are compiled as one.
function(sealkit_unity target condition)
    set(quiet "#pragma GCC diagnostic ignored \"-Wshadow\"")
    if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
        string(APPEND quiet "\n#pragma GCC diagnostic ignored \"-Wsubobject-linkage\"")
    endif()
    set_target_properties(${target} PROPERTIES UNITY_BUILD ${condition} UNITY_BUILD_MODE GROUP
        UNITY_BUILD_CODE_BEFORE_INCLUDE "${quiet}")
endfunction()
