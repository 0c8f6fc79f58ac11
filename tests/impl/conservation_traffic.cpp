// What a client queues into the conservation chain, and what it knows of its buffers.
#include "conservation_traffic.h"

#include <APipeBufferFactory.h>

#include <algorithm>

namespace plexa {

using namespace android;

namespace {

using Books = ConservationBooks;

// In percent.
constexpr uint64_t kLostFrames = 3;
constexpr uint64_t kLostMasks = 6;
constexpr uint64_t kLostMetas = 6;
// So many parts are under way to the chain at once.
constexpr size_t kPartsUnderWay = 12;
// One step in so many. Else the parts of one kind come in the order of their times.
constexpr uint64_t kDisorderEvery = 40;
constexpr uint64_t kFlushEvery = 500;
constexpr uint64_t kCheckEvery = 50;

sp<APipeBuffer> newBuffer() {
    sp<APipeBuffer> buffer =
        APipeBufferFactory::Create(APipeBuffer::Yuv420p, kFrameWidth, kFrameHeight, nullptr,
                                   nullptr, APipeBuffer::LocalMemory, -1, -1);
    return buffer->init() == OK ? buffer : nullptr;
}

}  // namespace

void Books::isQueued(int32_t id) {
    mOutSince[static_cast<size_t>(id)] = flushesBegun;
    ++queued;
    if (id < kFrames) ++framesQueued;
}

void Books::onNotice(const ClientHandler::Notice& notice) {
    switch (notice.what) {
        case APipe::kWhatInitCompleted:
            initialised = true;
            break;
        case APipe::kWhatOutputBufferDone:
            if (notice.flag == APipe::kBufferWithFrame) ++shown;
            [[fallthrough]];
        case APipe::kWhatInputBufferDone:
            cameHome(notice.bufferId);
            break;
        case APipe::kWhatFlushCompleted:
            flushCompleted();
            break;
        case APipe::kWhatReleaseCompleted:
            released = true;
            break;
        default:
            ++errors;
    }
}

Ids Books::out() const {
    Ids ids;
    for (int32_t id = 0; id < kBuffers; ++id) {
        if (isOut(id)) ids.insert(id);
    }
    return ids;
}

void Books::cameHome(int32_t id) {
    ++reported;
    if (!isOut(id)) ++strange;
    mOutSince[static_cast<size_t>(id)] = kHome;
}

void Books::flushCompleted() {
    ++flushesCompleted;
    for (int& since : mOutSince) {
        if (since == kHome || since >= flushesCompleted) continue;
        since = kHome;
        ++covered;
    }
}

ConservationTraffic::ConservationTraffic(uint64_t seed)
    : mRandom(seed),
      mClient(ClientHandler::create([this](const ClientHandler::Notice& notice) {
          mBooks.update([&](Books& books) { books.onNotice(notice); });
      })),
      mChain(mClient->notify()) {
    for (int32_t id = 0; id < Books::kBuffers; ++id)
        mBuffers.push_back(newBuffer());
}

bool ConservationTraffic::start() {
    const sp<AMessage> format = formatOf(APipeBuffer::Yuv420p, kFrameWidth, kFrameHeight);
    if (mChain.first->init(format, format) != OK) return false;
    pump();
    return waitFor([](const Books& books) { return books.initialised; });
}

void ConservationTraffic::run(int64_t frames) {
    while (books().framesQueued < frames) {
        queueOutputs();
        gatherParts();
        if (!queueOnePart()) {
            // Every buffer that a part needs is out: either the chain is behind, or all that it has
            // waits for parts that were lost.
            waitForRoom();
            if (!queueOnePart()) flush();
        }
        breathe();
        if (draw(kFlushEvery) == 0) flush();
        if (draw(kCheckEvery) == 0) {
            check();
            mClient->forget();
        }
    }
}

void ConservationTraffic::end() {
    check();
    queuePart({Kind::Meta, mNextTimeUs});
    queue(Books::kEndMask, mNextTimeUs);
    check();
    // Each empty item lets a stage take one step.
    for (size_t step = 0; step < Books::kFrames + PassStage::kPoolSize; ++step) {
        queueOutputs();
        for (const sp<APipe>& stage : {sp<APipe>(mChain.first), sp<APipe>(mChain.portrait)})
            stage->queueItem(new APipeItem);
        check();
    }
}

void ConservationTraffic::flush() {
    if (books().isFlushing()) return;
    mBooks.update([](Books& books) { books.flushBegins(); });
    mChain.first->flush();
}

bool ConservationTraffic::release() {
    mChain.first->release();
    pump();
    return waitFor([](const Books& books) { return books.released; });
}

void ConservationTraffic::gatherParts() {
    while (mParts.size() < kPartsUnderWay) {
        if (draw(100) >= kLostFrames) mParts.push_back({Kind::Frame, mNextTimeUs});
        if (draw(100) >= kLostMasks) mParts.push_back({Kind::Mask, mNextTimeUs});
        if (draw(100) >= kLostMetas) mParts.push_back({Kind::Meta, mNextTimeUs});
        ++mNextTimeUs;
    }
}

bool ConservationTraffic::queueOnePart() {
    const bool disorderly = draw(kDisorderEvery) == 0;
    const size_t start = draw(mParts.size());
    for (size_t i = 0; i < mParts.size(); ++i) {
        auto part = mParts.begin() + static_cast<ptrdiff_t>((start + i) % mParts.size());
        if (!disorderly) part = firstOf(part->kind);
        if (!queuePart(*part)) continue;
        mParts.erase(part);
        return true;
    }
    return false;
}

std::vector<ConservationTraffic::Part>::iterator ConservationTraffic::firstOf(Kind kind) {
    return std::find_if(mParts.begin(), mParts.end(),
                        [&](const Part& part) { return part.kind == kind; });
}

bool ConservationTraffic::queuePart(const Part& part) {
    if (part.kind == Kind::Frame) return queueFree(0, Books::kFrames, part.timeUs);
    // A later stage may still have its flush before it.
    if (books().isFlushing()) return false;
    if (part.kind == Kind::Mask) return queueFree(Books::kFirstMask, Books::kMasks, part.timeUs);
    return mChain.portrait->queueItemMeta(
               PortraitStage::blurMeta(part.timeUs, radiusAt(part.timeUs))) == OK;
}

bool ConservationTraffic::queueFree(int32_t firstId, int32_t count, int64_t timeUs) {
    const Books now = books();
    for (int32_t id = firstId; id < firstId + count; ++id) {
        if (now.isOut(id)) continue;
        queue(id, timeUs);
        return true;
    }
    return false;
}

void ConservationTraffic::queueOutputs() {
    while (!books().isFlushing() && queueFree(Books::kFirstOutput, Books::kOutputs, -1)) {
    }
}

void ConservationTraffic::queue(int32_t id, int64_t timeUs) {
    const sp<APipeBuffer>& buffer = mBuffers[static_cast<size_t>(id)];
    buffer->getMeta()->clear();
    buffer->getMeta()->setInt32("bufferId", id);
    buffer->getMeta()->setInt64("timeUs", timeUs);
    mBooks.update([&](Books& books) { books.isQueued(id); });
    const sp<APipeItem> item = new APipeItem;
    if (id < Books::kFrames) {
        item->mInput = buffer;
        mChain.first->queueItem(item);
    } else if (id < Books::kFirstOutput) {
        item->mSubInput = buffer;
        mChain.portrait->queueItem(item);
    } else {
        item->mOutput = buffer;
        mChain.last->queueItem(item);
    }
}

}  // namespace plexa
