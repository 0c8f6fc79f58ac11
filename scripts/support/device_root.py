"""What the library is compiled with for a device: clang's own headers, libc++, the C library of
64-bit Arm, Khronos headers and the stand-ins' platform headers, and nothing of the host's.

scripts/setup unpacks the packages that these come from.
"""
import shutil
import subprocess

from .library import CODE, PLATFORM_INCLUDES, ROOT, include_flags

PLATFORM = ROOT / "build/device-platform"
INCLUDES = ROOT / "build/device-root/usr/include"
# A vendor's build does not see the application-side headers.
APPLICATION_HEADERS = ["android/bitmap.h"]
WARNINGS = ["-Wall", "-Wextra", "-Wpedantic", "-Wshadow", "-Wthread-safety", "-Werror",
            # as in cmake/PlexaBuild.cmake: extensions that every compiler of the platform takes
            "-Wno-variadic-macros", "-Wno-gnu-zero-variadic-macro-arguments",
            "-Wno-zero-length-array",
            # [[unlikely]] is an attribute that C++17 ignores
            "-Wno-c++20-attribute-extensions"]


def copy_platform():
    shutil.rmtree(PLATFORM, ignore_errors=True)
    for folder in PLATFORM_INCLUDES:
        shutil.copytree(folder, PLATFORM, dirs_exist_ok=True)
    for header in APPLICATION_HEADERS:
        (PLATFORM / header).unlink()


def prepare():
    subprocess.run([ROOT / "scripts/setup", "device"], check=True)
    copy_platform()


def flags(standard):
    own = subprocess.check_output(["clang++", "-print-resource-dir"], text=True).strip()
    return [f"-std={standard}", "--target=aarch64-linux-gnu", "-fno-exceptions", "-fno-rtti",
            *WARNINGS, f"-I{CODE}", "-nostdinc",
            *include_flags([INCLUDES.parent / "lib/llvm-14/include/c++/v1", f"{own}/include",
                            INCLUDES / "aarch64-linux-gnu", INCLUDES, PLATFORM])]
