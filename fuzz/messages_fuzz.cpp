// Formats, metadata, parameters and frames of any kind, into every stage and the CPU engines.
#include <APipeBufferFactory.h>
#include <APipeConverter.h>
#include <APipeDecompress.h>
#include <APipeScale.h>
#include <AScaler.h>
#include <host/GraphicsCounts.h>
#include <host/LooperScheduler.h>

#include <cstdlib>
#include <vector>

#include "fuzz_frames.h"

using android::AMessage;
using android::APipe;
using android::APipeBuffer;
using android::APipeConverter;
using android::APipeItem;
using android::APipeRangeInfo;
using android::AScaler;
using android::sp;

namespace {

// Takes notices and does nothing with them.
struct Client : public android::AHandler {
    void onMessageReceived(const sp<AMessage>&) override {}
};

// Whatever comes, half of the time put in order afterwards. Sizes that would only cost memory are
// left to the geometry's own fuzzer.
sp<AMessage> takeFormat(FuzzedDataProvider& data) {
    sp<AMessage> format = new AMessage;
    const bool inOrder = data.ConsumeBool();
    plexa::addHostileEntries(data, format);
    for (const char* const key : {"width", "height"}) {
        int32_t value = 0;
        if (format->findInt32(key, &value) && value > 64) format->setInt32(key, value % 64);
    }
    if (inOrder) {
        const plexa::FrameSize size = plexa::takeFrameSize(data);
        format->setInt32("width", size.width);
        format->setInt32("height", size.height);
        format->setInt32("colorformat", data.ConsumeIntegralInRange(0, 13));
    }
    return format;
}

sp<APipeItem> takeItem(FuzzedDataProvider& data) {
    if (data.ConsumeIntegralInRange(0, 15) == 0) return nullptr;
    sp<APipeItem> item = new APipeItem;
    item->mInput = plexa::takeFrame(data);
    item->mOutput = plexa::takeFrame(data);
    item->mSubInput = plexa::takeFrame(data);
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

std::vector<APipeRangeInfo> takeRanges(FuzzedDataProvider& data) {
    std::vector<APipeRangeInfo> ranges(data.ConsumeIntegralInRange<size_t>(0, 3));
    for (APipeRangeInfo& range : ranges) {
        range = {data.ConsumeIntegral<int64_t>(), data.ConsumeIntegral<int64_t>(),
                 data.ConsumeIntegral<int32_t>()};
    }
    return ranges;
}

sp<APipe> takeStage(FuzzedDataProvider& data, const sp<APipe>& next, const sp<AMessage>& notify) {
    sp<APipe> stage;
    switch (data.ConsumeIntegralInRange(0, 2)) {
        case 0:
            stage = new APipe(next, notify, "fuzz");
            break;
        case 1:
            stage = new android::APipeScale(next, notify);
            break;
        default:
            stage = new android::APipeDecompress(next, notify);
    }
    stage->setItemGenerator(takeGenerator(data));
    return stage;
}

void setParameter(FuzzedDataProvider& data, const sp<APipe>& stage) {
    const int key = data.ConsumeIntegral<int>();
    switch (data.ConsumeIntegralInRange(0, 2)) {
        case 0:
            stage->setParameter(key, data.ConsumeIntegral<int>());
            break;
        case 1:
            stage->setParameter(key, data.ConsumeRandomLengthString(16));
            break;
        default:
            stage->setParameter(key, takeFormat(data));
    }
}

sp<AMessage> takeItemMeta(FuzzedDataProvider& data) {
    if (data.ConsumeIntegralInRange(0, 15) == 0) return nullptr;
    const sp<AMessage> meta = new AMessage;
    if (data.ConsumeBool()) meta->setInt64("timeUs", data.ConsumeIntegralInRange(0, 9));
    if (data.ConsumeBool()) meta->setBuffer("frameMeta", plexa::takeBlob(data));
    plexa::addHostileEntries(data, meta);
    return meta;
}

void act(FuzzedDataProvider& data, const sp<APipe>& stage) {
    switch (data.ConsumeIntegralInRange(0, 12)) {
        case 0:
            stage->flush();
            break;
        case 1:
            stage->release();
            break;
        case 2:
            stage->updateInputFormat(data.ConsumeBool() ? takeFormat(data) : nullptr);
            break;
        case 3:
            stage->queueItemMeta(takeItemMeta(data));
            break;
        case 4:
            setParameter(data, stage);
            break;
        case 5:
            stage->init(takeFormat(data), data.ConsumeBool() ? takeFormat(data) : nullptr);
            break;
        case 6:
            stage->setRangeInfos(takeRanges(data));
            break;
        default:
            stage->queueItem(takeItem(data));
    }
}

void runChain(FuzzedDataProvider& data) {
    android::host::LooperScheduler scheduler(data.ConsumeIntegral<uint8_t>());
    const sp<android::ALooper> looper = new android::ALooper;
    looper->start();
    const sp<Client> client = new Client;
    looper->registerHandler(client);
    const sp<AMessage> notify =
        data.ConsumeIntegralInRange(0, 7) != 0 ? new AMessage(0, client) : nullptr;
    std::vector<sp<APipe>> stages;
    for (int left = data.ConsumeIntegralInRange(1, 3); left > 0; --left)
        stages.push_back(takeStage(data, stages.empty() ? nullptr : stages.back(), notify));
    stages.back()->init(takeFormat(data), takeFormat(data));
    scheduler.runUntilIdle();
    while (data.remaining_bytes() > 0) {
        act(data, stages[data.ConsumeIntegralInRange<size_t>(0, stages.size() - 1)]);
        scheduler.runUntilIdle(data.ConsumeIntegralInRange<size_t>(0, 8));
    }
    looper->unregisterHandler(client->id());
    looper->stop();
}

void runEngines(FuzzedDataProvider& data) {
    const sp<AMessage> msg = new AMessage;
    plexa::addHostileEntries(data, msg);
    if (data.ConsumeIntegralInRange(0, 7) != 0) msg->setMessage("src", takeFormat(data));
    if (data.ConsumeIntegralInRange(0, 7) != 0) msg->setMessage("dst", takeFormat(data));
    const auto input = plexa::takeFrame(data), output = plexa::takeFrame(data);
    for (const auto type : {APipeConverter::kTypeCL, APipeConverter::kTypeRE}) {
        const auto converter = APipeConverter::Create(type);
        converter->setColorSpace(data.ConsumeIntegral<int>());
        converter->init(msg);
        converter->convert(input, output);
        converter->setPerfHint(static_cast<APipeConverter::PerfHint>(data.ConsumeIntegral<int>()));
        converter->convert(output, input);
        if (data.ConsumeBool()) converter->reset();
    }
    const auto scaler = AScaler::Create(AScaler::kTypeCL);
    scaler->init(msg);
    scaler->scale(input, output);
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
