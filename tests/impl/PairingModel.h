// Plain models of the pairing policies, to hold the generators against.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

namespace plexa {

constexpr int kNone = -1;

struct ModelFrame {
    std::optional<int64_t> timeUs;
    bool waitedFor = false;
    bool forSeek = false;
    int operation = 0;
    int blob = kNone;
};

// Buffers by their index in PairingModel::frames; serial tells which pushed item it was, kNone for
// one that the policy made.
struct ModelItem {
    int input = kNone;
    int sub = kNone;
    int output = kNone;
    int serial = kNone;
};

struct ModelMetadata {
    int64_t timeUs;
    int blob;
};

// First come, first served; the policies below change its rules.
// Threading: reentrant, all four.
class PairingModel {
public:
    virtual ~PairingModel() = default;

    virtual void pushItem(ModelItem item) {
        if (refuses(item)) return;
        store(item);
        if (!pair(item)) return strand(item);
        completed.push_back(item);
    }
    virtual void pushMetadata(ModelMetadata) {}
    virtual void pushOutput(int output) { outputs.push_back(output); }
    virtual std::optional<ModelItem> take() {
        if (!completed.empty()) return pop(completed);
        ModelItem item;
        if (!pair(item)) return std::nullopt;
        return item;
    }
    virtual bool needsSkip() const { return false; }

    void flush() {
        inputs.clear();
        outputs.clear();
        subs.clear();
        metadata.clear();
        completed.clear();
        dropped.clear();
    }

    std::vector<ModelFrame> frames;
    bool paused = false;
    std::deque<int> inputs;
    std::deque<int> outputs;
    std::deque<int> subs;
    std::deque<ModelMetadata> metadata;
    std::deque<ModelItem> completed;
    std::deque<ModelItem> dropped;
    int complaints = 0;

protected:
    template <typename T>
    static T pop(std::deque<T>& list) {
        const T first = list.front();
        list.pop_front();
        return first;
    }
    void drop(const ModelItem& item) {
        dropped.push_back(item);
        ++complaints;
    }
    bool refuses(const ModelItem& item) {
        if (item.input == kNone || item.output == kNone) return false;
        drop(item);
        return true;
    }
    void store(const ModelItem& item) {
        if (item.input != kNone) {
            inputs.push_back(item.input);
        } else if (item.output != kNone) {
            outputs.push_back(item.output);
        }
    }
    bool pair(ModelItem& item) {
        if (inputs.empty() || outputs.empty()) return false;
        item.input = pop(inputs);
        item.output = pop(outputs);
        return true;
    }
    // The item goes nowhere, and a sub input on it neither.
    void strand(const ModelItem& item) {
        if (item.sub != kNone) drop({.sub = item.sub});
    }
};

class CscModel : public PairingModel {
public:
    void pushItem(ModelItem item) override {
        if (refuses(item)) return;
        const bool othersPend = !inputs.empty();
        store(item);
        if (paused && item.input != kNone && othersPend) return strand(item);
        if (!pair(item)) return strand(item);
        if (paused && inputs.empty()) frames[item.output].forSeek = true;
        completed.push_back(item);
    }
    void pushOutput(int output) override {
        if (paused && inputs.empty()) frames[output].forSeek = true;
        outputs.push_back(output);
    }
    bool needsSkip() const override {
        return paused && !inputs.empty() && !frames[inputs.front()].forSeek &&
               !frames[inputs.front()].waitedFor;
    }
};

class FilterModel : public PairingModel {
public:
    void pushItem(ModelItem item) override {
        if (!paused) return PairingModel::pushItem(item);
        if (refuses(item)) return;
        if (item.input != kNone && frames[item.input].waitedFor) {
            inputs.push_front(item.input);
        } else {
            store(item);
            if (item.input != kNone && !frames[item.input].forSeek) return strand(item);
        }
        if (inputs.empty() || !frames[inputs.front()].waitedFor) return strand(item);
        if (!pair(item)) return strand(item);
        completed.push_front(item);
    }
};

class PortraitModel : public PairingModel {
public:
    void pushItem(ModelItem item) override {
        if (item.input != kNone && item.output != kNone) drop({.output = item.output});
        if (item.input != kNone || item.output != kNone) strand(item);
        if (item.input != kNone) return pushInput(item);
        if (item.output != kNone) return pushOutputItem(item);
        if (item.sub != kNone) pushSub(item);
    }

    void pushMetadata(ModelMetadata entry) override {
        if (metadata.empty()) {
            for (const int input : inputs) {
                if (timeOf(input) != entry.timeUs) continue;
                frames[input].blob = entry.blob;
                return;
            }
        }
        metadata.push_back(entry);
    }

    std::optional<ModelItem> take() override {
        if (!completed.empty()) return pop(completed);
        if (inputs.empty() || outputs.empty() || subs.empty()) return std::nullopt;
        const ModelFrame& front = frames[inputs.front()];
        if (!front.timeUs) return giveUpInput();
        if (front.blob == kNone) {
            while (!metadata.empty() && metadata.front().timeUs < *front.timeUs) {
                pop(metadata);
                ++complaints;
            }
            if (metadata.empty()) return std::nullopt;
            if (metadata.front().timeUs > *front.timeUs) return giveUpInput();
            frames[inputs.front()].blob = pop(metadata).blob;
        }
        while (!subs.empty() &&
               (!frames[subs.front()].timeUs || *frames[subs.front()].timeUs < *front.timeUs)) {
            drop({.sub = pop(subs)});
        }
        if (subs.empty()) return std::nullopt;
        if (*frames[subs.front()].timeUs > *front.timeUs) return giveUpInput();
        return ModelItem{.input = pop(inputs), .sub = pop(subs), .output = pop(outputs)};
    }

private:
    int64_t timeOf(int buffer) const { return frames[buffer].timeUs.value_or(0); }
    bool frontGoesWith(int sub) const {
        return frames[inputs.front()].blob != kNone && timeOf(inputs.front()) == timeOf(sub);
    }
    std::optional<ModelItem> giveUpInput() {
        drop({.input = pop(inputs)});
        return std::nullopt;
    }

    void pushInput(ModelItem item) {
        if (metadata.empty() || metadata.front().timeUs != timeOf(item.input)) {
            return inputs.push_back(item.input);
        }
        frames[item.input].blob = pop(metadata).blob;
        if (outputs.empty() || subs.empty() || timeOf(subs.front()) != timeOf(item.input)) {
            return inputs.push_back(item.input);
        }
        item.sub = pop(subs);
        item.output = pop(outputs);
        completed.push_back(item);
    }
    void pushOutputItem(ModelItem item) {
        if (inputs.empty() || subs.empty() || !frontGoesWith(subs.front())) {
            return outputs.push_back(item.output);
        }
        item.sub = pop(subs);
        item.input = pop(inputs);
        completed.push_back(item);
    }
    void pushSub(ModelItem item) {
        if (inputs.empty() || outputs.empty() || !frontGoesWith(item.sub)) {
            return subs.push_back(item.sub);
        }
        item.input = pop(inputs);
        item.output = pop(outputs);
        completed.push_back(item);
    }
};

}  // namespace plexa
