// CL_EXPORT: marks what libvexcolor.so shows.
#pragma once

#define CL_EXPORT __attribute__((visibility("default")))
