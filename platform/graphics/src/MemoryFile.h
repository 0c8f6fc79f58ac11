// MemoryFile: an anonymous file and its mapping.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace android::host {

// Owns a descriptor of an anonymous file and one shared, writable mapping of it. A page that may
// not be touched follows the mapping, so that who runs past its end is stopped there. The file is
// sealed against resizing, so that nobody who holds the descriptor can pull pages from under a
// reader. Pages cost memory from their first use on. Threading: thread-safe, the bytes excepted.
class MemoryFile {
public:
    // Null, after an error log, when descriptors, memory or address space have run out, or a test
    // wants that. The name shows in /proc/self/maps.
    static std::unique_ptr<MemoryFile> make(const std::string& name, size_t bytes);

    ~MemoryFile();

    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    int fd() const { return mFd; }
    uint8_t* base() const { return mBase; }
    size_t size() const { return mSize; }

private:
    MemoryFile(int fd, uint8_t* base, size_t size);

    const int mFd;
    uint8_t* const mBase;
    const size_t mSize;
};

}  // namespace android::host
