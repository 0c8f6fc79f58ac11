// Pulse: what a life in a child process says of itself to its parent while it goes on.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace plexa::kit {

// A text in memory that two processes share; what does not fit is cut off.
template <size_t N>
class SharedText {
public:
    void set(std::string_view text) {
        mLength = 0;
        append(text);
    }
    void append(std::string_view text) {
        const size_t at = mLength.load(std::memory_order_relaxed);
        const size_t length = text.copy(mText.data() + at, mText.size() - at);
        mLength.store(at + length, std::memory_order_release);
    }
    std::string get() const { return {mText.data(), mLength.load(std::memory_order_acquire)}; }

private:
    std::array<char, N> mText;
    std::atomic<size_t> mLength;
};

// Lies in memory that is all zero at first. The functions do nothing in a process without one.
// Threading: written by one thread of the child at a time; read by the parent at any time.
struct Pulse {
    std::atomic<uint64_t> beats;
    std::atomic<bool> lives;       // what was before the first life is over
    std::atomic<uint64_t> seed;    // of the life that goes on
    std::atomic<bool> answered;    // the result is whole; what is left is the end of the process
    std::atomic<bool> found;       // and tells of a finding
    std::atomic<bool> mayPrecede;  // as in Cast
    std::atomic<bool> mayFollow;
    SharedText<64> loop;      // whose message is being handled, empty for the client's calls
    SharedText<32768> story;  // of the life so far
    SharedText<32768> state;  // the chain's, asked for when it hangs
    SharedText<131072> result;

    static Pulse* installed;

    static void beat(std::string_view loop) {
        if (installed == nullptr) return;
        installed->loop.set(loop);
        installed->beats.fetch_add(1, std::memory_order_relaxed);
    }
};

}  // namespace plexa::kit
