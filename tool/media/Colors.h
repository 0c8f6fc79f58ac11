// How FFmpeg's filters convert the colours of a stream.
#pragma once

#include <string>

#include "media/VideoFormat.h"

namespace plexa {

/** Whether frames of this format hold RGB, directly or through a palette. */
bool isRgb(AVPixelFormat pixels);

/** The matrix that a stream of this format is coded with, guessed by its size if it is not tagged.
 */
AVColorSpace matrixOf(const VideoFormat& format);

/**
 * Options of the scale filter for conversions between pixel formats at its best quality, with the
 * stream's range, matrix and chroma position on both sides. Threading: thread-safe, like all here.
 */
std::string conversionOptions(const VideoFormat& format);

/** The filters that show a stream with this display matrix upright; empty if it is. */
std::string uprightFilters(const int32_t* matrix);

}  // namespace plexa
