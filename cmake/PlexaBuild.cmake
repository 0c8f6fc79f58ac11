# Compiler settings shared by every target of the project.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)

# Installed programs find the libraries beside them, wherever the prefix is moved to.
file(RELATIVE_PATH plexa_bin_to_lib
     /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
set(CMAKE_INSTALL_RPATH "$ORIGIN/${plexa_bin_to_lib}" "$ORIGIN")

set(PLEXA_SANITIZER "" CACHE STRING "Empty, 'address' (with undefined behaviour) or 'thread'")
set_property(CACHE PLEXA_SANITIZER PROPERTY STRINGS "" address thread)

find_program(PLEXA_CCACHE ccache)
if(PLEXA_CCACHE)
    # The cache takes precompiled headers only when told that their macros' times do not matter.
    set(CMAKE_CXX_COMPILER_LAUNCHER
        ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros ${PLEXA_CCACHE})
endif()

# What a library defines is its own: calls within it need not go through the linker's tables.
add_compile_options(-fno-semantic-interposition)
add_link_options(-Wl,-Bsymbolic-functions)
add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Werror)
# ##__VA_ARGS__ of the platform's log macros and zero-length arrays of its native handle are
# extensions that every compiler of the platform takes.
add_compile_options(-Wno-variadic-macros)
if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
    add_compile_options(-Wno-gnu-zero-variadic-macro-arguments -Wno-zero-length-array)
    # What each lock guards, as <android-base/thread_annotations.h> names it.
    add_compile_options(-Wthread-safety)
endif()

if(PLEXA_SANITIZER STREQUAL "address")
    # A float that no integer holds is undefined too, but not in the group of that name.
    add_compile_options(-fsanitize=address,undefined,float-cast-overflow
                        -fno-sanitize-recover=undefined,float-cast-overflow
                        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
elseif(PLEXA_SANITIZER STREQUAL "thread")
    add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
    add_link_options(-fsanitize=thread)
elseif(NOT PLEXA_SANITIZER STREQUAL "")
    message(FATAL_ERROR "PLEXA_SANITIZER is '${PLEXA_SANITIZER}'; expected address or thread")
endif()
# Fuzzers are led by what they reach in the libraries too.
if(PLEXA_BUILD_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()
# Undefined symbols are found when a library is linked, not when a device loads it.
if(PLEXA_SANITIZER STREQUAL "" AND NOT PLEXA_BUILD_FUZZ)
    add_link_options(-Wl,--no-undefined)
endif()
