// Encoded clips that the tests make and look into with FFmpeg's libraries.
#pragma once

extern "C" {
#include <libavutil/pixfmt.h>
#include <libavutil/rational.h>
}

#include <cstdint>
#include <string>
#include <vector>

namespace plexa::test {

/** One frame of a clip to make: its size, and when it is shown in units of the clip's time base. */
struct ClipFrame {
    int width = 64;
    int height = 48;
    int64_t pts = 0;
};

/** What makeClip() makes, and what readClip() finds. */
struct Clip {
    std::string codec = "mjpeg";  // as FFmpeg names it: the encoder, or when read the codec
    AVPixelFormat pixels = AV_PIX_FMT_YUVJ420P;
    AVRational timeBase{1, 1000};
    AVRational sampleAspectRatio{1, 1};
    AVColorRange range = AVCOL_RANGE_JPEG;
    AVColorPrimaries primaries = AVCOL_PRI_UNSPECIFIED;
    AVColorTransferCharacteristic transfer = AVCOL_TRC_UNSPECIFIED;
    AVColorSpace matrix = AVCOL_SPC_UNSPECIFIED;
    std::vector<ClipFrame> frames;
    bool indexFirst = false;  // the index of an mp4 comes before its data
    // What makeClip() fills frames with, in 8 bits. Each frame's luma is one above the last one's.
    int luma = 40;
    int cb = 128;
    int cr = 128;
    int masteringPeak = 0;  // cd/m2; 0: the stream does not tell

    /** The times of the frames in seconds. */
    std::vector<double> seconds() const;
};

/** Encodes frames of one colour each into the container that the extension of `path` stands for. */
bool makeClip(const std::string& path, const Clip& clip);

/** A file with sound and no video. */
bool makeSound(const std::string& path);

/** Decodes a whole file, a picture too; without frames if it cannot be. */
Clip readClip(const std::string& path);

/** The colour of one pixel of a picture or of a clip's first frame, as 0xRRGGBB; -1 without one. */
int pixelAt(const std::string& path, int x, int y);

}  // namespace plexa::test
