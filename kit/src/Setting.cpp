// The stages to prove, by themselves: what they take and give.
#include "Setting.h"

#include <kit/Client.h>
#include <kit/Formats.h>

#include <cstring>
#include <typeinfo>

#include "CalmChain.h"
#include "StageAccess.h"

namespace plexa::kit {

using android::ABuffer;
using android::AMessage;
using android::APipe;
using android::APipeBuffer;
using android::sp;

namespace {

constexpr int32_t kWidth = 64, kHeight = 32;
// More than all but the longest lives have; later ones are not compared.
constexpr int64_t kComparedFrames = 600;

// How far the stages get with a format by themselves, the worst first: a stage that says that it
// cannot take it is none to prove with it, one that falls silent is.
enum class Trial { Refused, NeverStarted, Lost, Passed };

Trial tryOut(const std::vector<StageSpec>& given, const FrameFormat& format, Setting* setting) {
    CalmChain chain(given, format);
    setting->given = given;
    setting->takes = format;
    setting->gives = format;
    const bool started = chain.start();
    if (chain.hasFailed()) return Trial::Refused;
    if (!started) return Trial::NeverStarted;
    setting->pools = chain.countPools();
    const auto arrival = chain.pass(0);
    if (chain.hasFailed()) return Trial::Refused;
    if (!arrival) return Trial::Lost;
    setting->gives = arrival->format;
    return Trial::Passed;
}

// The picture that each frame becomes when all goes well; empty if it is another one when other
// frames went before.
std::vector<uint64_t> digestsOf(const std::vector<StageSpec>& given, const FrameFormat& takes) {
    std::vector<uint64_t> digests;
    {
        CalmChain chain(given, takes);
        if (!chain.start()) return {};
        while (static_cast<int64_t>(digests.size()) < kComparedFrames) {
            const auto arrival = chain.pass(static_cast<int64_t>(digests.size()));
            if (!arrival) break;
            digests.push_back(arrival->digest);
        }
    }
    CalmChain chain(given, takes);
    if (!chain.start()) return {};
    for (const size_t frame : {size_t{7}, size_t{3}, size_t{12}, size_t{4}}) {
        const auto arrival = chain.pass(static_cast<int64_t>(frame));
        if (frame < digests.size() && arrival && arrival->digest != digests[frame]) return {};
    }
    return digests;
}

}  // namespace

bool keepsOrder(const sp<APipe>& stage) {
    const auto generator = StageAccess::generatorOf(stage);
    if (generator == nullptr) return true;
    const android::APipeItemGenerator& policy = *generator;
    return typeid(policy) == typeid(android::APipeItemGenerator);
}

sp<AMessage> metaOfFrame(int64_t frame) {
    const auto blob = static_cast<int32_t>(frame);
    const sp<AMessage> meta = new AMessage;
    meta->setInt64("timeUs", frame * Client::kFrameUs);
    meta->setBuffer("frameMeta", ABuffer::CreateAsCopy(&blob, sizeof(blob)));
    return meta;
}

int64_t frameOfMeta(const sp<AMessage>& meta) {
    sp<ABuffer> blob;
    int32_t frame = 0;
    if (!meta->findBuffer("frameMeta", &blob) || blob->size() != sizeof(frame)) return kNoFrame;
    std::memcpy(&frame, blob->data(), sizeof(frame));
    return frame;
}

void paintOver(const sp<APipeBuffer>& buffer) {
    const FrameFormat format{buffer->getColorFormat(), buffer->getMemoryType(), buffer->getWidth(),
                             buffer->getHeight()};
    FramePainter(format).paint(buffer, kNoFrame);
}

std::optional<int32_t> poolColorFor(const FrameFormat& format) {
    const bool isGraphic = format.memory == APipeBuffer::GraphicMemory;
    switch (format.color) {
        case APipeBuffer::Nv12Venus:
            return isGraphic ? APipeBuffer::Nv12Ubwc : APipeBuffer::Nv12Venus;
        case APipeBuffer::P010:
        case APipeBuffer::P010Venus:
            return isGraphic ? APipeBuffer::Tp10Ubwc : APipeBuffer::P010;
        case APipeBuffer::Nv12:
        case APipeBuffer::Yuv420p:
        case APipeBuffer::Yv12:
            if (isGraphic) return std::nullopt;
            return format.color;
        case APipeBuffer::Rgba8888:
            if (!isGraphic) return std::nullopt;
            return format.color;
        default:
            return std::nullopt;
    }
}

Setting Setting::ofNeighbours() {
    return {};
}

Setting Setting::around(const std::vector<StageSpec>& given) {
    Setting setting;
    auto best = Trial::Refused;
    for (const FrameFormat& format : knownFormats(kWidth, kHeight)) {
        Setting tried;
        const Trial trial = tryOut(given, format, &tried);
        if (trial <= best) continue;
        best = trial;
        setting = tried;
        if (best == Trial::Passed) break;
    }
    if (best == Trial::Passed) setting.digests = digestsOf(given, setting.takes);
    return setting;
}

Cast Setting::cast(bool systemFaults) const {
    return {static_cast<int>(given.size()), poolColorFor(takes).has_value(),
            poolColorFor(gives).has_value(), systemFaults};
}

bool Setting::isRight(const sp<APipeBuffer>& buffer, int64_t frame, bool behind) const {
    if (!behind) return showsFrame(buffer, frame);
    const auto index = static_cast<size_t>(frame);
    return index >= digests.size() || digestOf(buffer) == digests[index];
}

}  // namespace plexa::kit
