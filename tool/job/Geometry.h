// Sizes and areas that the user asks for.
#pragma once

extern "C" {
#include <libavutil/rational.h>
}

#include <span>
#include <string>

#include "base/Status.h"
#include "media/VideoFormat.h"

namespace plexa {

/** Width and height in pixels; kKeepAspect stands for the one that follows from the other. */
struct PictureSize {
    static constexpr int kKeepAspect = -1;
    /** The smallest side: one chroma sample of 4:2:0 covers this much. */
    static constexpr int kMinSide = 2;

    int width = 0;
    int height = 0;

    bool isSet() const { return width != 0; }
};

/** A rectangle in pixels. */
struct CropArea {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    int right() const { return x + width; }    // exclusive
    int bottom() const { return y + height; }  // exclusive
};

/** What a side that follows from the other must be, beside in proportion. */
enum class SideRule { Any, Even };

/**
 * Reads "WIDTHxHEIGHT", each at least kMinSide and not isTooLarge(), or one of them -1. The error
 * text says what is wrong with the value and what was expected. Threading: thread-safe, like all
 * functions here.
 */
Status parseSize(const std::string& value, PictureSize* size);

/** Reads "X,Y,W,H"; error texts as parseSize. */
Status parseCrop(const std::string& value, CropArea* crop);

/** Reads numbers with a separator between them and nothing else; false if that is not there. */
bool parseNumbers(const std::string& value, char separator, std::span<int> numbers);

/** Works out the side that follows from a source of this size, rounded as `rule` says. */
Status resolve(PictureSize requested, PictureSize source, SideRule rule, PictureSize* size);

/** How large a picture with these samples is in square pixels; no side is made smaller. */
PictureSize squarePixels(PictureSize source, AVRational sampleAspectRatio);

/**
 * The sample aspect ratio with which `size` is shown as `source` is. It stays as it is where the
 * sizes are in proportion to the nearest pixels.
 */
AVRational aspectFor(PictureSize size, PictureSize source, AVRational sampleAspectRatio);

}  // namespace plexa
