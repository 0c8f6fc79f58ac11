// The part of a frame that the user asks for.
#pragma once

extern "C" {
#include <libavutil/frame.h>
}

#include <optional>
#include <string>

#include "base/Status.h"

namespace plexa {

/** A rectangle in pixels. */
struct CropArea {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    int right() const { return x + width; }    // exclusive
    int bottom() const { return y + height; }  // exclusive
};

/**
 * Reads "X,Y,W,H". The error text says what is wrong with the value and what was expected.
 * Threading: thread-safe, like cropOf.
 */
Status parseCrop(const std::string& value, CropArea* crop);

/**
 * The part of `frame` to show: what its own cropping leaves, and within that, counted from its
 * corner, `requested`. An error if `requested` reaches beyond.
 */
Status cropOf(const AVFrame& frame, const std::optional<CropArea>& requested, CropArea* crop);

}  // namespace plexa
