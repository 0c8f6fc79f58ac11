// Messages in readable form.
#include "MessageText.h"

#include "LooperCore.h"

#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/AMessage.h>

#include <algorithm>
#include <cinttypes>
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

template <typename... Args>
std::string format(const char* pattern, Args... args) {
    char text[160];
    snprintf(text, sizeof(text), pattern, args...);
    return text;
}

// One value as "type name = value".
struct ItemText {
    const char* name;
    int32_t indent;

    std::string operator()(int32_t value) const {
        return format("int32_t %s = %" PRId32, name, value);
    }
    std::string operator()(int64_t value) const {
        return format("int64_t %s = %" PRId64, name, value);
    }
    std::string operator()(const sp<RefBase>& object) const {
        return format("RefBase *%s = %p", name, static_cast<const void*>(object.get()));
    }
    std::string operator()(const sp<ABuffer>& buffer) const {
        if (buffer == nullptr) return format("Buffer %s = null", name);
        return format("Buffer %s = %zu bytes", name, buffer->size());
    }
    std::string operator()(const sp<AMessage>& message) const {
        if (message == nullptr) return format("AMessage %s = null", name);
        return format("AMessage %s = ", name) + message->debugString(indent);
    }
    std::string operator()(const RectValue& rect) const {
        return format("Rect %s(%d, %d, %d, %d)", name, rect.left, rect.top, rect.right,
                      rect.bottom);
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
        const auto& [name, value] = mItems.at(i);
        text += margin + "  " + std::visit(host::ItemText{name.c_str(), indent + kStep}, value);
        text += "\n";
    }
    return text + margin + "}";
}

}  // namespace android
