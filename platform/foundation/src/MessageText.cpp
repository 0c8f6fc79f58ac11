// Messages in readable form.
#include "MessageText.h"

#include "Registration.h"

#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/AMessage.h>

#include <algorithm>
#include <cstdio>

namespace android {

namespace host {

std::string nameOf(uint32_t what) {
    std::string code;
    for (int shift = 24; shift >= 0; shift -= 8)
        code += static_cast<char>(what >> shift);
    const bool readable =
        std::all_of(code.begin(), code.end(), [](char c) { return c > ' ' && c <= '~'; });
    return readable ? code : std::to_string(what);
}

namespace {

std::string addressOf(const void* object) {
    char text[32];
    snprintf(text, sizeof(text), "%p", object);
    return text;
}

// One value as "type name = value".
struct ItemText {
    std::string name;
    int32_t indent;

    std::string operator()(int32_t value) const {
        return "int32_t " + name + " = " + std::to_string(value);
    }
    std::string operator()(int64_t value) const {
        return "int64_t " + name + " = " + std::to_string(value);
    }
    std::string operator()(const RectValue& rect) const {
        return "Rect " + name + "(" + std::to_string(rect.left) + ", " + std::to_string(rect.top) +
               ", " + std::to_string(rect.right) + ", " + std::to_string(rect.bottom) + ")";
    }
    std::string operator()(const sp<RefBase>& object) const {
        return "RefBase *" + name + " = " + (object != nullptr ? addressOf(object.get()) : "null");
    }
    std::string operator()(const sp<ABuffer>& buffer) const {
        return "Buffer " + name + " = " +
               (buffer != nullptr ? std::to_string(buffer->size()) + " bytes" : "null");
    }
    std::string operator()(const sp<AMessage>& message) const {
        return "AMessage " + name + " = " +
               (message != nullptr ? message->debugString(indent) : "null");
    }
};

}  // namespace
}  // namespace host

std::string AMessage::debugString(int32_t indent) const {
    constexpr int32_t kStep = 2;
    const std::string margin(static_cast<size_t>(std::max(indent, 0)), ' ');
    std::string text = "AMessage(what = '" + host::nameOf(mWhat) + "'";
    if (mTarget != nullptr) text += ", target = " + std::to_string(mTarget->id);
    text += ") = {\n";
    for (size_t i = 0; i < mItems.size(); ++i) {
        const auto& [name, value] = mItems[i];
        text += margin + "  " +
                std::visit(host::ItemText{std::string(name.view()), indent + kStep}, value);
        text += "\n";
    }
    return text + margin + "}";
}

}  // namespace android
