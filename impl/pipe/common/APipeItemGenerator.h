// APipeItem, the unit of work, and the item generators, which make complete ones.
#pragma once

#include <media/stagefright/foundation/AMessage.h>
#include <utils/Errors.h>
#include <utils/List.h>
#include <utils/RefBase.h>
#include <utils/StrongPointer.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "APipeBuffer.h"
#include "APipeExport.h"

namespace android {

class APipeLoopChecker;
struct APipePending;

/// What a stage works on. A client queues items with one of the buffers each; a generator makes
/// items with an input and an output, and from the portrait generator a sub input too.
///
/// Threading: reentrant. One party at a time owns an item.
class PLEXA_EXPORT APipeItem : public RefBase {
public:
    APipeItem() = default;

    sp<APipeBuffer> mInput;
    /// A second buffer of the input's presentation time.
    sp<APipeBuffer> mSubInput;
    sp<APipeBuffer> mOutput;
};

/// An operation for the frames from startTimeUs to endTimeUs, both inclusive, in microseconds.
/// Threading: reentrant; a plain value.
struct APipeRangeInfo {
    int64_t startTimeUs;
    int64_t endTimeUs;
    int32_t operation;
};

/// The pairing policy of a stage: takes the buffers that are queued one by one and gives back items
/// that have all their parts. This one pairs inputs and outputs first come, first served.
///
/// A stage holds its generator, uses it on its looper and not with another stage. What a generator
/// holds at flush() or release() is forgotten: whoever flushed a chain has its buffers back.
/// Nothing else is lost: what a generator refuses or gives up waits, with a log line, in
/// takeDroppedItems() for the stage to send home.
///
/// Threading: loop-bound, mPaused excepted.
class PLEXA_EXPORT APipeItemGenerator : public RefBase {
public:
    explicit APipeItemGenerator(std::string name);
    APipeItemGenerator(const APipeItemGenerator&) = delete;
    APipeItemGenerator& operator=(const APipeItemGenerator&) = delete;

    /// Takes the input or the output that the item carries, then completes the item itself, with
    /// the oldest of each, when there is one of each; an item with neither may complete as well.
    /// An item with both is refused: an error log, and it is dropped as it came. So is, with a
    /// warning, a sub input that this call has not passed on in a completed item.
    virtual void pushItem(const sp<APipeItem>& item);

    /// Metadata of a frame: int64 "timeUs" and buffer "frameMeta". Ignored here.
    virtual void pushItemMeta(const sp<AMessage>& meta);

    /// Takes an output; completes nothing.
    virtual void pushOutputBuffer(const sp<APipeBuffer>& buffer);

    /// Forgets every buffer and item. Always OK; mPaused stays.
    virtual status_t flush();

    /// As flush(); the generator may be used again.
    virtual status_t release();

    /// The oldest completed item; else one of the oldest input and output; else null.
    virtual sp<APipeItem> getCompletedItem();

    /// True when a stage should leave the pending input alone for now. The stages of this library
    /// do not ask; it is for stages built on them.
    virtual bool isNeededSkip() const;

    /// Sets "operation" on each pending input whose "timeUs" lies in a range, the first one that
    /// fits. A negative or missing time fits none. Inputs that come later are not touched.
    void setRangeInfos(const std::vector<APipeRangeInfo>& infos);

    /// The buffers that were refused or given up since the last call, each in the field of the item
    /// that says what it was. A stage asks after each use and sends them home.
    List<sp<APipeItem>> takeDroppedItems();

    /// Marks the paused state. Set and cleared by the generator's owner, on any thread.
    std::atomic<bool> mPaused{false};

protected:
    ~APipeItemGenerator() override;

    /// For debug builds: an error log when `call` is not on the loop of the stage that has this.
    void checkLoop(const char* call) const;
    /// For a pushItem: false, after an error log, for a null item and for one with both an input
    /// and an output, which is dropped.
    bool acceptsItem(const sp<APipeItem>& item);
    /// Appends the item's input, or else its output, to its list.
    void queueBuffer(const sp<APipeItem>& item);
    /// Moves the oldest input and output into the item; false, with a sub input that the item
    /// carries dropped, when one of them is missing or mayPair is false.
    bool pairInto(const sp<APipeItem>& item, bool mayPair);
    /// Leaves a buffer to the stage, as the part of an item that `role` names.
    void drop(sp<APipeBuffer> APipeItem::*role, const sp<APipeBuffer>& buffer);

    /// What waits here, for the stage's debugString.
    virtual void describe(APipePending* pending) const;

    List<sp<APipeBuffer>> mInputBuffers;
    List<sp<APipeBuffer>> mOutputBuffers;
    List<sp<APipeItem>> mCompletedItems;
    const std::string mName;

private:
    friend class APipe;

    List<sp<APipeItem>> mDroppedItems;
    sp<APipeLoopChecker> mLoopChecker;  // of the stage that has the generator
};

/// For a colour-conversion stage: as the base, but while paused only one input is worked on at a
/// time, and the output that takes the last pending input, or arrives when there is none, is marked
/// "buffer-for-seek", by which the stages after this one let it through. getCompletedItem() and
/// flush() pay no heed to the pause.
///
/// Threading: loop-bound, mPaused excepted.
class PLEXA_EXPORT APipeCSCItemGenerator : public APipeItemGenerator {
public:
    APipeCSCItemGenerator();

    /// While paused, an input that finds others pending is queued and completes nothing.
    void pushItem(const sp<APipeItem>& item) override;
    void pushOutputBuffer(const sp<APipeBuffer>& buffer) override;
    /// True while paused and the first pending input is neither for a seek ("buffer-for-seek") nor
    /// waited for ("use-wait-buffer").
    bool isNeededSkip() const override;
};

/// For a filter stage: as the base, but while paused pushItem() completes only inputs that a client
/// waits for ("use-wait-buffer"). They go before all other inputs and their items before all other
/// items. An input for a seek ("buffer-for-seek") waits for getCompletedItem(), which pays no heed
/// to the pause.
///
/// Threading: loop-bound, mPaused excepted.
class PLEXA_EXPORT APipeFilterItemGenerator : public APipeItemGenerator {
public:
    APipeFilterItemGenerator();

    void pushItem(const sp<APipeItem>& item) override;
};

/// For a portrait stage: completes an item from an input, the sub input and the metadata of the
/// same "timeUs", and any output, in whatever order they come. The metadata's "frameMeta" is put
/// into the input's metadata. An input that has one counts as ready, so a client clears the
/// metadata of a buffer that it queues again.
///
/// What can no longer be matched is given up, with a warning: metadata and sub inputs older than
/// the input at the front, and an input that newer metadata or a newer sub input has overtaken. So
/// is, with an error log, an input or sub input without "timeUs" when its turn comes. A missing
/// "timeUs" counts as 0 elsewhere.
///
/// Threading: loop-bound.
class PLEXA_EXPORT APipePortraitItemGenerator : public APipeItemGenerator {
public:
    APipePortraitItemGenerator();

    /// Takes the first that the item carries of input, output and sub input; another one that it
    /// carries is dropped with a warning.
    void pushItem(const sp<APipeItem>& item) override;
    /// Refused with an error log without "timeUs" or "frameMeta". Completes nothing.
    void pushItemMeta(const sp<AMessage>& meta) override;
    status_t flush() override;
    status_t release() override;
    /// Gives up one input at most, and then returns null; the next call goes on from there.
    sp<APipeItem> getCompletedItem() override;

protected:
    void describe(APipePending* pending) const override;

    List<sp<APipeBuffer>> mSubInputBuffers;
    List<sp<AMessage>> mItemMetas;

private:
    void handleInput(const sp<APipeItem>& item);
    void handleOutput(const sp<APipeItem>& item);
    void handleSubInput(const sp<APipeItem>& item);
    bool setMetadata(const sp<AMessage>& meta, int64_t timeUs);
    sp<APipeBuffer> getExtraInputBuffer(int64_t timeUs);
    bool frontInputMatches(int64_t subTimeUs) const;
    void dropFrontInput();
    void dropPart(const sp<APipeItem>& item, sp<APipeBuffer> APipeItem::*role);
};

}  // namespace android
