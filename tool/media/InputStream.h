// Reads a pipe for FFmpeg's demuxers, without ever blocking a cancelled job.
#pragma once

#include <string>

#include "base/Cancellation.h"
#include "base/Status.h"
#include "media/AvHandles.h"

namespace plexa {

/**
 * Standard input or a named pipe as an AVIOContext that cannot seek. FFmpeg's own file access would
 * sit in read() until the other end writes, whatever the user asks for meanwhile.
 *
 * Threading: reentrant; reads happen on the thread that demuxes.
 */
class InputStream {
public:
    /** `cancellation` is borrowed for the life of the stream. */
    explicit InputStream(const Cancellation& cancellation) : mCancellation(cancellation) {}
    ~InputStream();
    InputStream(const InputStream&) = delete;
    InputStream& operator=(const InputStream&) = delete;

    /** Opens `path`, "-" for standard input. The context stays the stream's own. */
    Status open(const std::string& path);
    AVIOContext* io() { return mIo.get(); }
    bool isOpen() const { return mIo != nullptr; }

private:
    static int onRead(void* self, uint8_t* data, int size);

    const Cancellation& mCancellation;
    int mFd = -1;
    bool mOwnsFd = false;
    IoPtr mIo;
};

}  // namespace plexa
