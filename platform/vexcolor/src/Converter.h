// Converter: the host's CLConverter.
#pragma once

#include <cl/converter/CLConverter.h>

#include <functional>
#include <optional>

#include "BandRunner.h"
#include "FrameBuffer.h"
#include "FrameFormat.h"

namespace cl::converter {

// Checks buffers and splits frames into bands; a TileCodec does the pixels.
// Threading: reentrant.
class Converter final : public CLConverter {
public:
    // Formats of one bit depth, at most one of them compressed.
    Converter(FrameFormat src, FrameFormat dst);

    int32_t setup(int64_t srcWidth, int64_t srcHeight, int64_t dstWidth, int64_t dstHeight,
                  int32_t mode) override;
    int32_t convert(const android::sp<android::GraphicBuffer>& input,
                    const android::sp<android::GraphicBuffer>& output) override;
    void release() override;
    void setPerfHint(int32_t hint) override;

private:
    using Buffer = android::sp<android::GraphicBuffer>;

    bool decompress(const Buffer& input, const Buffer& output);
    bool compress(const Buffer& input, const Buffer& output);
    bool copy(const Buffer& input, const Buffer& output);
    FrameBuffer expected(const char* role, FrameFormat format) const;
    size_t frameBytes() const;
    TileCodec::Store store() const;
    void chooseThreads();
    // Calls work(plane, row) for every row of tiles of both planes.
    template <typename RowWork>
    bool runTileRows(const CompressedFrame& frame, const RowWork& work);

    const FrameFormat mSrc;
    const FrameFormat mDst;
    std::optional<FrameSize> mSize;  // empty until setup
    int32_t mHint = 1;
    BandRunner mRunner;
};

}  // namespace cl::converter
