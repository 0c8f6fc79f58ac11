// LightRefBase: a strong count only, in the object itself, for classes without weak references.
#pragma once

#include <utils/StrongPointer.h>

#include <atomic>
#include <cstdint>

namespace android {

// Derive as `class Foo : public LightRefBase<Foo>`; the last sp<Foo> to go deletes the Foo.
// Threading: the count is thread-safe and lock-free.
template <typename T>
class LightRefBase {
public:
    LightRefBase() = default;
    LightRefBase(const LightRefBase&) = delete;
    LightRefBase& operator=(const LightRefBase&) = delete;

    // Relaxed: as RefBase::incStrong().
    void incStrong(const void*) const { mCount.fetch_add(1, std::memory_order_relaxed); }
    // Release, and acquire for the last one: what every holder did with the object happens before
    // it is destroyed.
    void decStrong(const void*) const {
        if (mCount.fetch_sub(1, std::memory_order_release) != 1) return;
        (void)mCount.load(std::memory_order_acquire);
        delete static_cast<const T*>(this);
    }
    int32_t getStrongCount() const { return mCount.load(std::memory_order_relaxed); }

protected:
    ~LightRefBase() = default;

private:
    mutable std::atomic<int32_t> mCount{0};
};

}  // namespace android
