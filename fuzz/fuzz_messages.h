// What the fuzzers share: a quiet log, and messages with whatever the input says.
#pragma once

#include <android/log.h>
#include <fuzzer/FuzzedDataProvider.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/AMessage.h>
#include <utils/RefBase.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string>

namespace plexa {

// Texts are still put together, then thrown away.
inline void silenceLog() {
    __android_log_set_logger([](const __android_log_message*) {});
}

inline android::sp<android::ABuffer> takeBlob(FuzzedDataProvider& data, size_t longest = 80) {
    const auto bytes = data.ConsumeBytes<uint8_t>(data.ConsumeIntegralInRange<size_t>(0, longest));
    android::sp<android::ABuffer> blob = new android::ABuffer(bytes.size());
    std::copy(bytes.begin(), bytes.end(), blob->data());
    return blob;
}

// Any type, null and nested messages included.
inline void setHostileValue(FuzzedDataProvider& data, const android::sp<android::AMessage>& msg,
                            const char* key) {
    switch (data.ConsumeIntegralInRange(0, 7)) {
        case 0:
            msg->setInt32(key, data.ConsumeIntegral<int32_t>());
            break;
        case 1:
            msg->setInt32(key, data.ConsumeIntegralInRange(-1, 70));
            break;
        case 2:
            msg->setInt64(key, data.ConsumeIntegral<int64_t>());
            break;
        case 3:
            msg->setBuffer(key, data.ConsumeBool() ? takeBlob(data) : nullptr);
            break;
        case 4:
            msg->setMessage(key, data.ConsumeBool() ? new android::AMessage : nullptr);
            break;
        case 5:
            msg->setObject(key, data.ConsumeBool() ? new android::AMessage : nullptr);
            break;
        case 6:
            msg->setRect(key, data.ConsumeIntegralInRange(-2, 40),
                         data.ConsumeIntegralInRange(-2, 40), data.ConsumeIntegralInRange(-2, 40),
                         data.ConsumeIntegralInRange(-2, 40));
            break;
        default:
            msg->setRect(key, data.ConsumeIntegral<int32_t>(), data.ConsumeIntegral<int32_t>(),
                         data.ConsumeIntegral<int32_t>(), data.ConsumeIntegral<int32_t>());
    }
}

// Keys that the library knows, and others, with values of any type.
inline void addHostileEntries(FuzzedDataProvider& data, const android::sp<android::AMessage>& msg) {
    static constexpr const char* kKeys[] = {"colorformat",
                                            "width",
                                            "height",
                                            "timeUs",
                                            "eos",
                                            "operation",
                                            "bufferId",
                                            "surfaceId",
                                            "use-wait-buffer",
                                            "buffer-for-seek",
                                            "frameMeta",
                                            "reply",
                                            "id",
                                            "crop",
                                            "hdr-static-info",
                                            "hdr10-plus-info",
                                            "dataSpace",
                                            "src",
                                            "dst",
                                            "buffer",
                                            "generation",
                                            "item"};
    for (int left = data.ConsumeIntegralInRange(0, 6); left > 0; --left) {
        const size_t at = data.ConsumeIntegralInRange<size_t>(0, std::size(kKeys));
        const std::string key =
            at < std::size(kKeys) ? kKeys[at] : data.ConsumeRandomLengthString(40);
        setHostileValue(data, msg, key.c_str());
    }
}

}  // namespace plexa
