// RefBase: the base of everything that is held through sp<> and wp<>.
#pragma once

#include <host/Heap.h>
#include <utils/LightRefBase.h>
#include <utils/StrongPointer.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>

namespace android {

// An object with a strong and a weak count. It is destroyed when its last strong reference goes,
// on the thread that dropped it; its counts live on in a block of their own until the last weak
// reference is gone. An object that nobody ever held may be destroyed by its creator.
// Objects and their counts come from host::Heap.
// Threading: the counts are thread-safe and lock-free.
class RefBase {
public:
    // The counts of one object. The object keeps one weak share of them while it exists (while it
    // is strongly held, if its lifetime is extended), so the block outlives whoever uses it.
    class weakref_type {
    public:
        RefBase* refBase() const { return mBase; }
        void incWeak(const void* id);
        void decWeak(const void* id);
        // Takes a strong reference if the object is alive; false if it is gone.
        bool attemptIncStrong(const void* id);
        // For logs and tests: other threads may change it at any time.
        int32_t getWeakCount() const;

    private:
        friend class RefBase;
        explicit weakref_type(RefBase* base) : mBase(base) {}
        bool addToHeld();
        uint32_t addStrong();
        void onLastWeak(const void* id);
        static void* operator new(size_t bytes) { return host::Heap::allocate(bytes); }
        static void operator delete(void* counts) { host::Heap::free(counts); }

        std::atomic<uint64_t> mCounts{kWeakOne + kNeverHeld};
        RefBase* const mBase;
        bool mExtended = false;
    };

    RefBase(const RefBase&) = delete;
    RefBase& operator=(const RefBase&) = delete;

    void incStrong(const void* id) const;
    void decStrong(const void* id) const;
    // For logs and tests: other threads may change it at any time, and it orders nothing.
    int32_t getStrongCount() const;
    // A new weak reference, which the caller gives back with decWeak().
    weakref_type* createWeak(const void* id) const;
    // The counts without a new reference; valid while the caller holds the object.
    weakref_type* getWeakRefs() const { return mRefs; }

    static void* operator new(size_t bytes) { return host::Heap::allocate(bytes); }
    static void* operator new(size_t bytes, std::align_val_t alignment) {
        return host::Heap::allocate(bytes, static_cast<size_t>(alignment));
    }
    static void* operator new(size_t bytes, const std::nothrow_t&) noexcept {
        return host::Heap::tryAllocate(bytes, alignof(std::max_align_t));
    }
    static void* operator new(size_t bytes, std::align_val_t alignment,
                              const std::nothrow_t&) noexcept {
        return host::Heap::tryAllocate(bytes, static_cast<size_t>(alignment));
    }
    static void* operator new(size_t, void* place) noexcept { return place; }
    static void operator delete(void* object) { host::Heap::free(object); }

protected:
    enum { OBJECT_LIFETIME_STRONG = 0x0000, OBJECT_LIFETIME_WEAK = 0x0001 };
    enum { FIRST_INC_STRONG = 0x0001 };

    RefBase();
    virtual ~RefBase();

    // With OBJECT_LIFETIME_WEAK the object lives until its last weak reference goes too, and
    // onIncStrongAttempted() decides whether a weak reference may revive it. Constructor only.
    void extendObjectLifetime(int32_t mode);

    virtual void onFirstRef();
    virtual void onLastStrongRef(const void* id);
    virtual bool onIncStrongAttempted(uint32_t flags, const void* id);
    virtual void onLastWeakRef(const void* id);

private:
    // One 64-bit word holds both counts, weak in the upper half, strong in the lower, so that the
    // weak share of the strong holders costs no operation of its own.
    static constexpr uint64_t kWeakOne = uint64_t{1} << 32;
    // The strong count until the first strong reference is taken.
    static constexpr uint32_t kNeverHeld = 1U << 28;

    static uint32_t strongOf(uint64_t counts) { return static_cast<uint32_t>(counts); }
    static uint32_t weakOf(uint64_t counts) { return static_cast<uint32_t>(counts >> 32); }
    static bool isHeld(uint32_t strong) { return strong != 0 && strong != kNeverHeld; }
    void onFirstStrong() const;
    void onLastStrong(const void* id) const;

    weakref_type* const mRefs;
};

// Relaxed: whoever takes a further reference has one already, and with it sees the object.
inline void RefBase::incStrong(const void*) const {
    if (!isHeld(strongOf(mRefs->mCounts.load(std::memory_order_relaxed)))) [[unlikely]]
        return onFirstStrong();
    mRefs->mCounts.fetch_add(1, std::memory_order_relaxed);
}

// Release: pairs with the acquire of onLastStrong(). A reference that is not the last tells its
// holder nothing of what the others did.
inline void RefBase::decStrong(const void* id) const {
    if (strongOf(mRefs->mCounts.fetch_sub(1, std::memory_order_release)) == 1) onLastStrong(id);
}

inline RefBase::weakref_type* RefBase::createWeak(const void* id) const {
    mRefs->incWeak(id);
    return mRefs;
}

// Relaxed: as incStrong().
inline void RefBase::weakref_type::incWeak(const void*) {
    mCounts.fetch_add(kWeakOne, std::memory_order_relaxed);
}

// Release: pairs with the acquire of onLastWeak().
inline void RefBase::weakref_type::decWeak(const void* id) {
    if (weakOf(mCounts.fetch_sub(kWeakOne, std::memory_order_release)) == 1) onLastWeak(id);
}

}  // namespace android

#include <utils/WeakPointer.h>
