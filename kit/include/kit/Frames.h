// Frames: buffers, formats and items for any stage, and pictures that tell which frame they are.
#pragma once

#include <APipeBuffer.h>
#include <APipeConverter.h>
#include <APipeItemGenerator.h>
#include <media/stagefright/foundation/AMessage.h>

#include <cstdint>
#include <memory>
#include <string>

namespace plexa::kit {

/// How frames are laid out at one place of a chain; sizes in pixels.
struct FrameFormat {
    android::APipeBuffer::ColorFormat color = android::APipeBuffer::Nv12;
    android::APipeBuffer::MemoryType memory = android::APipeBuffer::LocalMemory;
    int32_t width = 16;
    int32_t height = 8;

    friend bool operator==(const FrameFormat&, const FrameFormat&) = default;
};

/// As in "Nv12Venus 64x32 in graphics memory".
std::string toText(const FrameFormat& format);

/// The name of the enumerator, without its class.
const char* nameOf(android::APipeBuffer::ColorFormat color);

/// What APipe::init takes: "colorformat", "width" and "height".
android::sp<android::AMessage> formatOf(int32_t colorFormat, int32_t width, int32_t height);
android::sp<android::AMessage> formatOf(const FrameFormat& format);

/// A frame ready for use: allocated, initialised and, in linear graphics memory, locked for the
/// CPU. Its pixel format and usage follow from the colour format. Null, after an error in the log,
/// if the memory cannot have such a frame or there is none.
android::sp<android::APipeBuffer> newFrame(const FrameFormat& format = {});

/// One whose pixels nobody can reach, neither the CPU nor an engine: what an engine fails on.
android::sp<android::APipeBuffer> newFrameWithoutPixels(const FrameFormat& format);

/// Items of a client with new frames. bufferId tells the buffers apart in notices; timeUs is the
/// input's presentation time, in microseconds.
android::sp<android::APipeItem> inputItem(int32_t bufferId, int64_t timeUs,
                                          const FrameFormat& format = {});
android::sp<android::APipeItem> outputItem(int32_t bufferId, const FrameFormat& format = {});
/// Both in one, for a stage without an item generator.
android::sp<android::APipeItem> pairItem(int32_t inputId, int32_t outputId, int64_t timeUs);

/// Paints pictures of which every eight bytes tell the frame's number, so that a picture of two
/// frames shows. Compressed frames are painted through the compute library.
///
/// Threading: reentrant.
class FramePainter {
public:
    explicit FramePainter(const FrameFormat& format);

    /// Fills a buffer of the painter's format; false if its pixels cannot be reached.
    bool paint(const android::sp<android::APipeBuffer>& buffer, int64_t frame) const;

private:
    android::sp<android::APipeBuffer> mPlain;  // null for a linear format
    std::shared_ptr<android::APipeConverter> mCompressor;
};

/// A number that is no frame's: for what has to be painted over.
inline constexpr int64_t kNoFrame = -1;

/// Whether a linear frame shows the whole of that frame, and nothing else.
bool showsFrame(const android::sp<android::APipeBuffer>& buffer, int64_t frame);

/// A digest of all bytes of a picture, without what lies between its rows; of a compressed frame,
/// of its memory. 0 if its pixels cannot be reached.
uint64_t digestOf(const android::sp<android::APipeBuffer>& buffer);

/// Copies a picture into a frame of the same samples and size, whatever its rows and memory; false
/// if that is not so.
bool copyPicture(const android::sp<android::APipeBuffer>& from,
                 const android::sp<android::APipeBuffer>& to);

}  // namespace plexa::kit
