// Every public call of a stage in every state that a chain can be in: once, twice, and from the
// handler of a notice. Each has one outcome, and a fresh frame comes through afterwards.
#include <APipe.h>
#include <media/stagefright/foundation/ABuffer.h>

#include <cstring>
#include <map>

#include "support/ScheduledTest.h"

namespace android {
namespace {

using plexa::ClientHandler;
using plexa::formatOf;
using plexa::inputItem;
using plexa::kFrameHeight;
using plexa::kFrameWidth;
using plexa::LogCapture;
using plexa::outputItem;
using plexa::TestStage;

enum State : size_t { Created, Initialising, Running, InError, Flushing, Releasing, Released };
constexpr const char* kStateNames[] = {"Created",  "Initialising", "Running", "InError",
                                       "Flushing", "Releasing",    "Released"};
enum class Way { Once, Twice, FromANotice };

constexpr uint64_t kSeeds = 10;  // orders of the messages that each cell is tried in
constexpr int32_t kErr = -5;
constexpr int32_t kNoNotice = 0;  // what a test posts to get into its own handler

struct Generator : APipeItemGenerator {
    Generator() : APipeItemGenerator("matrix") {}
    void pushItemMeta(const sp<AMessage>&) override { ++mMetas; }
    int mMetas = 0;
};

// A chain of two stages, and what its client has heard and done.
struct Chain {
    Chain() { first->setItemGenerator(generator); }

    status_t init() const {
        const sp<AMessage> format = formatOf(APipeBuffer::Nv12, kFrameWidth, kFrameHeight);
        return first->init(format, format);
    }
    status_t queueMetadata() const {
        const sp<AMessage> meta = new AMessage;
        meta->setInt64("timeUs", 1);
        meta->setBuffer("frameMeta", new ABuffer(1));
        return first->queueItemMeta(meta);
    }
    status_t setOneMoreRange() {
        ranges.push_back({0, 9, 1});
        first->setRangeInfos(ranges);
        return OK;
    }

    std::map<int32_t, int> heard;  // notices by their "what"
    std::function<void()> answer;  // to the next notice of this "what", which does not count
    int32_t answered = kNoNotice;
    const sp<ClientHandler> client = ClientHandler::create([this](const auto& notice) {
        if (answer && notice.what == answered) return std::exchange(answer, nullptr)();
        ++heard[notice.what];
    });
    sp<TestStage> last = new TestStage(nullptr, client->notify(), "B", 0);
    sp<TestStage> first = new TestStage(last, client->notify(), "A", 2);
    const sp<Generator> generator = new Generator, other = new Generator;
    std::vector<APipeRangeInfo> ranges;
    int lastFound = 0;
    bool ended = false;
};

// What a call comes to, a letter for each State.
struct Row {
    const char* name;
    const char* status;  // o: OK, u: UNKNOWN_ERROR, i: INVALID_OPERATION
    const char* again;   // of a second call at once
    const char* shown;   // how often the effect shows in the end
    const char* twice;   // after two calls
    const char* rest;    // c: created, r: running, e: in error, x: released, -: gone
    status_t (*call)(Chain&);
    int (*effect)(Chain&);
};

const Row kRows[] = {
    {"init", "oiiiiio", "iiiiiii", "1100001", "1100001", "rrrerxr",  //
     [](Chain& c) { return c.init(); },
     [](Chain& c) { return c.heard[APipe::kWhatInitCompleted]; }},
    {"queueItem", "uuouooi", "uuouooi", "0010100", "0020200", "crrerxx",  //
     [](Chain& c) { return c.first->queueItem(inputItem(7, 700)); },
     [](Chain& c) { return c.heard[APipe::kWhatInputBufferDone]; }},
    {"queueItemMeta", "uuouooi", "uuouooi", "0010100", "0020200", "crrerxx",  //
     [](Chain& c) { return c.queueMetadata(); }, [](Chain& c) { return c.generator->mMetas; }},
    {"flush", "ooooooo", "ooooooo", "0111200", "0222300", "crrerxx",  //
     [](Chain& c) { return c.first->flush(); },
     [](Chain& c) { return c.heard[APipe::kWhatFlushCompleted]; }},
    // It ends the loops: what is called between it and its notice is forgotten with it.
    {"release", "ooooooo", "ooooooo", "0111110", "0111110", "cxxxxxx",  //
     [](Chain& c) { return c.first->release(); },
     [](Chain& c) { return c.heard[APipe::kWhatReleaseCompleted]; }},
    {"setRangeInfos", "ooooooo", "ooooooo", "0111100", "0222200", "crrerxx",  //
     [](Chain& c) { return c.setOneMoreRange(); },
     [](Chain& c) { return static_cast<int>(c.first->mRangeInfos.size()); }},
    {"setParameter", "ooooooo", "ooooooo", "1111111", "2222222", "crrerxx",  //
     [](Chain& c) { return c.first->setParameter(1, 2); },
     [](Chain& c) { return static_cast<int>(c.last->mParameters.size()); }},
    {"setItemGenerator", "ooooooo", "ooooooo", "1111111", "1111111", "crrerxx",  //
     [](Chain& c) { return c.first->setItemGenerator(c.other), status_t{OK}; },
     [](Chain& c) { return int{c.first->mItemGenerator == c.other}; }},
    {"getLastPipe", "ooooooo", "ooooooo", "1111111", "2222222", "crrerxx",  //
     [](Chain& c) { return c.lastFound += c.first->getLastPipe() == c.last, status_t{OK}; },
     [](Chain& c) { return c.lastFound; }},
    {"dropping the last reference", "ooooooo", "ooooooo", "1111111", "1111111", "-------",  //
     [](Chain& c) { return c.last.clear(), c.first.clear(), status_t{OK}; },
     [](Chain& c) { return int{c.ended}; }},
};

char letterOf(status_t status) {
    return status == OK                  ? 'o'
           : status == UNKNOWN_ERROR     ? 'u'
           : status == INVALID_OPERATION ? 'i'
                                         : '?';
}

// One cell of the matrix, from the chain's construction to its end.
class Cell {
public:
    Cell(const Row& row, State state, Way way, uint64_t seed)
        : mRow(row),
          mState(state),
          mWay(way),
          mHasLived(state != Created && (state != Initialising || seed % 2 == 0)),
          mScheduler(seed) {
        mChain.first->mOnDestroyed = [this] { mChain.ended = true; };
    }

    void run() {
        if (mWay == Way::FromANotice) {
            mChain.answered = noticeOnTheWay();
            mChain.answer = [this] { enterAndCall(); };
        }
        prepare();
        if (mWay != Way::FromANotice) enterAndCall();
        mScheduler.runUntilIdle();
        EXPECT_EQ(mStatus, std::string(1, mRow.status[mState]) +
                               (mWay == Way::Twice ? std::string(1, mRow.again[mState]) : ""));
        const char* const shown = mWay == Way::Twice ? mRow.twice : mRow.shown;
        EXPECT_EQ(mRow.effect(mChain), shown[mState] - '0');
        EXPECT_EQ(mChain.heard[APipe::kWhatError], 0);
        const bool hasNoLoop = mState == Created || mState == Released;
        const bool isVain = mRow.status[mState] == 'o' && shown[mState] == '0';
        EXPECT_TRUE(!hasNoLoop || !isVain ||
                    mLog.contains(ANDROID_LOG_ERROR, "APipe", "without a looper"))
            << "nothing comes of it, without a word";
        if (mRow.rest[mState] != '-') sendAFreshFrame(mRow.rest[mState]);
        end();
    }

private:
    // The notice from which a chain is in the state, or on the way into it.
    int32_t noticeOnTheWay() const {
        if (!mHasLived) return kNoNotice;
        if (mState == InError) return APipe::kWhatError;
        const bool again = mState == Initialising || mState == Released;
        return again ? APipe::kWhatReleaseCompleted : APipe::kWhatInitCompleted;
    }
    // Up to the last step into states that pass by themselves.
    void prepare() {
        if (!mHasLived) {
            if (mWay == Way::FromANotice) mChain.client->notify()->post();
            return;
        }
        EXPECT_EQ(mChain.init(), OK);
        mScheduler.runUntilIdle();
        if (mState == InError) mChain.first->notifyError(kErr);
        if (mState == Initialising || mState == Released) mChain.first->release();
        mScheduler.runUntilIdle();
    }
    void enterAndCall() {
        mChain.heard.clear();
        if (mState == Initialising) mChain.init();
        if (mState == Flushing) mChain.first->flush();
        if (mState == Releasing) mChain.first->release();
        mStatus += letterOf(mRow.call(mChain));
        if (mWay != Way::Twice) return;
        mStatus += mChain.first != nullptr ? letterOf(mRow.call(mChain)) : 'o';
    }
    // By the documented way: a chain in error is released, one that does not run starts again.
    void sendAFreshFrame(char rest) {
        if (rest == 'e') {
            EXPECT_EQ(mChain.first->mState, TestStage::kStateError);
            mChain.first->release();
            mScheduler.runUntilIdle();
        }
        EXPECT_EQ(mChain.init(), rest == 'r' ? INVALID_OPERATION : OK);
        mScheduler.runUntilIdle();
        mChain.heard.clear();
        mChain.client->forget();
        // Two more for what the cell has left in a running chain.
        for (const int32_t id : {11, 12, 13})
            EXPECT_EQ(mChain.last->queueItem(outputItem(id)), OK);
        EXPECT_EQ(mChain.first->queueItem(inputItem(1, 4321)), OK);
        mScheduler.runUntilIdle();
        const auto notices = mChain.client->notices();
        const auto fresh = std::count_if(notices.begin(), notices.end(), [](const auto& notice) {
            return notice.what == APipe::kWhatOutputBufferDone && notice.timeUs == 4321 &&
                   notice.flag == APipe::kBufferWithFrame;
        });
        EXPECT_EQ(fresh, 1);
        EXPECT_EQ(mChain.heard[APipe::kWhatInputBufferDone], 1);
    }
    void end() {
        const wp<TestStage> last = mChain.last;
        mChain.last.clear();
        mChain.first.clear();
        EXPECT_TRUE(mChain.ended);
        mScheduler.runUntilIdle();
        EXPECT_EQ(last.promote(), nullptr);
    }

    const LogCapture mLog{ANDROID_LOG_ERROR};
    const Row& mRow;
    const State mState;
    const Way mWay;
    const bool mHasLived;  // before it gets into the state
    host::LooperScheduler mScheduler;
    Chain mChain;
    std::string mStatus;
};

class MatrixTest : public testing::TestWithParam<State> {};

TEST_P(MatrixTest, EachCallHasItsOutcome) {
    for (const Row& row : kRows) {
        for (const Way way : {Way::Once, Way::Twice, Way::FromANotice}) {
            for (uint64_t seed = 1; seed <= kSeeds && !HasFailure(); ++seed) {
                SCOPED_TRACE(std::string(row.name) + ", way " +
                             std::to_string(static_cast<int>(way)) + ", seed " +
                             std::to_string(seed));
                Cell(row, GetParam(), way, seed).run();
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(States, MatrixTest,
                         testing::Values(Created, Initialising, Running, InError, Flushing,
                                         Releasing, Released),
                         [](const auto& state) { return kStateNames[state.param]; });

// What a client or an engine still holds is its own, whatever has become of the rest.
class HeldFramesTest : public plexa::ScheduledTest {};

TEST_F(HeldFramesTest, StayReadableWhenPoolStageAndChainAreGone) {
    for (const auto format : {APipeBuffer::Nv12, APipeBuffer::Nv12Ubwc, APipeBuffer::Rgba8888}) {
        mClient->forget();
        std::vector<sp<APipeBuffer>> held;
        int filled = 50;
        sp<TestStage> last = stage("B"), first = stage("A", last);
        start(first);
        ASSERT_EQ(first->setBufferInfo(2, kFrameWidth, kFrameHeight, format, false), OK);
        const auto rowOf = [](const sp<APipeBuffer>& frame) {
            uint8_t *y = nullptr, *cb, *cr;
            EXPECT_EQ(frame->getYCbCr(&y, &cb, &cr), OK);
            return y + (kFrameHeight - 1) * frame->getStride();
        };
        first->mEngine = [&](const APipeItem& item) {
            std::memset(rowOf(item.mOutput), filled++, kFrameWidth);
            return OK;
        };
        last->mEngine = [&](const APipeItem& item) {
            held.push_back(item.mInput);
            return OK;
        };
        for (const int32_t id : {1, 2}) {
            first->queueItem(inputItem(id, 100 * id));
            last->queueItem(outputItem(10 + id));
        }
        run();
        const wp<TestStage> end = first;
        first.clear();
        last.clear();
        run();
        ASSERT_EQ(end.promote(), nullptr);
        ASSERT_EQ(held.size(), 2U);
        for (size_t i = 0; i < held.size(); ++i) {
            const std::string expected(kFrameWidth, static_cast<char>(50 + i));
            EXPECT_EQ(std::memcmp(rowOf(held[i]), expected.data(), expected.size()), 0) << i;
            held[i]->release();
        }
        run();
    }
}

}  // namespace
}  // namespace android
