// AMessage: a code, a target, and typed values by name.
#pragma once

#include <host/MessageItems.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/AHandler.h>
#include <utils/Errors.h>
#include <utils/RefBase.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <variant>

namespace android {

namespace host {
class MessageQueue;
}

// What is posted to handlers, and also a record of values by itself. A name holds one value: a set
// replaces it, whatever its type. A find gives false for a missing name and for a value of another
// type, and leaves its result alone. Objects, buffers and messages may be null: such a name is
// there and found, with null. A handful of names with their values live inside the message.
// The target is bound when it is set: to the looper that the handler is registered with then. It
// is held weakly. Setting it reads the handler's registration without a lock.
// Threading: reentrant. Once posted, a message belongs to its handler.
class AMessage : public RefBase {
public:
    // The types of values that there are here; the numbers are the platform's.
    enum Type {
        kTypeInt32 = 0,
        kTypeInt64 = 1,
        kTypeObject = 7,
        kTypeMessage = 8,
        kTypeRect = 9,
        kTypeBuffer = 10,
    };

    AMessage();
    // `handler` may be null: such a message cannot be posted until it has a target.
    AMessage(uint32_t what, const sp<const AHandler>& handler);
    AMessage(uint32_t what, const AHandler* handler);

    void setWhat(uint32_t what) { mWhat = what; }
    uint32_t what() const { return mWhat; }
    void setTarget(const sp<const AHandler>& handler);

    // Names of up to 15 characters cost no heap call.
    void setInt32(const char* name, int32_t value) { mItems.set(name, value); }
    void setInt64(const char* name, int64_t value) { mItems.set(name, value); }
    void setObject(const char* name, sp<RefBase> object) { mItems.set(name, std::move(object)); }
    void setBuffer(const char* name, sp<ABuffer> buffer) { mItems.set(name, std::move(buffer)); }
    void setMessage(const char* name, sp<AMessage> message) {
        mItems.set(name, std::move(message));
    }
    void setRect(const char* name, int32_t left, int32_t top, int32_t right, int32_t bottom) {
        mItems.set(name, host::RectValue{left, top, right, bottom});
    }

    bool findInt32(const char* name, int32_t* value) const { return find(name, value); }
    bool findInt64(const char* name, int64_t* value) const { return find(name, value); }
    bool findObject(const char* name, sp<RefBase>* object) const { return find(name, object); }
    bool findBuffer(const char* name, sp<ABuffer>* buffer) const { return find(name, buffer); }
    bool findMessage(const char* name, sp<AMessage>* message) const { return find(name, message); }
    bool findRect(const char* name, int32_t* left, int32_t* top, int32_t* right,
                  int32_t* bottom) const;

    // Whether the name is there, with a value of any type.
    bool contains(const char* name) const { return mItems.find(name) != nullptr; }
    size_t countEntries() const { return mItems.size(); }
    // The name and the type of a value; null past the last one. The name is the message's, until
    // its values change.
    const char* getEntryNameAt(size_t index, Type* type) const;
    // Removes every value; what and target stay.
    void clear() { mItems.clear(); }

    // A copy with the same what and values: messages inside are copied too, and must not be null;
    // objects and buffers are shared. Its target is the same handler, bound anew.
    sp<AMessage> dup() const;

    // Hands the message to its target's looper, to be handled after `delayUs` microseconds (below
    // 0 counts as 0). OK also when the looper is not running. Without a target, or when its looper
    // is gone: a warning, and NAME_NOT_FOUND.
    status_t post(int64_t delayUs = 0);

    // The message in readable lines, each indented by `indent` blanks; what is shown as four
    // characters if it reads as such.
    std::string debugString(int32_t indent = 0) const;

protected:
    ~AMessage() override;

private:
    friend class host::MessageQueue;
    void deliver();
    // Null once the handler is gone.
    sp<AHandler> targetHandler() const;

    template <typename T>
    bool find(const char* name, T* value) const {
        const host::MessageValue* item = mItems.find(name);
        const T* found = item != nullptr ? std::get_if<T>(item) : nullptr;
        if (found != nullptr) *value = *found;
        return found != nullptr;
    }

    uint32_t mWhat = 0;
    sp<host::Registration> mTarget;
    host::MessageItems mItems;
};

}  // namespace android
