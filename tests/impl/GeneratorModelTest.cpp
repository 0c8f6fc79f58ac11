// The pairing policies against plain models of their rules, over random sequences of operations.
//
// PLEXA_MODEL_SEQUENCES sets the number of sequences a policy, PLEXA_MODEL_SEED the random
// seed of the first one; a failure prints its seed and the operations.
#include <android/log.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "APipeItemGenerator.h"
#include "PairingModel.h"

namespace android {
namespace {

using plexa::kNone;
using plexa::ModelFrame;
using plexa::ModelItem;

constexpr uint64_t kSequences = PLEXA_MODEL_DEFAULT_SEQUENCES;
constexpr int kLongestSequence = 40;

// SplitMix64: seeded in no time, so that every sequence has a seed of its own.
class Dice {
public:
    explicit Dice(uint64_t seed) : mState(seed) {}

    int roll(int sides) {
        uint64_t z = (mState += 0x9E3779B97F4A7C15U);
        z = (z ^ (z >> 30U)) * 0xBF58476D1CE4E5B9U;
        z = (z ^ (z >> 27U)) * 0x94D049BB133111EBU;
        return static_cast<int>((z ^ (z >> 31U)) % static_cast<uint64_t>(sides));
    }
    bool oneIn(int sides) { return roll(sides) == 0; }

private:
    uint64_t mState;
};

// What a sequence did, in words; written down only when somebody will read it.
class Trace {
public:
    explicit Trace(bool on) : mOn(on) {}

    template <typename T>
    Trace& operator<<(const T& value) {
        if (mOn) mText << value;
        return *this;
    }
    std::string text() const { return mText.str(); }

private:
    const bool mOn;
    std::ostringstream mText;
};

// Opens a generator's lists.
template <typename Generator>
class Opened : public Generator {
public:
    using Generator::Generator;
    using Generator::mCompletedItems;
    using Generator::mInputBuffers;
    using Generator::mOutputBuffers;
};

class OpenedBase : public Opened<APipeItemGenerator> {
public:
    OpenedBase() : Opened("base") {}
};

class OpenedPortrait : public Opened<APipePortraitItemGenerator> {
public:
    using APipePortraitItemGenerator::mItemMetas;
    using APipePortraitItemGenerator::mSubInputBuffers;
};

int gComplaints = 0;

// A generator and its model under the same operations. After each one, everything that can be seen
// of them is written as a row of numbers each.
template <typename Generator, typename Model>
class Twins {
public:
    Twins(uint64_t seed, bool traced) : mDice(seed), mTrace(traced) {}

    // Runs one sequence; false at the first difference.
    bool run() {
        gComplaints = 0;
        for (int left = 1 + mDice.roll(kLongestSequence); left > 0; --left) {
            mReal.clear();
            mExpected.clear();
            step();
            mTrace << '\n';
            addState();
            if (mReal != mExpected) return false;
        }
        return true;
    }

    std::string report() const {
        return mTrace.text() + "generator: " + testing::PrintToString(mReal) +
               "\nmodel:     " + testing::PrintToString(mExpected);
    }

private:
    using Row = std::vector<int64_t>;

    void step() {
        const int what = mDice.roll(16);
        if (what < 3) return pushItem("input", true, false, false);
        if (what < 5) return pushItem("output", false, true, false);
        if (what < 7) return pushItem("sub", false, false, true);
        if (what < 8) return pushItem("item", mDice.oneIn(2), mDice.oneIn(2), mDice.oneIn(2));
        if (what < 10) return pushOutput();
        if (what < 11) return pushMetadata();
        if (what < 12) return pause();
        if (what < 13) return mDice.oneIn(4) ? flush() : tag();
        if (what < 14) return takeDropped();
        take();
    }

    void pushItem(const char* what, bool input, bool output, bool sub) {
        mTrace << what;
        const sp<APipeItem> item = new APipeItem();
        ModelItem expected{.serial = static_cast<int>(mItems.size())};
        mItems.push_back(item);
        if (input) item->mInput = newBuffer(&expected.input);
        if (output) item->mOutput = newBuffer(&expected.output);
        if (sub) item->mSubInput = newBuffer(&expected.sub);
        mModel.pushItem(expected);
        mGenerator->pushItem(item);
    }

    void pushOutput() {
        mTrace << "pool output";
        int output = kNone;
        mGenerator->pushOutputBuffer(newBuffer(&output));
        mModel.pushOutput(output);
    }

    void pushMetadata() {
        const int64_t timeUs = randomTime();
        const int blob = static_cast<int>(mBlobs.size());
        mTrace << "metadata " << blob << '@' << timeUs;
        mBlobs.push_back(new ABuffer(1));
        const sp<AMessage> meta = new AMessage();
        meta->setInt64("timeUs", timeUs);
        meta->setBuffer("frameMeta", mBlobs.back());
        mGenerator->pushItemMeta(meta);
        mModel.pushMetadata({timeUs, blob});
    }

    void pause() {
        mModel.paused = !mModel.paused;
        mGenerator->mPaused = mModel.paused;
        mTrace << "paused = " << mModel.paused;
    }

    void flush() {
        mTrace << "flush";
        mModel.flush();
        mReal.push_back(mDice.oneIn(2) ? mGenerator->flush() : mGenerator->release());
        mExpected.push_back(OK);
    }

    void tag() {
        const int64_t first = randomTime();
        const std::vector<APipeRangeInfo> ranges = {{first, first + 1, 1}, {first - 1, first, 2}};
        mTrace << "tag " << first;
        mGenerator->setRangeInfos(ranges);
        for (const int input : mModel.inputs) {
            ModelFrame& frame = mModel.frames[input];
            const int64_t timeUs = frame.timeUs.value_or(-1);
            if (timeUs < 0 || timeUs < first - 1 || timeUs > first + 1) continue;
            frame.operation = timeUs >= first ? 1 : 2;
        }
    }

    void takeDropped() {
        mTrace << "take dropped";
        for (const sp<APipeItem>& item : mGenerator->takeDroppedItems())
            add(mReal, *item);
        for (const ModelItem& item : mModel.dropped)
            add(mExpected, item);
        mModel.dropped.clear();
    }

    void take() {
        mTrace << "take";
        mReal.push_back(mGenerator->isNeededSkip());
        mExpected.push_back(mModel.needsSkip());
        if (const sp<APipeItem> item = mGenerator->getCompletedItem()) add(mReal, *item);
        if (const auto item = mModel.take()) add(mExpected, *item);
    }

    // Near the time of the frames that are queued about now, now and then before 0.
    int64_t randomTime() { return static_cast<int64_t>(mBuffers.size()) / 6 + mDice.roll(4) - 1; }

    sp<APipeBuffer> newBuffer(int* number) {
        *number = static_cast<int>(mBuffers.size());
        mTrace << ' ' << *number;
        const sp<APipeBuffer> buffer = new APipeBuffer(APipeBuffer::Nv12, 2, 2, nullptr, nullptr,
                                                       APipeBuffer::LocalMemory, -1, -1);
        buffer->getMeta()->setInt32("number", *number);
        ModelFrame frame;
        frame.waitedFor = mDice.oneIn(4);
        frame.forSeek = mDice.oneIn(6);
        if (!mDice.oneIn(16)) {
            frame.timeUs = randomTime();
            buffer->getMeta()->setInt64("timeUs", *frame.timeUs);
            mTrace << '@' << *frame.timeUs;
        }
        if (frame.waitedFor) {
            buffer->getMeta()->setInt32("use-wait-buffer", 1);
            mTrace << " waited for";
        }
        if (frame.forSeek) {
            buffer->getMeta()->setInt32("buffer-for-seek", 1);
            mTrace << " for seek";
        }
        mBuffers.push_back(buffer);
        mModel.frames.push_back(frame);
        return buffer;
    }

    void addState() {
        for (const auto& buffer : mGenerator->mInputBuffers)
            add(mReal, buffer);
        for (const auto& buffer : mGenerator->mOutputBuffers)
            add(mReal, buffer);
        for (const auto& item : mGenerator->mCompletedItems)
            add(mReal, *item);
        if constexpr (requires { mGenerator->mItemMetas; }) {
            for (const auto& buffer : mGenerator->mSubInputBuffers)
                add(mReal, buffer);
            for (const auto& meta : mGenerator->mItemMetas)
                mReal.push_back(blobOf(meta));
        }
        mReal.push_back(gComplaints);
        for (const int input : mModel.inputs)
            add(mExpected, input);
        for (const int output : mModel.outputs)
            add(mExpected, output);
        for (const ModelItem& item : mModel.completed)
            add(mExpected, item);
        for (const int sub : mModel.subs)
            add(mExpected, sub);
        for (const auto& entry : mModel.metadata)
            mExpected.push_back(entry.blob);
        mExpected.push_back(mModel.complaints);
    }

    void add(Row& row, const sp<APipeBuffer>& buffer) {
        if (buffer == nullptr) return row.push_back(kNone);
        const sp<AMessage> meta = buffer->getMeta();
        int32_t number = kNone;
        int32_t forSeek = 0;
        int32_t operation = 0;
        meta->findInt32("number", &number);
        meta->findInt32("buffer-for-seek", &forSeek);
        meta->findInt32("operation", &operation);
        row.insert(row.end(), {number, forSeek, operation, blobOf(meta)});
    }

    void add(Row& row, int buffer) {
        if (buffer == kNone) return row.push_back(kNone);
        const ModelFrame& frame = mModel.frames[buffer];
        row.insert(row.end(), {buffer, frame.forSeek, frame.operation, frame.blob});
    }

    void add(Row& row, const APipeItem& item) {
        row.push_back(indexOf(mItems, &item));
        for (const auto& buffer : {item.mInput, item.mSubInput, item.mOutput})
            add(row, buffer);
    }

    void add(Row& row, const ModelItem& item) {
        row.push_back(item.serial);
        for (const int buffer : {item.input, item.sub, item.output})
            add(row, buffer);
    }

    int64_t blobOf(const sp<AMessage>& meta) const {
        sp<ABuffer> blob;
        meta->findBuffer("frameMeta", &blob);
        return indexOf(mBlobs, blob.get());
    }

    template <typename T>
    static int64_t indexOf(const std::vector<sp<T>>& all, const T* one) {
        const auto at = std::find(all.begin(), all.end(), one);
        return at == all.end() ? kNone : at - all.begin();
    }

    Dice mDice;
    Trace mTrace;
    const sp<Generator> mGenerator = new Generator();
    Model mModel;
    std::vector<sp<APipeBuffer>> mBuffers;
    std::vector<sp<APipeItem>> mItems;
    std::vector<sp<ABuffer>> mBlobs;
    Row mReal;
    Row mExpected;
};

uint64_t fromEnvironment(const char* name, uint64_t fallback) {
    const char* const text = std::getenv(name);
    return text == nullptr ? fallback : std::strtoull(text, nullptr, 0);
}

class GeneratorModelTest : public testing::Test {
protected:
    GeneratorModelTest() {
        __android_log_set_logger([](const __android_log_message*) { ++gComplaints; });
    }
    ~GeneratorModelTest() override { __android_log_set_logger(nullptr); }

    template <typename Generator, typename Model>
    static void compare() {
        const uint64_t first = fromEnvironment("PLEXA_MODEL_SEED", 1);
        const uint64_t count = fromEnvironment("PLEXA_MODEL_SEQUENCES", kSequences);
        for (uint64_t seed = first; seed < first + count; ++seed) {
            if (Twins<Generator, Model>(seed, false).run()) continue;
            Twins<Generator, Model> again(seed, true);
            again.run();
            FAIL() << again.report() << "\nsee it again with PLEXA_MODEL_SEED=" << seed
                   << " PLEXA_MODEL_SEQUENCES=1";
        }
    }
};

TEST_F(GeneratorModelTest, Base) {
    compare<OpenedBase, plexa::PairingModel>();
}

TEST_F(GeneratorModelTest, Csc) {
    compare<Opened<APipeCSCItemGenerator>, plexa::CscModel>();
}

TEST_F(GeneratorModelTest, Filter) {
    compare<Opened<APipeFilterItemGenerator>, plexa::FilterModel>();
}

TEST_F(GeneratorModelTest, Portrait) {
    compare<OpenedPortrait, plexa::PortraitModel>();
}

}  // namespace
}  // namespace android
