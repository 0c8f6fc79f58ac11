// A file that is whole after every write.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace android::host {

// Appends to a file whose tail is replaced each time. A write that fails leaves the file as it was
// before it, and is the last one. The file is locked, so that no other process writes into it.
// Threading: reentrant.
class GrowingFile {
public:
    GrowingFile() = default;
    ~GrowingFile();
    GrowingFile(const GrowingFile&) = delete;
    GrowingFile& operator=(const GrowingFile&) = delete;

    // Makes the file, or empties the one that is there. False with error().
    bool open(const std::string& path);
    // Puts `text` behind what is there and `tail` behind that. False with error().
    bool append(std::string_view text, std::string_view tail);

    // Why open() or append() failed; empty: they have not.
    const std::string& error() const { return mError; }

private:
    bool fail(const char* error);
    bool write(std::string_view text);

    int mFd = -1;
    int64_t mEnd = 0;   // where the tail begins
    std::string mTail;  // as it is in the file
    std::string mError;
};

}  // namespace android::host
