// Formats, metadata and parameters with any keys, types and values, into every stage and engine.
#include <APipeBufferFactory.h>
#include <APipeConverter.h>
#include <APipeDecompress.h>
#include <APipeScale.h>
#include <AScaler.h>
#include <host/GraphicsCounts.h>
#include <host/LooperScheduler.h>

#include <cstdlib>

#include "fuzz_messages.h"

using android::AMessage;
using android::APipe;
using android::APipeBuffer;
using android::APipeConverter;
using android::APipeItem;
using android::AScaler;
using android::sp;

namespace {

// A format that is in order as it comes, then whatever else. Sizes that would only cost memory are
// left to the geometry's own fuzzer.
sp<AMessage> takeFormat(FuzzedDataProvider& data) {
    sp<AMessage> format = new AMessage;
    const bool inOrder = data.ConsumeBool();
    plexa::addHostileEntries(data, format);
    for (const char* const key : {"width", "height"}) {
        int32_t value = 0;
        const bool there = format->findInt32(key, &value);
        if (inOrder || (there && value > 64))
            format->setInt32(key, data.ConsumeIntegralInRange(-1, 64));
    }
    if (inOrder) format->setInt32("colorformat", data.ConsumeIntegralInRange(0, 13));
    return format;
}

sp<APipeBuffer> takeBuffer(FuzzedDataProvider& data) {
    if (data.ConsumeIntegralInRange(0, 3) == 0) return nullptr;
    sp<APipeBuffer> buffer = android::APipeBufferFactory::Create(
        APipeBuffer::Nv12, 16, 8, nullptr, nullptr, APipeBuffer::LocalMemory, -1, -1);
    if (data.ConsumeBool()) buffer->init();
    plexa::addHostileEntries(data, buffer->getMeta());
    return buffer;
}

sp<APipeItem> takeItem(FuzzedDataProvider& data) {
    if (data.ConsumeIntegralInRange(0, 15) == 0) return nullptr;
    sp<APipeItem> item = new APipeItem;
    item->mInput = takeBuffer(data);
    item->mOutput = takeBuffer(data);
    item->mSubInput = takeBuffer(data);
    return item;
}

sp<android::APipeItemGenerator> takeGenerator(FuzzedDataProvider& data) {
    switch (data.ConsumeIntegralInRange(0, 4)) {
        case 0:
            return new android::APipeItemGenerator("fuzz");
        case 1:
            return new android::APipeCSCItemGenerator;
        case 2:
            return new android::APipeFilterItemGenerator;
        case 3:
            return new android::APipePortraitItemGenerator;
        default:
            return nullptr;
    }
}

void act(FuzzedDataProvider& data, const sp<APipe>& stage) {
    switch (data.ConsumeIntegralInRange(0, 8)) {
        case 0:
            stage->flush();
            break;
        case 1:
            stage->release();
            break;
        case 2:
            stage->updateInputFormat(takeFormat(data));
            break;
        case 3: {
            const sp<AMessage> meta = new AMessage;
            plexa::addHostileEntries(data, meta);
            stage->queueItemMeta(meta);
            break;
        }
        case 4:
            stage->setParameter(data.ConsumeIntegral<int>(), takeFormat(data));
            break;
        case 5:
            stage->init(takeFormat(data), takeFormat(data));
            break;
        default:
            stage->queueItem(takeItem(data));
    }
}

void runChain(FuzzedDataProvider& data) {
    android::host::LooperScheduler scheduler(data.ConsumeIntegral<uint8_t>());
    const sp<APipe> last = new android::APipeScale(nullptr, nullptr);
    const sp<APipe> first = new android::APipeDecompress(last, nullptr);
    first->setItemGenerator(takeGenerator(data));
    last->setItemGenerator(takeGenerator(data));
    first->init(takeFormat(data), takeFormat(data));
    scheduler.runUntilIdle();
    while (data.remaining_bytes() > 0) {
        act(data, data.ConsumeBool() ? first : last);
        scheduler.runUntilIdle(data.ConsumeIntegralInRange<size_t>(0, 8));
    }
}

void runEngines(FuzzedDataProvider& data) {
    const sp<AMessage> msg = new AMessage;
    plexa::addHostileEntries(data, msg);
    if (data.ConsumeIntegralInRange(0, 7) != 0) msg->setMessage("src", takeFormat(data));
    if (data.ConsumeIntegralInRange(0, 7) != 0) msg->setMessage("dst", takeFormat(data));
    const auto input = takeBuffer(data), output = takeBuffer(data);
    for (const auto type : {APipeConverter::kTypeCL, APipeConverter::kTypeRE}) {
        const auto converter = APipeConverter::Create(type);
        converter->setColorSpace(data.ConsumeIntegral<int>());
        converter->init(msg);
        if (input != nullptr && output != nullptr) converter->convert(input, output);
    }
    const auto scaler = AScaler::Create(AScaler::kTypeCL);
    scaler->init(msg);
    if (input != nullptr && output != nullptr) scaler->scale(input, output);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    plexa::silenceLog();
    const auto before = android::host::graphicsCounts();
    FuzzedDataProvider data(bytes, size);
    if (data.ConsumeIntegralInRange(0, 3) == 0) {
        runEngines(data);
    } else {
        runChain(data);
    }
    if (!(android::host::graphicsCounts() == before)) std::abort();
    return 0;
}
