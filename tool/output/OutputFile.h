// A file that appears under its name only when it is complete.
#pragma once

#include <string>

#include "base/Status.h"
#include "media/AvHandles.h"

namespace plexa {

/**
 * Bytes go into a temporary file beside the final one, which commit() renames into place; without
 * commit() the destructor removes it, or a signal that ends the process. What is not a regular file
 * (a pipe, a device, "-" for standard output) is written directly. The first error of a write
 * stays: muxers report it late, or not at all.
 *
 * Threading: reentrant.
 */
class OutputFile {
public:
    OutputFile() = default;
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /** Opens the file that becomes `path`. */
    Status create(const std::string& path);

    /** For FFmpeg's muxers. */
    AVIOContext* io() { return mIo.get(); }

    /** Writes all `size` bytes. */
    Status write(const void* data, size_t size);

    /** The first error so far; what is buffered is written first. */
    Status flush();

    /** Closes the file and gives it its final name. */
    Status commit();

    /** The output as messages name it. */
    const std::string& name() const { return mName; }

private:
    Status createTemporary(unsigned mode);
    Status open(const std::string& url);
    Status error(int avError) const;

    std::string mName;
    std::string mTarget;     // the final path, symbolic links resolved
    std::string mTemporary;  // empty if the output is written directly
    IoPtr mIo;
};

}  // namespace plexa
