// The item generators: the policies by which a stage pairs what is queued into it.
#define LOG_TAG "APipeItemGenerator"

#include "APipeItemGenerator.h"

#include <log/log.h>

#include <iterator>
#include <utility>

#include "APipeLoopChecker.h"
#include "APipePlace.h"
#include "APipeStageRecord.h"

namespace android {

namespace {

constexpr const char* kTimeUs = "timeUs";
constexpr const char* kFrameMeta = "frameMeta";
constexpr const char* kForSeek = "buffer-for-seek";
constexpr const char* kWaitedFor = "use-wait-buffer";

template <typename T>
T takeFirst(List<T>& list) {
    T first = std::move(*list.begin());
    list.erase(list.begin());
    return first;
}

bool isMarked(const sp<APipeBuffer>& buffer, const char* key) {
    int32_t value = 0;
    buffer->getMeta()->findInt32(key, &value);
    return value != 0;
}

int64_t timeOf(const sp<AMessage>& meta) {
    int64_t timeUs = 0;
    meta->findInt64(kTimeUs, &timeUs);
    return timeUs;
}

sp<ABuffer> frameMetaOf(const sp<AMessage>& meta) {
    sp<ABuffer> frameMeta;
    meta->findBuffer(kFrameMeta, &frameMeta);
    return frameMeta;
}

const APipeRangeInfo* rangeAt(const std::vector<APipeRangeInfo>& infos, int64_t timeUs) {
    for (const APipeRangeInfo& info : infos) {
        if (info.startTimeUs <= timeUs && timeUs <= info.endTimeUs) return &info;
    }
    return nullptr;
}

}  // namespace

APipeItemGenerator::APipeItemGenerator(std::string name) : mName(std::move(name)) {}

APipeItemGenerator::~APipeItemGenerator() = default;

void APipeItemGenerator::pushItem(const sp<APipeItem>& item) {
    if (!acceptsItem(item)) return;
    queueBuffer(item);
    if (pairInto(item, true)) mCompletedItems.push_back(item);
}

void APipeItemGenerator::pushItemMeta(const sp<AMessage>&) {
    checkLoop(__func__);
}

void APipeItemGenerator::pushOutputBuffer(const sp<APipeBuffer>& buffer) {
    checkLoop(__func__);
    if (buffer == nullptr) {
        ALOGE("[%s] pushOutputBuffer refused a null buffer", mName.c_str());
        return;
    }
    mOutputBuffers.push_back(buffer);
}

status_t APipeItemGenerator::flush() {
    checkLoop(__func__);
    mInputBuffers.clear();
    mOutputBuffers.clear();
    mCompletedItems.clear();
    mDroppedItems.clear();
    return OK;
}

status_t APipeItemGenerator::release() {
    return APipeItemGenerator::flush();
}

sp<APipeItem> APipeItemGenerator::getCompletedItem() {
    checkLoop(__func__);
    if (!mCompletedItems.empty()) return takeFirst(mCompletedItems);
    if (mInputBuffers.empty() || mOutputBuffers.empty()) return nullptr;
    sp<APipeItem> item = new APipeItem();
    pairInto(item, true);
    return item;
}

bool APipeItemGenerator::isNeededSkip() const {
    return false;
}

void APipeItemGenerator::setRangeInfos(const std::vector<APipeRangeInfo>& infos) {
    checkLoop(__func__);
    for (const sp<APipeBuffer>& buffer : mInputBuffers) {
        int64_t timeUs = -1;
        buffer->getMeta()->findInt64(kTimeUs, &timeUs);
        const APipeRangeInfo* const range = timeUs < 0 ? nullptr : rangeAt(infos, timeUs);
        if (range == nullptr) continue;
        ALOGI("setRangeInfos - operation is found(%d), timeUs(%lld)", range->operation,
              static_cast<long long>(timeUs));
        buffer->getMeta()->setInt32("operation", range->operation);
    }
}

List<sp<APipeItem>> APipeItemGenerator::takeDroppedItems() {
    checkLoop(__func__);
    if (mDroppedItems.empty()) return {};
    return std::exchange(mDroppedItems, {});
}

void APipeItemGenerator::checkLoop(const char* call) const {
    APipeLoopChecker::check(mLoopChecker, call);
}

void APipeItemGenerator::describe(APipePending* pending) const {
    pending->inputs.describe(mInputBuffers);
    pending->outputs.set(static_cast<int64_t>(mOutputBuffers.size()));
    pending->isPaused.set(mPaused ? 1 : 0);
    if (mCompletedItems.empty() && mDroppedItems.empty()) return pending->otherBuffers.set(0);
    int64_t others = 0;
    for (const List<sp<APipeItem>>* items : {&mCompletedItems, &mDroppedItems}) {
        for (const sp<APipeItem>& item : *items)
            others += APipePlace::countBuffers(*item);
    }
    pending->otherBuffers.set(others);
}

bool APipeItemGenerator::acceptsItem(const sp<APipeItem>& item) {
    checkLoop("pushItem");
    if (item == nullptr) {
        ALOGE("[%s] pushItem refused a null item", mName.c_str());
        return false;
    }
    if (item->mInput != nullptr && item->mOutput != nullptr) {
        ALOGE("[%s] pushItem refused an item with both an input and an output", mName.c_str());
        mDroppedItems.push_back(item);
        return false;
    }
    return true;
}

void APipeItemGenerator::queueBuffer(const sp<APipeItem>& item) {
    if (item->mInput != nullptr) {
        mInputBuffers.push_back(item->mInput);
    } else if (item->mOutput != nullptr) {
        mOutputBuffers.push_back(item->mOutput);
    }
}

bool APipeItemGenerator::pairInto(const sp<APipeItem>& item, bool mayPair) {
    if (!mayPair || mInputBuffers.empty() || mOutputBuffers.empty()) {
        if (item->mSubInput != nullptr) {
            ALOGW("[%s] pushItem dropped a sub input, which has no place here", mName.c_str());
            drop(&APipeItem::mSubInput, item->mSubInput);
        }
        return false;
    }
    item->mInput = takeFirst(mInputBuffers);
    item->mOutput = takeFirst(mOutputBuffers);
    return true;
}

void APipeItemGenerator::drop(sp<APipeBuffer> APipeItem::*role, const sp<APipeBuffer>& buffer) {
    const sp<APipeItem> dropped = new APipeItem();
    (*dropped).*role = buffer;
    mDroppedItems.push_back(dropped);
}

APipeCSCItemGenerator::APipeCSCItemGenerator() : APipeItemGenerator("APipeCSCItemGenerator") {}

void APipeCSCItemGenerator::pushItem(const sp<APipeItem>& item) {
    if (!acceptsItem(item)) return;
    const bool paused = mPaused;
    const bool queueOnly = paused && item->mInput != nullptr && !mInputBuffers.empty();
    queueBuffer(item);
    if (!pairInto(item, !queueOnly)) return;
    if (paused && mInputBuffers.empty()) item->mOutput->getMeta()->setInt32(kForSeek, 1);
    mCompletedItems.push_back(item);
}

void APipeCSCItemGenerator::pushOutputBuffer(const sp<APipeBuffer>& buffer) {
    if (buffer != nullptr && mPaused && mInputBuffers.empty()) {
        buffer->getMeta()->setInt32(kForSeek, 1);
    }
    APipeItemGenerator::pushOutputBuffer(buffer);
}

bool APipeCSCItemGenerator::isNeededSkip() const {
    checkLoop(__func__);
    if (!mPaused || mInputBuffers.empty()) return false;
    const sp<APipeBuffer>& first = *mInputBuffers.begin();
    if (isMarked(first, kForSeek) || isMarked(first, kWaitedFor)) return false;
    ALOGI("isNeededSkip - don't work in paused");
    return true;
}

APipeFilterItemGenerator::APipeFilterItemGenerator()
    : APipeItemGenerator("APipeFilterItemGenerator") {}

void APipeFilterItemGenerator::pushItem(const sp<APipeItem>& item) {
    if (!acceptsItem(item)) return;
    const bool paused = mPaused;
    const sp<APipeBuffer> input = item->mInput;
    const bool waitedFor = input != nullptr && isMarked(input, kWaitedFor);
    const bool queueOnly = paused && input != nullptr && !waitedFor && !isMarked(input, kForSeek);
    if (paused && waitedFor) {
        mInputBuffers.push_front(input);
    } else {
        queueBuffer(item);
    }
    const bool firstMayGo =
        !paused || (!mInputBuffers.empty() && isMarked(*mInputBuffers.begin(), kWaitedFor));
    if (!pairInto(item, !queueOnly && firstMayGo)) return;
    if (paused) {
        mCompletedItems.push_front(item);
    } else {
        mCompletedItems.push_back(item);
    }
}

APipePortraitItemGenerator::APipePortraitItemGenerator()
    : APipeItemGenerator("APipePortraitItemGenerator") {}

void APipePortraitItemGenerator::pushItem(const sp<APipeItem>& item) {
    checkLoop(__func__);
    if (item == nullptr) {
        ALOGE("[%s] pushItem refused a null item", mName.c_str());
    } else if (item->mInput != nullptr) {
        dropPart(item, &APipeItem::mOutput);
        dropPart(item, &APipeItem::mSubInput);
        handleInput(item);
    } else if (item->mOutput != nullptr) {
        dropPart(item, &APipeItem::mSubInput);
        handleOutput(item);
    } else if (item->mSubInput != nullptr) {
        handleSubInput(item);
    }
}

void APipePortraitItemGenerator::pushItemMeta(const sp<AMessage>& meta) {
    checkLoop(__func__);
    int64_t timeUs = 0;
    if (meta == nullptr || !meta->findInt64(kTimeUs, &timeUs) || frameMetaOf(meta) == nullptr) {
        ALOGE("[%s] pushItemMeta refused metadata without timeUs or frameMeta", mName.c_str());
        return;
    }
    if (mItemMetas.empty()) {
        for (const sp<APipeBuffer>& input : mInputBuffers) {
            if (timeOf(input->getMeta()) != timeUs) continue;
            input->getMeta()->setBuffer(kFrameMeta, frameMetaOf(meta));
            return;
        }
    }
    mItemMetas.push_back(meta);
}

status_t APipePortraitItemGenerator::flush() {
    mItemMetas.clear();
    mSubInputBuffers.clear();
    return APipeItemGenerator::flush();
}

status_t APipePortraitItemGenerator::release() {
    mItemMetas.clear();
    mSubInputBuffers.clear();
    return APipeItemGenerator::release();
}

sp<APipeItem> APipePortraitItemGenerator::getCompletedItem() {
    checkLoop(__func__);
    if (!mCompletedItems.empty()) return takeFirst(mCompletedItems);
    if (mInputBuffers.empty() || mOutputBuffers.empty() || mSubInputBuffers.empty()) return nullptr;

    const sp<AMessage> meta = (*mInputBuffers.begin())->getMeta();
    int64_t timeUs = 0;
    if (!meta->findInt64(kTimeUs, &timeUs)) {
        ALOGE("[%s] getCompletedItem dropped an input without timeUs", mName.c_str());
        dropFrontInput();
        return nullptr;
    }
    if (frameMetaOf(meta) == nullptr && !setMetadata(meta, timeUs)) return nullptr;
    if (getExtraInputBuffer(timeUs) == nullptr) return nullptr;

    sp<APipeItem> item = new APipeItem();
    item->mInput = takeFirst(mInputBuffers);
    item->mSubInput = takeFirst(mSubInputBuffers);
    item->mOutput = takeFirst(mOutputBuffers);
    return item;
}

void APipePortraitItemGenerator::describe(APipePending* pending) const {
    APipeItemGenerator::describe(pending);
    pending->subInputs.describe(mSubInputBuffers);
    pending->metas.count.set(0);
    if (!mItemMetas.empty()) {
        pending->metas.set(mItemMetas.size(), timeOf(*mItemMetas.begin()),
                           timeOf(*std::prev(mItemMetas.end())));
    }
    int64_t missing = APipePending::kNothing;
    if (!mInputBuffers.empty()) {
        if (mSubInputBuffers.empty()) {
            missing = APipePending::kSubInput;
        } else if (frameMetaOf((*mInputBuffers.begin())->getMeta()) == nullptr) {
            missing = APipePending::kMetadata;
        }
    }
    pending->missing.set(missing);
}

void APipePortraitItemGenerator::handleInput(const sp<APipeItem>& item) {
    const sp<APipeBuffer> input = item->mInput;
    const int64_t timeUs = timeOf(input->getMeta());
    if (mItemMetas.empty() || timeOf(*mItemMetas.begin()) != timeUs) {
        mInputBuffers.push_back(input);
        return;
    }
    input->getMeta()->setBuffer(kFrameMeta, frameMetaOf(takeFirst(mItemMetas)));
    if (mOutputBuffers.empty() || mSubInputBuffers.empty() ||
        timeOf((*mSubInputBuffers.begin())->getMeta()) != timeUs) {
        mInputBuffers.push_back(input);
        return;
    }
    item->mSubInput = takeFirst(mSubInputBuffers);
    item->mOutput = takeFirst(mOutputBuffers);
    mCompletedItems.push_back(item);
}

void APipePortraitItemGenerator::handleOutput(const sp<APipeItem>& item) {
    if (mSubInputBuffers.empty() ||
        !frontInputMatches(timeOf((*mSubInputBuffers.begin())->getMeta()))) {
        mOutputBuffers.push_back(item->mOutput);
        return;
    }
    item->mSubInput = takeFirst(mSubInputBuffers);
    item->mInput = takeFirst(mInputBuffers);
    mCompletedItems.push_back(item);
}

void APipePortraitItemGenerator::handleSubInput(const sp<APipeItem>& item) {
    if (mOutputBuffers.empty() || !frontInputMatches(timeOf(item->mSubInput->getMeta()))) {
        mSubInputBuffers.push_back(item->mSubInput);
        return;
    }
    item->mInput = takeFirst(mInputBuffers);
    item->mOutput = takeFirst(mOutputBuffers);
    mCompletedItems.push_back(item);
}

bool APipePortraitItemGenerator::setMetadata(const sp<AMessage>& meta, int64_t timeUs) {
    while (!mItemMetas.empty()) {
        const sp<AMessage> entry = *mItemMetas.begin();
        const int64_t entryTimeUs = timeOf(entry);
        if (entryTimeUs > timeUs) {
            ALOGW("[%s] setMetadata : metaTimeUs is after (%lld) vs timeUs (%lld)", mName.c_str(),
                  static_cast<long long>(entryTimeUs), static_cast<long long>(timeUs));
            dropFrontInput();
            return false;
        }
        mItemMetas.erase(mItemMetas.begin());
        if (entryTimeUs == timeUs) {
            meta->setBuffer(kFrameMeta, frameMetaOf(entry));
            return true;
        }
        ALOGW("[%s] setMetadata metaTimeUs is previous time (%lld) vs timeUs (%lld)", mName.c_str(),
              static_cast<long long>(entryTimeUs), static_cast<long long>(timeUs));
    }
    return false;
}

sp<APipeBuffer> APipePortraitItemGenerator::getExtraInputBuffer(int64_t timeUs) {
    while (!mSubInputBuffers.empty()) {
        sp<APipeBuffer> entry = *mSubInputBuffers.begin();
        int64_t entryTimeUs = 0;
        if (!entry->getMeta()->findInt64(kTimeUs, &entryTimeUs)) {
            ALOGE("[%s] getExtraInputBuffer dropped a sub input without timeUs", mName.c_str());
        } else if (entryTimeUs < timeUs) {
            ALOGW(
                "[%s] getExtraInputBuffer extraInputTimeUs is previous time (%lld) vs timeUs "
                "(%lld)",
                mName.c_str(), static_cast<long long>(entryTimeUs), static_cast<long long>(timeUs));
        } else if (entryTimeUs == timeUs) {
            return entry;
        } else {
            ALOGW("[%s] getExtraInputBuffer : extraInputTimeUs is after (%lld) vs timeUs (%lld)",
                  mName.c_str(), static_cast<long long>(entryTimeUs),
                  static_cast<long long>(timeUs));
            dropFrontInput();
            return nullptr;
        }
        drop(&APipeItem::mSubInput, takeFirst(mSubInputBuffers));
    }
    return nullptr;
}

bool APipePortraitItemGenerator::frontInputMatches(int64_t subTimeUs) const {
    if (mInputBuffers.empty()) return false;
    const sp<AMessage> meta = (*mInputBuffers.begin())->getMeta();
    return frameMetaOf(meta) != nullptr && timeOf(meta) == subTimeUs;
}

void APipePortraitItemGenerator::dropFrontInput() {
    drop(&APipeItem::mInput, takeFirst(mInputBuffers));
}

void APipePortraitItemGenerator::dropPart(const sp<APipeItem>& item,
                                          sp<APipeBuffer> APipeItem::*role) {
    sp<APipeBuffer>& part = (*item).*role;
    if (part == nullptr) return;
    ALOGW("[%s] pushItem dropped a buffer beside the one that the item is for", mName.c_str());
    drop(role, part);
    part = nullptr;
}

}  // namespace android
