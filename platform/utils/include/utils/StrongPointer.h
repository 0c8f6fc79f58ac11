// sp<T>: a strong reference to an object that counts its references.
#pragma once

#include <cstddef>
#include <functional>
#include <type_traits>
#include <utility>

namespace android {

// Owns a share of an object derived from RefBase or LightRefBase; the last share to go destroys
// the object. Null by default. A raw pointer converts, so never hand `this` to one from inside a
// constructor: the object would be destroyed when that sp goes.
// Threading: one sp is reentrant; different sp to one object may live on any threads.
template <typename T>
class sp {
public:
    constexpr sp() = default;
    constexpr sp(std::nullptr_t) {}
    sp(T* object) : mObject(object) {
        if (object != nullptr) object->incStrong(this);
    }
    sp(const sp& other) : sp(other.mObject) {}
    sp(sp&& other) noexcept : mObject(std::exchange(other.mObject, nullptr)) {}
    template <typename U, typename = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    sp(U* object) : sp(static_cast<T*>(object)) {}
    template <typename U, typename = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    sp(const sp<U>& other) : sp(static_cast<T*>(other.get())) {}
    template <typename U, typename = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    sp(sp<U>&& other) noexcept : mObject(std::exchange(other.mObject, nullptr)) {}
    ~sp() {
        if (mObject != nullptr) mObject->decStrong(this);
    }

    // By value, so that the old object goes only after this already holds the new one.
    sp& operator=(sp other) noexcept {
        std::swap(mObject, other.mObject);
        return *this;
    }

    // Creates an object; the way to go in place of `new`.
    template <typename... Args>
    static sp make(Args&&... args) {
        return sp(new T(std::forward<Args>(args)...));
    }

    void clear() { sp().swap(*this); }
    void swap(sp& other) noexcept { std::swap(mObject, other.mObject); }

    T* get() const { return mObject; }
    T& operator*() const { return *mObject; }
    T* operator->() const { return mObject; }
    explicit operator bool() const { return mObject != nullptr; }

private:
    template <typename U>
    friend class sp;
    template <typename U>
    friend class wp;

    T* mObject = nullptr;
};

template <typename T, typename U>
bool operator==(const sp<T>& a, const sp<U>& b) {
    return a.get() == b.get();
}
template <typename T, typename U>
bool operator==(const sp<T>& a, const U* b) {
    return a.get() == b;
}
template <typename T>
bool operator==(const sp<T>& a, std::nullptr_t) {
    return a.get() == nullptr;
}
template <typename T, typename U>
bool operator!=(const sp<T>& a, const U& b) {
    return !(a == b);
}
template <typename T, typename U>
bool operator<(const sp<T>& a, const sp<U>& b) {
    return std::less<const volatile void*>()(a.get(), b.get());
}

}  // namespace android
