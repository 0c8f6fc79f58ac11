// Entry: marks the functions that stand in for EGL and OpenGL ES functions.
#pragma once

#include "host/GlesExport.h"

// The linker turns a caller's eglGetDisplay into __wrap_eglGetDisplay (see CMakeLists.txt, which
// lists them all). So only those who link this library come here, whatever else in the process uses
// the host's EGL, and this library itself calls the host's functions by their plain names.
#define PLEXA_GLES_ENTRY extern "C" PLEXA_GLES_EXPORT
