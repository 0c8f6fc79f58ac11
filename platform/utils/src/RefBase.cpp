// The rare transitions of the reference counts; the frequent ones are inline.
#define LOG_TAG "RefBase"

#include <host/BlockPool.h>
#include <log/log.h>
#include <utils/RefBase.h>

namespace android {

RefBase::RefBase() : mRefs(new weakref_type(this)) {}

RefBase::~RefBase() {
    const uint64_t counts = mRefs->mCounts.load(std::memory_order_acquire);
    if (counts == kWeakOne) [[likely]] {
        delete mRefs;
        return;
    }
    const uint32_t strong = strongOf(counts);
    LOG_ALWAYS_FATAL_IF(strong != 0 && strong != kNeverHeld,
                        "%p destroyed while %u strong references hold it", static_cast<void*>(this),
                        strong);
    if (mRefs->mExtended) {
        LOG_ALWAYS_FATAL_IF(weakOf(counts) != 0,
                            "%p of extended lifetime destroyed while %u weak references hold it",
                            static_cast<void*>(this), weakOf(counts));
        delete mRefs;
        return;
    }
    if (strong == kNeverHeld) mRefs->mCounts.fetch_sub(kNeverHeld, std::memory_order_relaxed);
    mRefs->decWeak(this);
}

void RefBase::extendObjectLifetime(int32_t mode) {
    if ((mode & OBJECT_LIFETIME_WEAK) == 0 || mRefs->mExtended) return;
    mRefs->mExtended = true;
    mRefs->mCounts.fetch_sub(kWeakOne, std::memory_order_relaxed);
}

void RefBase::onFirstRef() {}

void RefBase::onLastStrongRef(const void*) {}

bool RefBase::onIncStrongAttempted(uint32_t flags, const void*) {
    return (flags & FIRST_INC_STRONG) != 0;
}

void RefBase::onLastWeakRef(const void*) {}

int32_t RefBase::getStrongCount() const {
    const uint32_t strong = strongOf(mRefs->mCounts.load(std::memory_order_acquire));
    return strong == kNeverHeld ? 0 : static_cast<int32_t>(strong);
}

void RefBase::onFirstStrong() const {
    // Without a weak reference either, nobody else has it yet.
    if (mRefs->mCounts.load(std::memory_order_relaxed) == kWeakOne + kNeverHeld) {
        mRefs->mCounts.store(kWeakOne + 1, std::memory_order_relaxed);
        return const_cast<RefBase*>(this)->onFirstRef();
    }
    const uint32_t before = mRefs->addStrong();
    if (before == 0) onStrongAfterLast();
    if (before == kNeverHeld) const_cast<RefBase*>(this)->onFirstRef();
}

void RefBase::onStrongAfterLast() const {
    LOG_ALWAYS_FATAL("strong reference taken to %p after the last one went",
                     static_cast<const void*>(this));
}

void RefBase::onLastStrong(const void* id) const {
    auto* self = const_cast<RefBase*>(this);
    self->onLastStrongRef(id);
    if (mRefs->mExtended) {
        mRefs->decWeak(id);
    } else {
        delete self;
    }
}

int32_t RefBase::weakref_type::getWeakCount() const {
    return static_cast<int32_t>(weakOf(mCounts.load(std::memory_order_relaxed)));
}

// The strong count before; an object that is gone (0, and no extended lifetime) stays gone. The
// first strong holder of an object with extended lifetime brings the holders' weak share.
uint32_t RefBase::weakref_type::addStrong() {
    uint64_t counts = mCounts.load(std::memory_order_relaxed);
    uint64_t next = 0;
    do {
        const uint32_t strong = strongOf(counts);
        if (strong == 0 && !mExtended) return 0;
        const bool first = strong == 0 || strong == kNeverHeld;
        next = counts - strong + (strong == kNeverHeld ? 1 : strong + 1);
        if (first && mExtended) next += kWeakOne;
    } while (!mCounts.compare_exchange_weak(counts, next, std::memory_order_relaxed));
    return strongOf(counts);
}

bool RefBase::weakref_type::attemptIncStrong(const void* id) {
    uint64_t counts = mCounts.load(std::memory_order_relaxed);
    do {
        const uint32_t strong = strongOf(counts);
        if (strong == 0 || strong == kNeverHeld) [[unlikely]]
            return revive(id);
    } while (!mCounts.compare_exchange_weak(counts, counts + 1, std::memory_order_relaxed));
    return true;
}

// For an object that nobody holds strongly, or not yet.
bool RefBase::weakref_type::revive(const void* id) {
    if (mExtended && !mBase->onIncStrongAttempted(FIRST_INC_STRONG, id)) return false;
    const uint32_t before = addStrong();
    if (before == 0) return mExtended;
    if (before == kNeverHeld) {
        mBase->onFirstRef();
    } else if (mExtended) {
        mBase->onLastStrongRef(id);  // another thread was first: evens out the attempt
    }
    return true;
}

void RefBase::weakref_type::onLastWeak(const void* id) {
    if (mExtended) {
        mBase->onLastWeakRef(id);
        delete mBase;
    } else {
        delete this;
    }
}

void* RefBase::weakref_type::operator new(size_t bytes) {
    return host::BlockPool::allocate(bytes);
}

void RefBase::weakref_type::operator delete(void* block, size_t bytes) {
    host::BlockPool::free(block, bytes);
}

void* RefBase::operator new(size_t bytes) {
    return host::BlockPool::allocate(bytes);
}

void* RefBase::operator new(size_t bytes, const std::nothrow_t&) noexcept {
    return host::BlockPool::tryAllocate(bytes);
}

void* RefBase::operator new(size_t bytes, std::align_val_t alignment) {
    return ::operator new(bytes, alignment);
}

void RefBase::operator delete(void* object, size_t bytes) {
    host::BlockPool::free(object, bytes);
}

void RefBase::operator delete(void* object, size_t, std::align_val_t alignment) {
    ::operator delete(object, alignment);
}

}  // namespace android
