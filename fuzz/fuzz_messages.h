// What the fuzzers share: a quiet log, and messages with whatever the input says.
#pragma once

#include <android/log.h>
#include <fuzzer/FuzzedDataProvider.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/AMessage.h>
#include <utils/RefBase.h>

#include <cstdint>
#include <iterator>

namespace plexa {

// Texts are still put together, then thrown away.
inline void silenceLog() {
    __android_log_set_logger([](const __android_log_message*) {});
}

inline android::sp<android::ABuffer> takeBlob(FuzzedDataProvider& data) {
    const auto bytes = data.ConsumeBytes<uint8_t>(data.ConsumeIntegralInRange<size_t>(0, 80));
    android::sp<android::ABuffer> blob = new android::ABuffer(bytes.size());
    std::copy(bytes.begin(), bytes.end(), blob->data());
    return blob;
}

// Every key that the library knows may come, with a value of any type.
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
        const char* const key = kKeys[data.ConsumeIntegralInRange<size_t>(0, std::size(kKeys) - 1)];
        switch (data.ConsumeIntegralInRange(0, 6)) {
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
                msg->setBuffer(key, takeBlob(data));
                break;
            case 4:
                msg->setMessage(key, new android::AMessage);
                break;
            case 5:
                msg->setObject(key, new android::AMessage);
                break;
            default:
                msg->setRect(key, data.ConsumeIntegral<int32_t>(), data.ConsumeIntegral<int32_t>(),
                             data.ConsumeIntegral<int32_t>(), data.ConsumeIntegral<int32_t>());
        }
    }
}

}  // namespace plexa
