// YUV4MPEG streams as the tests write and read them, on their own and without FFmpeg.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace plexa::test {

/** A stream of 4:2:0 frames; each frame holds its planes one after the other as in the file. */
struct Y4m {
    int width = 0;
    int height = 0;
    int bits = 8;
    std::vector<std::string> frames;
};

/** Frames of noise, the same for the same arguments: no sample can go astray unseen. */
Y4m noise(int width, int height, int bits, int frames);

/** Frames of one colour; the luma of frame i is 16 + i. */
Y4m greys(int width, int height, int frames);

std::string toText(const Y4m& video);
/** A stream that is not one gives a video without frames. */
Y4m fromText(const std::string& text);

void writeFile(const std::string& path, const std::string& content);
std::string readFile(const std::string& path);

}  // namespace plexa::test
