// APipe: one asynchronous stage of a chain, and the messages by which a client hears from it.
#pragma once

#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/AHandler.h>
#include <media/stagefright/foundation/ALooper.h>
#include <media/stagefright/foundation/AMessage.h>
#include <utils/Errors.h>
#include <utils/List.h>
#include <utils/RefBase.h>
#include <utils/StrongPointer.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "APipeBuffer.h"
#include "APipeBufferPool.h"
#include "APipeCounts.h"
#include "APipeExport.h"
#include "APipeItemGenerator.h"

namespace android {

class APipeLedger;
class APipeLoop;
class APipeLoopChecker;
class APipeNotifier;
class APipeReport;
class APipeStallWatch;
class APipeTrace;
struct APipeStageView;
enum APipeFate : size_t;

/// Carries the argument of setRangeInfos inside its message.
///
/// Threading: loop-bound; written once, before it is posted.
struct SetRangeInfosParameter : public RefBase {
    std::vector<APipeRangeInfo> mRangeInfos;
};

/// One stage of a chain. It pairs the items queued into it through its item generator, runs its
/// work on them, hands its outputs to the next stage and tells its client what has become of the
/// buffers. This base class carries the protocol and does no work: items queued into a bare APipe
/// wait in mWorkItems. A stage of one's own overrides onInit and onWork.
///
/// **A chain.** Build the stages last first (each holds the next one), give each its item
/// generator, and call init on the first. After the init-completed notice queue inputs into the
/// first stage and empty outputs into getLastPipe(). Call flush and release on the first stage
/// only; both travel down the chain, and the last stage posts the notice when they are through.
///
/// **After a flush wait for the flush-completed notice** before queueing outputs into a later
/// stage: a later stage is flushed on its predecessor's thread, so an output that is queued before
/// the notice may be dropped with what was there before. Inputs may follow flush() at once.
///
/// **Notices** are copies of the notify message given to the constructor, with the int32 "what" set
/// to a Notice and the fields named there. They come from the stage where a thing happens, in the
/// order in which it happened on that stage; completion notices come from the last stage.
///
/// **Every buffer comes home.** A client's buffer (one with "bufferId" in its metadata) comes back
/// in a notice, a pool buffer through the reply message in its metadata, also when a stage refuses
/// an item, its generator drops a buffer, or the next stage takes no more items. Only a flush, a
/// release or the end of the stage forgets what is queued: after the notice, or with the stage, it
/// is the client's again.
///
/// **An error** stops the intake of a stage, not its loop: it refuses items from then on; flush and
/// release still work, also where an init failed on the way down the chain. To go on, release the
/// chain and call init again.
///
/// **A chain that does not move** says why: debugString() tells where every buffer is and what each
/// stage waits for, and a stage that has something to do and makes no progress for the stall time
/// logs it by itself. docs/stuck.md lists what they say and what to do.
///
/// **The end.** The last reference to a stage may be dropped at any time, on any thread, its own
/// loop's included. The destructor ends the loop; messages still queued are dropped. A release
/// before it is not needed, but only its notice tells that no stage touches a buffer any more.
///
/// Threading: thread-safe where not said otherwise. A stage has one looper thread at audio
/// priority; the protected part is loop-bound. Locks are held for a few instructions, except while
/// init starts the thread.
class PLEXA_EXPORT APipe : public AHandler {
public:
    /// The "what" of a notice: four characters, the first in the most significant byte.
    enum Notice : int32_t {
        kWhatError = 0x6b706572,             ///< 'kper': int32 "err", a status
        kWhatInputBufferDone = 0x6b656274,   ///< 'kebt': int32 "bufferId", "surfaceId" (-1: none)
        kWhatOutputBufferDone = 0x6b666263,  ///< 'kfbc': int32 "bufferId", "flag"; int64 "timeUs"
        kWhatExtraData = 0x65744461,         ///< 'etDa': buffer "extra_data"
        kWhatInitCompleted = 0x6b496370,     ///< 'kIcp'
        kWhatFlushCompleted = 0x6b466370,    ///< 'kFcp'
        kWhatReleaseCompleted = 0x6b526370,  ///< 'kRcp'
    };

    /// The "flag" of an output. Stages of one's own may pass other values: no frame either.
    enum BufferFlag : int32_t {
        kBufferWithoutFrame = 0,  ///< handed back as it is; "timeUs" is -1
        kBufferWithFrame = 1,     ///< holds the frame of "timeUs", in microseconds
    };

    /// The nice value of a stage's looper thread, the platform's for audio: a frame on its way is
    /// not to wait for background work. A client that answers notices by queueing buffers had best
    /// start its own looper with it: a thread of lower priority is preempted by a stage that it
    /// queues into, item by item.
    static constexpr int32_t kLooperPriority = -16;

    /// next gets this stage's outputs; the last stage of a chain has none. notify is copied for
    /// each notice, which reads on the stage's thread what its handler is registered with: register
    /// that before, and leave it so while notices may come. Without it nothing is posted. name is
    /// the stage's in log lines and traces, and its thread's with "_Looper" appended.
    APipe(const sp<APipe>& next, const sp<AMessage>& notify, const std::string& name);

    APipe(const APipe&) = delete;
    APipe& operator=(const APipe&) = delete;

    /// Replaces the pairing policy; with null every queued item counts as complete. Not once init
    /// has been called.
    void setItemGenerator(const sp<APipeItemGenerator>& generator);

    /// Starts the looper and, on it, onInit of this stage and then of the next one. An
    /// init-completed notice of the last stage or an error notice tells the outcome. Items are
    /// refused until then.
    ///
    /// The formats have int32 "colorformat" (an APipeBuffer::ColorFormat), "width" and "height" in
    /// pixels. The stages keep them: leave them alone afterwards.
    ///
    /// OK; INVALID_OPERATION while the looper runs, that is, until a release has completed;
    /// UNKNOWN_ERROR if the looper's thread cannot be started.
    status_t init(const sp<AMessage>& src, const sp<AMessage>& dst);

    /// Queues an input, an output, or both when there is no generator. The stage keeps a reference
    /// until the buffers come home.
    ///
    /// OK; BAD_VALUE for null; UNKNOWN_ERROR before the stage's onInit has succeeded and after an
    /// error; INVALID_OPERATION after a release. If not OK, nothing is kept and no notice comes.
    /// Between release() and its notice it may still be OK: the item is forgotten with the others,
    /// and its buffers are the client's when the notice comes.
    status_t queueItem(const sp<APipeItem>& item);

    /// Queues a frame's metadata for the generator: int64 "timeUs" and buffer "frameMeta". The
    /// status is as queueItem's; BAD_VALUE also without one of the two fields or with a null one.
    status_t queueItemMeta(const sp<AMessage>& meta);

    /// Forgets all that is queued in the chain. Nothing queued before is worked on after it.
    /// Always OK; on a stage without a looper no notice follows, which an error in the log tells.
    status_t flush();

    /// As flush, and ends the loopers of the chain; after its notice init may be called again.
    /// The stages keep their state, pools and engines' objects until then or until they are
    /// destroyed.
    status_t release();

    /// Calls the matching onSetParameter of this stage and all after it, on the calling thread.
    /// Which keys and values mean something is up to the stages. Always OK.
    status_t setParameter(int key, int value);
    status_t setParameter(int key, const std::string& value);
    status_t setParameter(int key, const sp<AMessage>& value);

    /// Replaces the ranges of this stage. The inputs that its generator holds get the operation of
    /// the range that they lie in.
    void setRangeInfos(const std::vector<APipeRangeInfo>& infos);

    /// The last stage of the chain that starts here; the stage itself if there is no next one.
    sp<APipe> getLastPipe();

    /// The number that each flush, release and setBufferGeneration raises by one. Items, metadata
    /// and replies stamped with an older one are dropped on arrival.
    int32_t getBufferGeneration() const;

    /// Makes all that is in flight stale without a flush. Pool buffers in flight stay counted as in
    /// use until the next flush.
    void setBufferGeneration();

    /// What this stage and all after it are at, in a few lines a stage: its state, what its loop
    /// does and for how long, what it waits for, what lies in its lists, who holds which buffer of
    /// its pool, and the counts. Any thread, at any time, while a stage works too; waits for no
    /// loop.
    std::string debugString() const;

    /// What has become of the buffers that this stage took since its init, or since its last flush,
    /// as of the last message that its loop handled. Any thread, at any time.
    APipeCounts getCounts() const;
    APipeCounts getCountsSinceFlush() const;

    /// For how many microseconds a stage of this chain, from this one on, may have something to do
    /// without progress before it says so in the log, once: "[name] stalled: " with what it waits
    /// for, and debugString(). A warning when a stage is the cause, information when the client is.
    /// One second unless set; 0 or less: never. What is set counts from the next progress on.
    void setStallTime(int64_t us);

    /// Tells the chain that the format of its inputs has changed. Runs on the calling thread, after
    /// the init-completed notice. INVALID_OPERATION here: a stage that cares overrides it.
    virtual status_t updateInputFormat(const sp<AMessage>& format);

protected:
    enum State : int32_t {
        kStateCreated = 0,
        kStateInitialized = 1,  ///< the only state in which items are taken
        kStateError = 2,
    };

    /// The "what" of the messages that a stage posts to itself.
    enum Message : uint32_t {
        kWhatInit = 0,
        kWhatQueueItem = 1,
        kWhatQueueItemMeta = 2,
        kWhatFlush = 3,
        kWhatRelease = 4,
        kWhatBufferReturned = 5,
        kWhatSetRangeInfos = 0x73524966,  ///< 'sRIf'
        kWhatStallTick = 0x73546963,      ///< 'sTic'
    };

    /// The work on one frame: fills the item's output from its input and, where the stage has sub
    /// inputs, its sub input. A status other than OK is an error of the stage.
    using Engine = std::function<status_t(const APipeItem& item)>;

    ~APipe() override;

    void onMessageReceived(const sp<AMessage>& msg) override;

    // The handlers. A stage of one's own does its part, then calls the base version last: once that
    // has run, a new init may already be at work on a new looper.

    /// Makes the stage take items and calls init on the next stage, or reports completion. A stage
    /// puts the format that it produces into "src" of msg first; on failure it calls notifyError
    /// instead.
    virtual void onInit(const sp<AMessage>& msg);
    virtual void onQueueItem(const sp<AMessage>& msg);
    virtual void onQueueItemMeta(const sp<AMessage>& msg);
    /// Called whenever an item has been appended to mWorkItems. The base version queues the first
    /// of mOutputItems into the next stage; if that takes no items the buffer comes home.
    virtual void onWork();
    virtual void onFlush();
    virtual void onRelease();
    /// True when the reply was current, so that its buffer is back in the pool.
    virtual bool onBufferReturned(const sp<AMessage>& msg);
    virtual void onSetRangeInfos(const sp<AMessage>& msg);
    /// A stage that returns true keeps returned buffers from starting new work.
    virtual bool isNeededSkipOnWork();
    // These run on the thread that calls setParameter.
    virtual void onSetParameter(int key, int value);
    virtual void onSetParameter(int key, const std::string& value);
    virtual void onSetParameter(int key, const sp<AMessage>& value);

    /// Makes the pool of this stage's outputs, in place of an earlier one; for onInit. The last
    /// stage needs none: its client supplies outputs. OK, or UNKNOWN_ERROR if the pool cannot be
    /// set up.
    ///
    /// The format asked for decides the pool's format and memory:
    ///
    ///     asked for    buffers are  in memory
    ///     Nv12Ubwc     Nv12Venus    graphics
    ///     Tp10Ubwc     P010         graphics
    ///     Rgba8888     Rgba8888     graphics
    ///     Nv12Venus    Nv12         local
    ///     P010Venus    P010         local
    ///     any other    the same     local
    status_t setBufferInfo(int bufferCount, int width, int height,
                           APipeBuffer::ColorFormat colorFormat, bool useWaitBufferPool);

    /// All of onWork for a stage that fills one output at a time: runs engine on the first of
    /// mWorkItems unless its input says "eos", copies "timeUs", "eos" and "operation" from the
    /// input to the output, sends all buffers of the item on and calls the base onWork. If the
    /// engine fails the item stays where it is and the stage is in error. An item without input,
    /// output or "timeUs" goes home and puts the stage in error.
    void workOnFirstItem(const Engine& engine);

    /// Puts the stage in error and tells the client. Any thread.
    void notifyError(int err);
    /// Sends home an input that the stage is done with: a client's in a notice, a pool's by reply.
    void notifyInputBufferDone(const sp<APipeBuffer>& buffer);
    /// Sends an output on: with a frame to the next stage (the base onWork does it) or, from the
    /// last stage, to the client; without a frame home. One marked "use-wait-buffer" overtakes
    /// those waiting.
    void notifyOutputBufferDone(const sp<APipeBuffer>& buffer, BufferFlag flag);
    void notifyExtraData(const sp<ABuffer>& data);

    /// Makes release() of the buffer come back to this stage, for as long as its generation lasts.
    void setReply(const sp<APipeBuffer>& buffer);

    static constexpr size_t kCacheLine = 64;

    // What every thread reads and hardly anyone writes.
    sp<APipe> mNextPipe;
    std::string mName;
    std::atomic<int32_t> mState = kStateCreated;

    // The loop's own.
    alignas(kCacheLine) sp<APipeBufferPool> mBufferPool;
    sp<APipeItemGenerator> mItemGenerator;
    List<sp<APipeItem>> mWorkItems;    ///< complete, waiting for onWork
    List<sp<APipeItem>> mOutputItems;  ///< finished, waiting for the next stage
    std::vector<APipeRangeInfo> mRangeInfos;

private:
    sp<AMessage> newIntake(Message what, const char* operation, status_t* refusal);
    void handle(const sp<AMessage>& msg);
    void beginLife();
    void passOn(Message what, const char* operation, Notice completed);

    void announce(const APipeItem& item);
    void dropStale(const APipeItem& item);
    void offerOutputBuffer();
    void workOnCompletedItem();
    void workOn(sp<APipeItem> item);
    sp<APipeItem> takeFirstWorkItem();
    bool isWorkable(const sp<APipeItem>& item) const;
    status_t runEngine(const Engine& engine, const sp<APipeItem>& item);
    void sendDroppedHome();
    void giveBack(const APipeItem& item, APipeFate fate);
    void giveInputBack(const sp<APipeBuffer>& buffer, APipeFate fate);
    void giveOutputBack(const sp<APipeBuffer>& buffer, BufferFlag flag, APipeFate fate);
    void leave(const sp<APipeBuffer>& buffer, APipeFate fate, const char* call);
    void warnWithoutReply(const sp<APipeBuffer>& buffer);
    void appendOutput(const sp<APipeBuffer>& buffer);
    void postOutputDone(const sp<APipeBuffer>& buffer, BufferFlag flag);
    void forgetAll();

    void publish();
    bool isBusy() const;
    void describeWork();
    void describeLists();
    void tracePublished() const;
    void armWatches();
    void onStallTick();
    void logStall(const APipe* stage) const;
    APipeStageView view() const;
    APipeReport report() const;

    alignas(kCacheLine) const sp<APipeLoop> mLoop;
    const sp<APipeLoopChecker> mLoopChecker;
    const std::unique_ptr<APipeLedger> mLedger;
    const std::unique_ptr<APipeNotifier> mNotifier;
    const std::unique_ptr<APipeStallWatch> mStallWatch;
    const std::unique_ptr<APipeTrace> mTrace;
    int64_t mNoticesAtTick = 0;
    bool mReplyWarningGiven = false;
};

}  // namespace android
