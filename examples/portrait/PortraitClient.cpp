// Feeds the portrait stage with a clip that has lost some of its parts.
#include "PortraitClient.h"

#include <APipeBufferFactory.h>
#include <media/stagefright/foundation/ADebug.h>

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "PaintedClip.h"
#include "PortraitStage.h"

namespace android {

namespace {

constexpr int64_t kFrameUs = 33333;
constexpr int32_t kMaxRadius = 12;  // pixels, at the end of the clip
constexpr int kOutputs = 4;
// The ids of the client's buffers: frames from 0 on, masks and outputs from here.
constexpr int32_t kFirstMask = 100000;
constexpr int32_t kFirstOutput = 200000;

sp<APipeBuffer> newBuffer(const PortraitClient::Clip& clip, int32_t id, int64_t timeUs) {
    sp<APipeBuffer> buffer =
        APipeBufferFactory::Create(APipeBuffer::Yuv420p, clip.width, clip.height, nullptr, nullptr,
                                   APipeBuffer::LocalMemory, -1, -1);
    CHECK_EQ(buffer->init(), OK);
    buffer->getMeta()->setInt32("bufferId", id);
    buffer->getMeta()->setInt64("timeUs", timeUs);
    return buffer;
}

}  // namespace

PortraitClient::PortraitClient(const Clip& clip) : mClip(clip), mRandom(clip.seed) {
    for (int i = 0; i < mClip.frames; ++i)
        mFrames.push_back(makeFrame(i));
    for (int i = 0; i < kOutputs; ++i)
        mOutputs.push_back(newBuffer(mClip, kFirstOutput + i, -1));
}

PortraitClient::Frame PortraitClient::makeFrame(int frame) {
    const double phase = static_cast<double>(frame) / mClip.frames;
    const int64_t timeUs = frame * kFrameUs;
    Frame parts;
    parts.input = newBuffer(mClip, frame, timeUs);
    PaintedClip::paintFrame(phase, Picture::of(parts.input));
    if (!isLost()) {
        parts.mask = newBuffer(mClip, kFirstMask + frame, timeUs);
        PaintedClip::paintMask(phase, Picture::of(parts.mask));
    }
    if (!isLost()) parts.meta = PortraitStage::blurMeta(timeUs, kMaxRadius * frame / mClip.frames);
    return parts;
}

bool PortraitClient::isLost() {
    return std::uniform_int_distribution(0, 99)(mRandom) < mClip.lossPercent;
}

bool PortraitClient::run(const sp<APipe>& stage) {
    mStage = stage;
    const sp<AMessage> format = new AMessage;
    format->setInt32("colorformat", APipeBuffer::Yuv420p);
    format->setInt32("width", mClip.width);
    format->setInt32("height", mClip.height);
    std::future<bool> ended = mEnded.get_future();
    if (stage->init(format, format) != OK) return false;
    return ended.wait_for(std::chrono::minutes(1)) == std::future_status::ready && ended.get();
}

void PortraitClient::onMessageReceived(const sp<AMessage>& msg) {
    int32_t what = 0, id = 0;
    int64_t timeUs = 0;
    msg->findInt32("what", &what);
    msg->findInt32("bufferId", &id);
    msg->findInt64("timeUs", &timeUs);
    switch (what) {
        case APipe::kWhatInitCompleted:
            return queueClip();
        case APipe::kWhatInputBufferDone:
            return onInputDone(id);
        case APipe::kWhatOutputBufferDone:
            return onOutputDone(id, timeUs);
        case APipe::kWhatError:
            mFailed = true;
            mStage->release();
            return;
        case APipe::kWhatFlushCompleted:
            mLedger.forgotten();
            mStage->release();
            return;
        case APipe::kWhatReleaseCompleted:
            mLedger.forgotten();
            return mEnded.set_value(!mFailed);
    }
}

void PortraitClient::queueClip() {
    for (const sp<APipeBuffer>& output : mOutputs)
        queue(output, &APipeItem::mOutput);

    enum Kind { kInput, kMask, kMeta };
    std::vector<Kind> arrivals;
    for (int i = 0; i < mClip.frames; ++i)
        arrivals.insert(arrivals.end(), {kInput, kMask, kMeta});
    std::shuffle(arrivals.begin(), arrivals.end(), mRandom);
    size_t next[] = {0, 0, 0};
    for (const Kind kind : arrivals) {
        const Frame& frame = mFrames[next[kind]++];
        if (kind == kInput) queue(frame.input, &APipeItem::mInput);
        if (kind == kMask) queue(frame.mask, &APipeItem::mSubInput);
        if (kind == kMeta && frame.meta != nullptr) mStage->queueItemMeta(frame.meta);
    }

    // The end: parts of a later time tell the stage not to wait for those of earlier ones.
    mStage->queueItemMeta(PortraitStage::blurMeta(mClip.frames * kFrameUs, 0));
    queue(newBuffer(mClip, kFirstMask + mClip.frames, mClip.frames * kFrameUs),
          &APipeItem::mSubInput);
}

void PortraitClient::queue(const sp<APipeBuffer>& buffer, sp<APipeBuffer> APipeItem::*role) {
    if (buffer == nullptr) return;
    const sp<APipeItem> item = new APipeItem;
    (*item).*role = buffer;
    int32_t id = 0;
    buffer->getMeta()->findInt32("bufferId", &id);
    if (mStage->queueItem(item) == OK) mLedger.queued(id);
}

void PortraitClient::onInputDone(int32_t id) {
    mLedger.cameHome(id);
    if (id >= kFirstMask) return;
    if (++mFramesHome == mClip.frames) {
        mStage->flush();
    } else {
        // The stage takes one step at each item that it gets, so this one may be empty.
        mStage->queueItem(new APipeItem);
    }
}

void PortraitClient::onOutputDone(int32_t id, int64_t timeUs) {
    mLedger.cameHome(id);
    const sp<APipeBuffer>& output = mOutputs[static_cast<size_t>(id - kFirstOutput)];
    if (timeUs >= 0) {
        const int64_t frame = timeUs / kFrameUs;
        mFrames[static_cast<size_t>(frame)].shown = true;
        if (mClip.show) mClip.show(static_cast<int>(frame), Picture::of(output));
    }
    if (mFramesHome < mClip.frames) queue(output, &APipeItem::mOutput);
}

std::vector<int> PortraitClient::lostFrames() const {
    std::vector<int> lost;
    for (int i = 0; i < mClip.frames; ++i) {
        if (!mFrames[static_cast<size_t>(i)].shown) lost.push_back(i);
    }
    return lost;
}

bool PortraitClient::report() const {
    int shown = 0, noMask = 0, noMeta = 0, neither = 0, wrong = 0;
    for (const Frame& frame : mFrames) {
        const bool hasMask = frame.mask != nullptr, hasMeta = frame.meta != nullptr;
        if (frame.shown != (hasMask && hasMeta)) {
            ++wrong;
        } else if (frame.shown) {
            ++shown;
        } else {
            ++(hasMeta ? noMask : hasMask ? noMeta : neither);
        }
    }
    printf("%d frames = %d shown + %d without mask + %d without metadata + %d without either\n",
           mClip.frames, shown, noMask, noMeta, neither);
    if (wrong != 0) printf("%d frames shown or lost without reason\n", wrong);
    mLedger.print();
    return wrong == 0 && mLedger.isSound();
}

}  // namespace android
