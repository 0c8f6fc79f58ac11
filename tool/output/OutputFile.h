// A file that appears under its name only when it is complete.
#pragma once

#include <cstdint>
#include <string>

#include "base/Cancellation.h"
#include "base/Status.h"

namespace plexa {

/**
 * Bytes go into a temporary file beside the final one, which commit() renames into place; without
 * commit() the destructor removes it. What is not a regular file (a pipe, a device, "-" for
 * standard output) is written directly.
 *
 * Threading: reentrant.
 */
class OutputFile {
public:
    /** `cancellation` is borrowed; once requested, writing fails and commit() does. */
    explicit OutputFile(const Cancellation& cancellation) : mCancellation(cancellation) {}
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /** Opens the file that becomes `path`. */
    Status create(const std::string& path);

    /** Writes all `size` bytes at the current position, or returns a negative errno value. */
    int write(const void* data, size_t size);

    /** As lseek; a negative errno value where the output cannot seek. */
    int64_t seek(int64_t offset, int whence);

    bool isSeekable() const { return mSeekable; }

    /** Closes the file and gives it its final name. */
    Status commit();

    /** The output as messages name it. */
    const std::string& name() const { return mName; }
    /** Why the output cannot be written, in one line. */
    Status error(int errnoValue) const;

private:
    Status openDirectly(const std::string& path);
    Status openTemporary(const std::string& target);
    ssize_t writeSome(const void* data, size_t size);

    const Cancellation& mCancellation;
    std::string mName;
    std::string mTarget;     // the final path, symbolic links resolved
    std::string mTemporary;  // empty if the output is written directly
    int mFd = -1;
    bool mSeekable = false;
    bool mOwnsFd = true;
};

}  // namespace plexa
