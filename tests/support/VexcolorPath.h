// VexcolorPath: where a dlopen of libvexcolor.so leads. In one source of a program.
#pragma once

#include <dlfcn.h>

#include <cstring>

namespace plexa {

// Another library's path, or one that leads nowhere, takes its place.
inline const char* gVexcolorPath = "libvexcolor.so";

}  // namespace plexa

// Takes the loader's place for every library of this program.
extern "C" __attribute__((visibility("default"))) void* dlopen(const char* path, int mode) {
    using Open = void* (*)(const char*, int);
    static const auto next = reinterpret_cast<Open>(dlsym(RTLD_NEXT, "dlopen"));
    if (path != nullptr && strcmp(path, "libvexcolor.so") == 0) path = plexa::gVexcolorPath;
    return next(path, mode);
}
