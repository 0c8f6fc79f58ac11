// LinearSource: any source as a buffer whose samples lie in rows.
#pragma once

#include <cl/converter/CLConverter.h>
#include <ui/GraphicBuffer.h>
#include <utils/Errors.h>
#include <utils/StrongPointer.h>

#include <memory>

namespace android::capture {

// Takes compressed frames apart with the compute library, into a buffer of its own that serves
// again as long as frames have one format and size.
// Threading: reentrant.
class LinearSource {
public:
    LinearSource() = default;
    ~LinearSource();

    LinearSource(const LinearSource&) = delete;
    LinearSource& operator=(const LinearSource&) = delete;

    // Stores `source` itself in `linear` or, for a compressed one, the own buffer with its frame,
    // which lasts until the next call. OK; NO_MEMORY without a buffer; UNKNOWN_ERROR when the
    // compute library refuses. Both are logged.
    status_t get(const sp<GraphicBuffer>& source, sp<GraphicBuffer>* linear);

private:
    status_t prepare(const sp<GraphicBuffer>& source);
    void release();

    std::unique_ptr<cl::converter::CLConverter> mConverter;
    sp<GraphicBuffer> mLinear;
    PixelFormat mSourceFormat = PIXEL_FORMAT_UNKNOWN;
};

}  // namespace android::capture
