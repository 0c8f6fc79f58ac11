// wp<T>: a reference that does not keep its object alive. Include <utils/RefBase.h>.
#pragma once

#include <utils/RefBase.h>

#include <type_traits>
#include <utility>

namespace android {

// Names an object derived from RefBase that may be gone; promote() gives an sp, null once it is.
// Two wp are equal when they name the same object, also after it is gone.
// Threading: one wp is reentrant; different wp to one object may live on any threads.
template <typename T>
class wp {
public:
    constexpr wp() = default;
    constexpr wp(std::nullptr_t) {}
    wp(T* object)
        : mObject(object), mRefs(object != nullptr ? object->createWeak(this) : nullptr) {}
    wp(const sp<T>& other) : wp(other.get()) {}
    wp(const wp& other) : mObject(other.mObject), mRefs(other.mRefs) {
        if (mRefs != nullptr) mRefs->incWeak(this);
    }
    wp(wp&& other) noexcept
        : mObject(std::exchange(other.mObject, nullptr)),
          mRefs(std::exchange(other.mRefs, nullptr)) {}
    template <typename U, typename = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    wp(U* object) : wp(static_cast<T*>(object)) {}
    template <typename U, typename = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    wp(const sp<U>& other) : wp(static_cast<T*>(other.get())) {}
    template <typename U, typename = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    wp(const wp<U>& other) : mObject(other.mObject), mRefs(other.mRefs) {
        if (mRefs != nullptr) mRefs->incWeak(this);
    }
    ~wp() {
        if (mRefs != nullptr) mRefs->decWeak(this);
    }

    wp& operator=(wp other) noexcept {
        swap(other);
        return *this;
    }

    // A strong reference, or null when the object is gone or on its way out.
    sp<T> promote() const {
        sp<T> result;
        if (mRefs != nullptr && mRefs->attemptIncStrong(&result)) result.mObject = mObject;
        return result;
    }

    void clear() { wp().swap(*this); }
    void swap(wp& other) noexcept {
        std::swap(mObject, other.mObject);
        std::swap(mRefs, other.mRefs);
    }
    // The address only: the object behind it may be gone.
    T* unsafe_get() const { return mObject; }

    template <typename U>
    bool operator==(const wp<U>& other) const {
        return mRefs == other.mRefs;
    }
    template <typename U>
    bool operator==(const sp<U>& other) const {
        return mRefs == (other != nullptr ? other->getWeakRefs() : nullptr);
    }
    bool operator==(std::nullptr_t) const { return mRefs == nullptr; }
    template <typename U>
    bool operator!=(const U& other) const {
        return !(*this == other);
    }
    template <typename U>
    bool operator<(const wp<U>& other) const {
        return std::less<const void*>()(mRefs, other.mRefs);
    }

private:
    template <typename U>
    friend class wp;

    T* mObject = nullptr;
    RefBase::weakref_type* mRefs = nullptr;
};

}  // namespace android
