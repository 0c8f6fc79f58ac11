// The size that the user asks for.
#pragma once

#include <string>

#include "base/Status.h"

namespace plexa {

/** Width and height in pixels; kKeepAspect stands for the one that follows from the other. */
struct PictureSize {
    static constexpr int kKeepAspect = -1;
    /** The smallest side: one chroma sample of 4:2:0 covers this much. */
    static constexpr int kMinSide = 2;

    int width = 0;
    int height = 0;
};

/**
 * Reads "WIDTHxHEIGHT", each at least kMinSide and not isTooLarge(), or one of them -1. The error
 * text says what is wrong with the value and what was expected. Threading: thread-safe, like
 * resolve.
 */
Status parseSize(const std::string& value, PictureSize* size);

/** Works out the side that follows from a source of this size, rounded to the nearest pixel. */
Status resolve(PictureSize requested, int sourceWidth, int sourceHeight, PictureSize* size);

/** Reads two numbers with an x between them and nothing else; false if that is not what is there.
 */
bool parsePair(const std::string& value, int* first, int* second);

}  // namespace plexa
