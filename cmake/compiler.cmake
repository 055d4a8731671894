# Language level, warnings and sanitizers: one place for every target.
if((CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 12) OR
    (CMAKE_CXX_COMPILER_ID STREQUAL Clang AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 14))
    message(WARNING "sealkit needs GCC 12 or clang 14; this is ${CMAKE_CXX_COMPILER_ID} ${CMAKE_CXX_COMPILER_VERSION}. "
        "If it fails, choose another in a new folder: -DCMAKE_CXX_COMPILER=g++-12")
endif()
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_CXX_FLAGS_RELEASE "-O2")
set(CMAKE_CXX_FLAGS_MINSIZEREL "-Os")
set(CMAKE_CXX_FLAGS_DEBUG "-O1 -g")

add_library(sealkit_warnings INTERFACE)
target_compile_options(sealkit_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wnon-virtual-dtor -Woverloaded-virtual -Wimplicit-fallthrough
    # A later compiler may warn of more, which must not break a build without tests.
    $<$<BOOL:${SEALKIT_TESTS}>:-Werror>
    # GCC warns of the stored address of an object on the stack, which the destructor removes: 12 at -Os, later ones at
    # -O2.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-dangling-pointer>
    # A constructor's parameter may have the name of its member.
    $<IF:$<CXX_COMPILER_ID:GNU>,-Wshadow=local,-Wshadow>)

if(SEALKIT_SANITIZERS)
    add_compile_options(-fsanitize=${SEALKIT_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer -g1)
    add_link_options(-fsanitize=${SEALKIT_SANITIZERS})
endif()

if(SEALKIT_LTO)
    include(CheckIPOSupported)
    check_ipo_supported()
endif()

# sealkit_harden(TARGET): release builds check their stack and buffers at run time, and have read-only tables of
# functions. Sanitizers check more, and do not work with this.
include(CheckCXXCompilerFlag)
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)
check_cxx_compiler_flag("-Werror -fstack-clash-protection" SEALKIT_HAS_STACK_CLASH_PROTECTION)

function(sealkit_harden target)
    if(NOT SEALKIT_HARDENING OR SEALKIT_SANITIZERS)
        return()
    endif()
    set(options -fstack-protector-strong -Wformat -Werror=format-security -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
    if(SEALKIT_HAS_STACK_CLASH_PROTECTION)
        list(APPEND options -fstack-clash-protection)
    endif()
    target_compile_options(${target} PRIVATE "$<$<CONFIG:Release,MinSizeRel>:${options}>")
    target_link_options(${target} PRIVATE "$<$<CONFIG:Release,MinSizeRel>:-Wl,-z,relro;-Wl,-z,now;-Wl,-z,noexecstack>")
endfunction()

# The options of the shared libraries, except warnings.
function(sealkit_library_options target)
    set_target_properties(${target} PROPERTIES
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON
        INTERPROCEDURAL_OPTIMIZATION ${SEALKIT_LTO}
        INSTALL_RPATH "$ORIGIN")
    target_compile_options(${target} PRIVATE -fno-exceptions -fno-semantic-interposition)
    # The library calls its own functions without the procedure linkage table.
    target_link_options(${target} PRIVATE -Wl,-Bsymbolic-functions)
    sealkit_harden(${target})
    target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:sealkit_warnings>)
    if(NOT SEALKIT_SANITIZERS AND NOT SEALKIT_FUZZ)
        target_link_options(${target} PRIVATE -Wl,--no-undefined)
    endif()
endfunction()
