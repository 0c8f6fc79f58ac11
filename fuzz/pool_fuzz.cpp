// Sequences of pool operations: whatever they are, a buffer is handed out to one holder at a time.
#include <APipeBufferPool.h>

#include <cstdlib>
#include <set>
#include <vector>

#include "fuzz_messages.h"

using android::AMessage;
using android::APipeBuffer;
using android::APipeBufferPool;
using android::sp;

namespace {

// The buffers that somebody has, those whose flush made them stale included.
class Holders {
public:
    void take(const sp<APipeBuffer>& buffer) {
        if (buffer == nullptr) return;
        for (const auto& held : mHeld) {
            if (held == buffer) std::abort();
        }
        if (!buffer->getMeta()->contains("id")) std::abort();
        buffer->getMeta()->setMessage("reply", new AMessage);
        mHeld.push_back(buffer);
    }
    sp<APipeBuffer> letGo(FuzzedDataProvider& data) {
        if (mHeld.empty()) return nullptr;
        const auto at = mHeld.begin() + data.ConsumeIntegralInRange<ptrdiff_t>(
                                            0, static_cast<ptrdiff_t>(mHeld.size()) - 1);
        sp<APipeBuffer> buffer = *at;
        mHeld.erase(at);
        return buffer;
    }

private:
    std::vector<sp<APipeBuffer>> mHeld;
};

void init(FuzzedDataProvider& data, const sp<APipeBufferPool>& pool) {
    const auto format =
        static_cast<APipeBuffer::ColorFormat>(data.ConsumeIntegralInRange<int32_t>(0, 13));
    const auto memory =
        static_cast<APipeBuffer::MemoryType>(data.ConsumeIntegralInRange<int32_t>(-1, 2));
    const int32_t count = data.ConsumeBool() ? data.ConsumeIntegralInRange(-2, 66) : 3;
    const bool waitList = data.ConsumeBool();
    pool->init(count, data.ConsumeIntegralInRange(0, 40), data.ConsumeIntegralInRange(0, 40),
               format, memory, waitList);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    plexa::silenceLog();
    FuzzedDataProvider data(bytes, size);
    const sp<APipeBufferPool> pool = new APipeBufferPool;
    Holders holders;
    init(data, pool);
    while (data.remaining_bytes() > 0) {
        switch (data.ConsumeIntegralInRange(0, 9)) {
            case 0:
            case 1:
            case 2:
                holders.take(pool->acquireBuffer(data.ConsumeBool()));
                break;
            case 3:
            case 4:
            case 5: {
                const auto buffer = holders.letGo(data);
                if (buffer != nullptr && data.ConsumeBool())
                    buffer->getMeta()->setInt64("timeUs", data.ConsumeIntegralInRange(-1, 4));
                pool->returnBuffer(buffer);
                break;
            }
            case 6:
                pool->returnWaitBuffer();
                break;
            case 7:
                pool->flush();
                break;
            case 8:
                // A holder may do to the metadata what it likes, and return or drop the buffer.
                if (const auto buffer = holders.letGo(data)) {
                    plexa::addHostileEntries(data, buffer->getMeta());
                    if (data.ConsumeBool()) pool->returnBuffer(buffer);
                }
                break;
            default:
                if (data.ConsumeBool()) init(data, pool);
        }
    }
    return 0;
}
