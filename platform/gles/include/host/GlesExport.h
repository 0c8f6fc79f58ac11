// PLEXA_GLES_EXPORT: marks what libplexa_gles.so shows.
#pragma once

#define PLEXA_GLES_EXPORT __attribute__((visibility("default")))
