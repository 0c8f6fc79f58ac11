// Return: the result of a call that may cross a process border.
#pragma once

#include <utility>

namespace android::hardware {

// Converts to the value that the call returned. Host objects live in the caller's process, so a
// call always comes through.
// Threading: reentrant.
template <typename T>
class Return {
public:
    // Implicit both ways, as the platform's: an implementation returns plain values.
    Return(T value) : mValue(std::move(value)) {}
    operator T() const { return mValue; }

    bool isOk() const { return true; }

private:
    T mValue;
};

template <>
class Return<void> {
public:
    bool isOk() const { return true; }
};

}  // namespace android::hardware
