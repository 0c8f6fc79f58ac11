// Gives an OutputFile to FFmpeg's muxers.
#pragma once

#include "media/AvHandles.h"
#include "output/OutputFile.h"

namespace plexa {

/**
 * An AVIOContext over an output file that keeps the first error of it: muxers report a write that
 * fails late, or not at all.
 *
 * Threading: reentrant.
 */
class OutputStream {
public:
    /** `cancellation` is borrowed, as by OutputFile. */
    explicit OutputStream(const Cancellation& cancellation) : mFile(cancellation) {}
    ~OutputStream();
    OutputStream(const OutputStream&) = delete;
    OutputStream& operator=(const OutputStream&) = delete;

    Status create(const std::string& path);
    AVIOContext* io() { return mIo.get(); }

    /** The first error of the file so far; the muxer's buffer is written first. */
    Status flush();

    /** flush(), then OutputFile::commit(). */
    Status commit();

private:
    static int onWrite(void* self, uint8_t* data, int size);
    static int64_t onSeek(void* self, int64_t offset, int whence);

    OutputFile mFile;
    IoPtr mIo;
    int mError = 0;  // negative errno value
};

}  // namespace plexa
