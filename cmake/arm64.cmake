# Cross-builds for 64-bit Arm with Debian's compiler and runs the result in an emulator. Libraries come
# from a root of their own, which scripts/setup arm64 fills.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

cmake_path(ABSOLUTE_PATH CMAKE_CURRENT_LIST_DIR NORMALIZE OUTPUT_VARIABLE here)
cmake_path(SET root NORMALIZE ${here}/../build/arm64-root)
set(libraries ${root}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE})

set(CMAKE_FIND_ROOT_PATH ${root})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} ${libraries}/pkgconfig:${root}/usr/share/pkgconfig)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${root})

set(CMAKE_CXX_FLAGS_INIT "-isystem ${root}/usr/include")
foreach(kind EXE SHARED)
    set(CMAKE_${kind}_LINKER_FLAGS_INIT "-L${libraries} -Wl,-rpath-link,${libraries}")
endforeach()
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L ${root})
