# mlkem-native, whose ML-KEM-768 the library wraps. Taken from the first of these that has it:
#
# 1. this machine: pkg-config's mlkem-native, or a library in CMAKE_PREFIX_PATH;
# 2. MLKEM_NATIVE_DIR, a source tree of the upstream release;
# 3. a package of Debian with the sources (scripts/fetch-mlkem-native), kept in MLKEM_NATIVE_CACHE;
# 4. MLKEM_NATIVE_URL, an archive of the upstream release.
#
# sealkit_get_mlkem_native() looks for it, and turns SEALKIT_MLKEM off if that is AUTO and it is not found;
# sealkit_add_mlkem_native(TARGET) links it into TARGET, which does not export its symbols.
set(MLKEM_NATIVE_DIR "" CACHE PATH "Source tree of mlkem-native, as upstream releases it")
set(MLKEM_NATIVE_URL "" CACHE STRING "Archive of a release of mlkem-native, where nothing else has it")
set(MLKEM_NATIVE_SHA256 "" CACHE STRING "SHA-256 of the archive that MLKEM_NATIVE_URL names")

# One download for all the builds below build/.
cmake_path(IS_PREFIX PROJECT_SOURCE_DIR ${CMAKE_BINARY_DIR} NORMALIZE sealkit_builds_within)
if(sealkit_builds_within)
    set(sealkit_mlkem_native_cache ${PROJECT_SOURCE_DIR}/build/mlkem-native)
else()
    set(sealkit_mlkem_native_cache ${CMAKE_BINARY_DIR}/mlkem-native)
endif()
set(MLKEM_NATIVE_CACHE ${sealkit_mlkem_native_cache} CACHE PATH "Where the downloaded sources of mlkem-native are kept")

enable_language(C)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64)$" AND CMAKE_SIZEOF_VOID_P EQUAL 8)
    set(SEALKIT_IS_X86_64 ON)
    enable_language(ASM)
endif()

# Whether a shared library for this target can be linked with these libraries: the symbols exist, in
# position-independent code.
function(sealkit_check_mlkem_native result)
    include(CheckCSourceCompiles)
    set(CMAKE_REQUIRED_LIBRARIES ${ARGN})
    set(CMAKE_REQUIRED_FLAGS -fPIC)
    set(CMAKE_REQUIRED_LINK_OPTIONS -shared -Wl,--no-undefined)
    set(calls "")
    foreach(name keypair_derand check_pk check_sk enc_derand dec)
        string(APPEND calls "int PQCP_MLKEM_NATIVE_MLKEM768_${name}();\n")
        string(APPEND sum " + PQCP_MLKEM_NATIVE_MLKEM768_${name}()")
    endforeach()
    check_c_source_compiles("${calls}int randombytes() { return 1; }\nint use() { return 0${sum}; }\nint main() { return 0; }"
        ${result})
    set(${result} ${${result}} PARENT_SCOPE)
endfunction()

function(sealkit_find_mlkem_native)
    find_package(PkgConfig QUIET)
    if(PKG_CONFIG_FOUND)
        pkg_check_modules(MLKEM_NATIVE QUIET IMPORTED_TARGET mlkem-native)
        if(MLKEM_NATIVE_FOUND)
            sealkit_check_mlkem_native(MLKEM_NATIVE_BY_PKG_CONFIG PkgConfig::MLKEM_NATIVE)
            if(MLKEM_NATIVE_BY_PKG_CONFIG)
                set(found PkgConfig::MLKEM_NATIVE)
            endif()
        endif()
    endif()
    find_path(MLKEM_NATIVE_HEADER mlkem_native.h PATH_SUFFIXES mlkem-native mlkem_native mlkem)
    find_library(MLKEM_NATIVE_LIBRARY NAMES mlkem-native mlkem_native mlkem768 mlkem)
    mark_as_advanced(MLKEM_NATIVE_HEADER MLKEM_NATIVE_LIBRARY)
    if(NOT found AND MLKEM_NATIVE_HEADER AND MLKEM_NATIVE_LIBRARY)
        sealkit_check_mlkem_native(MLKEM_NATIVE_BY_PATH ${MLKEM_NATIVE_LIBRARY})
        if(MLKEM_NATIVE_BY_PATH)
            set(found ${MLKEM_NATIVE_LIBRARY})
        endif()
    endif()
    if(found)
        message(STATUS "mlkem-native: installed")
    elseif(MLKEM_NATIVE_FOUND OR (MLKEM_NATIVE_HEADER AND MLKEM_NATIVE_LIBRARY))
        message(STATUS "mlkem-native: installed, but not usable: not of ML-KEM-768, not under the prefix "
            "PQCP_MLKEM_NATIVE_MLKEM768, or without -fPIC")
    endif()
    set(SEALKIT_MLKEM_NATIVE_INSTALLED ${found} PARENT_SCOPE)
endfunction()

# The folder of sources, in SEALKIT_MLKEM_NATIVE_UPSTREAM or SEALKIT_MLKEM_NATIVE_PACKAGED, or neither.
function(sealkit_get_mlkem_native_sources)
    if(MLKEM_NATIVE_DIR)
        if(NOT EXISTS ${MLKEM_NATIVE_DIR}/mlkem/mlkem_native.c)
            message(FATAL_ERROR "MLKEM_NATIVE_DIR is not a source tree of mlkem-native, because there is no\n"
                "  ${MLKEM_NATIVE_DIR}/mlkem/mlkem_native.c")
        endif()
        message(STATUS "mlkem-native: ${MLKEM_NATIVE_DIR}")
        set(SEALKIT_MLKEM_NATIVE_UPSTREAM ${MLKEM_NATIVE_DIR} PARENT_SCOPE)
        return()
    endif()

    if(NOT EXISTS ${MLKEM_NATIVE_CACHE}/source)
        message(STATUS "mlkem-native: not on this machine, asking Debian for its sources")
    endif()
    execute_process(COMMAND ${PROJECT_SOURCE_DIR}/scripts/fetch-mlkem-native ${MLKEM_NATIVE_CACHE}
        RESULT_VARIABLE failed ERROR_VARIABLE why ERROR_STRIP_TRAILING_WHITESPACE)
    if(NOT failed)
        file(READ ${MLKEM_NATIVE_CACHE}/source/VERSION version)
        string(STRIP "${version}" version)
        message(STATUS "mlkem-native: out of ${version}, in ${MLKEM_NATIVE_CACHE}")
        set(SEALKIT_MLKEM_NATIVE_PACKAGED ${MLKEM_NATIVE_CACHE}/source PARENT_SCOPE)
        return()
    endif()
    message(STATUS "mlkem-native: not available from Debian")
    set(mlkem_native_reason "${why}" PARENT_SCOPE)

    if(MLKEM_NATIVE_URL AND MLKEM_NATIVE_SHA256)
        include(FetchContent)
        if(POLICY CMP0135)
            cmake_policy(SET CMP0135 NEW) # Files of an archive get the time of their unpacking.
        endif()
        FetchContent_Declare(mlkem_native_release URL ${MLKEM_NATIVE_URL} URL_HASH SHA256=${MLKEM_NATIVE_SHA256}
            SOURCE_SUBDIR none) # Its own build is not wanted.
        FetchContent_MakeAvailable(mlkem_native_release)
        if(EXISTS ${mlkem_native_release_SOURCE_DIR}/mlkem/mlkem_native.c)
            message(STATUS "mlkem-native: ${MLKEM_NATIVE_URL}")
            set(SEALKIT_MLKEM_NATIVE_UPSTREAM ${mlkem_native_release_SOURCE_DIR} PARENT_SCOPE)
            return()
        endif()
        message(STATUS "MLKEM_NATIVE_URL is not a release of mlkem-native: it has no mlkem/mlkem_native.c")
    endif()
endfunction()

# A macro, because other folders use its results.
macro(sealkit_get_mlkem_native)
    sealkit_find_mlkem_native()
    if(NOT SEALKIT_MLKEM_NATIVE_INSTALLED)
        sealkit_get_mlkem_native_sources()
        if(NOT SEALKIT_MLKEM_NATIVE_UPSTREAM AND NOT SEALKIT_MLKEM_NATIVE_PACKAGED)
            if(SEALKIT_MLKEM STREQUAL AUTO)
                set(SEALKIT_MLKEM OFF)
                set(mlkem_native_severity WARNING)
                set(mlkem_native_effect "sealkit is built without ML-KEM")
            else()
                set(mlkem_native_severity FATAL_ERROR)
                set(mlkem_native_effect "sealkit cannot be built with ML-KEM")
            endif()
            message(${mlkem_native_severity} "${mlkem_native_effect}: mlkem-native is not available:\n"
                "${mlkem_native_reason}\n"
                "To have it, do one of these:\n"
                "  install it where pkg-config or CMAKE_PREFIX_PATH finds it;\n"
                "  unpack a release of the project mlkem-native and give -DMLKEM_NATIVE_DIR=FOLDER;\n"
                "  give -DMLKEM_NATIVE_URL=URL -DMLKEM_NATIVE_SHA256=DIGEST of the archive of a release;\n"
                "  run scripts/fetch-mlkem-native FOLDER on a Debian machine with a network, copy FOLDER here and\n"
                "  give -DMLKEM_NATIVE_CACHE=FOLDER.\n"
                "-DSEALKIT_MLKEM=OFF builds without ML-KEM and without this message.")
        endif()
    endif()
endmacro()

# sealkit_mlkem_native_library(NAME [SOURCE...]): the sources in C, those in SOURCE beside them, and how they are
# compiled.
function(sealkit_mlkem_native_library name)
    set(ours ${PROJECT_SOURCE_DIR}/cmake/mlkem_native)
    if(SEALKIT_MLKEM_NATIVE_UPSTREAM)
        add_library(${name} STATIC ${SEALKIT_MLKEM_NATIVE_UPSTREAM}/mlkem/mlkem_native.c)
    else()
        set(modules ${SEALKIT_MLKEM_NATIVE_PACKAGED}/crypto/fipsmodule)
        set(sources compress indcpa kem poly poly_k sampling verify debug)
        list(TRANSFORM sources REPLACE "(.+)" "${modules}/ml_kem/mlkem/\\1.c")
        add_library(${name} STATIC
            ${sources} ${modules}/sha/keccak1600.c ${modules}/sha/sha3.c ${ours}/hooks.c ${ARGN})
        target_include_directories(${name} PRIVATE ${SEALKIT_MLKEM_NATIVE_PACKAGED}/include)
        target_compile_definitions(${name} PRIVATE OPENSSL_NO_ASM AWS_LC_BUILTIN_SWAP_SUPPORTED
            SEALKIT_MLKEM_NATIVE_GLUE)
        target_compile_options(${name} PRIVATE "$<$<COMPILE_LANGUAGE:C>:SHELL:-include ${ours}/service_indicator.h>")
    endif()
    # It is third-party code: built with its own optimisation in every build type, without warnings. Later compilers
    # reject functions without a declaration, so builds with tests do so under every compiler.
    target_compile_options(${name} PRIVATE -O2 $<IF:$<BOOL:${SEALKIT_TESTS}>,-Werror=implicit-function-declaration,-w>)
    sealkit_harden(${name})
    target_compile_definitions(${name} PRIVATE MLK_CONFIG_FILE="${ours}/config.h" NDEBUG)
    set_target_properties(${name} PROPERTIES C_VISIBILITY_PRESET hidden C_STANDARD 11)
endfunction()

# mlkem_native from the packaged sources for x86-64, whose code for these processors is selected at run time, and
# mlkem_native_portable without it, for comparison in tests.
function(sealkit_add_mlkem_native_x86_64)
    set(folder ${SEALKIT_MLKEM_NATIVE_PACKAGED}/crypto/fipsmodule/ml_kem/mlkem)
    set(assembly ntt intt nttunpack ntttobytes nttfrombytes reduce tomont rej_uniform_asm mulcache_compute
        polyvec_basemul_acc_montgomery_cached_asm_k3 poly_compress_d4 poly_compress_d10 poly_decompress_d4
        poly_decompress_d10)
    list(TRANSFORM assembly REPLACE "(.+)" "${folder}/native/x86_64/src/\\1.S")
    set(tables consts compress_consts rej_uniform_table)
    list(TRANSFORM tables REPLACE "(.+)" "${folder}/native/x86_64/src/\\1.c")
    sealkit_mlkem_native_library(mlkem_native ${tables} ${assembly})
    target_include_directories(mlkem_native PRIVATE ${folder} ${PROJECT_SOURCE_DIR}/cmake/mlkem_native/x86_64)
    target_compile_definitions(mlkem_native PRIVATE SEALKIT_MLKEM_NATIVE_X86_64)
    sealkit_mlkem_native_library(mlkem_native_portable)
    set_target_properties(mlkem_native_portable PROPERTIES EXCLUDE_FROM_ALL ON)
endfunction()

function(sealkit_add_mlkem_native target)
    # Some of its functions are declared as exported.
    target_link_options(${target} PRIVATE -Wl,--exclude-libs,ALL)
    if(SEALKIT_MLKEM_NATIVE_INSTALLED)
        target_link_libraries(${target} PRIVATE ${SEALKIT_MLKEM_NATIVE_INSTALLED})
        # A shared library may be outside the loader's default folders.
        set_target_properties(${target} PROPERTIES INSTALL_RPATH_USE_LINK_PATH ON)
        return()
    endif()

    if(SEALKIT_MLKEM_NATIVE_UPSTREAM)
        set(licences ${SEALKIT_MLKEM_NATIVE_UPSTREAM}/LICENSE)
    else()
        set(licences ${SEALKIT_MLKEM_NATIVE_PACKAGED}/copyright)
    endif()
    if(SEALKIT_MLKEM_NATIVE_PACKAGED AND SEALKIT_IS_X86_64)
        sealkit_add_mlkem_native_x86_64()
    else()
        sealkit_mlkem_native_library(mlkem_native)
    endif()
    target_link_libraries(${target} PRIVATE mlkem_native)
    install(FILES ${licences} DESTINATION ${CMAKE_INSTALL_DOCDIR} RENAME mlkem-native.copyright)
endfunction()
