// Draws a trace of a chain.
#include "trace/TracePicture.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

#include "base/Text.h"

namespace plexa {
namespace {

constexpr double kMargin = 16;
constexpr double kLeft = 190;  // of what is drawn, beside the names
constexpr double kTop = 56;
constexpr double kLeastWidth = 1000;
constexpr double kMostWidth = 8000;
constexpr double kRight = 40;
constexpr double kPerFrame = 6;
constexpr double kLine = 14;    // of text
constexpr double kAscent = 11;  // of its letters
constexpr double kWorkHeight = 20;
constexpr double kWaitHeight = 4;
constexpr size_t kWaitRows = 8;
constexpr double kLevelHeight = 22;
constexpr double kRowGap = 4;
constexpr double kLaneGap = 16;
constexpr double kLeastBar = 0.7;  // so that no frame is too short to be seen
constexpr size_t kColors = 6;
constexpr double kLeastTick = 80;

constexpr const char* kStyleSheet =
    "text{font:11px 'DejaVu Sans',sans-serif;fill:#5f6368}"
    ".title{font-size:14px;font-weight:bold;fill:#202124}.name{font-weight:bold;fill:#202124}"
    ".note{fill:#c5221f}.tick{text-anchor:middle}.paper{fill:#fff}\n"
    ".grid{stroke:#000;stroke-opacity:.1}.bed{fill:#f1f3f4}.level{fill:#aecbfa}"
    ".dry{stroke:#c5221f;stroke-width:3}.drop{stroke:#c5221f;stroke-width:2;fill:none}\n"
    ".c0{fill:#4e79a7}.c1{fill:#f28e2b}.c2{fill:#59a14f}.c3{fill:#b07aa1}.c4{fill:#76b7b2}"
    ".c5{fill:#d9b530}.other{fill:#9aa0a6}.open{stroke:#c5221f;stroke-width:1.5}\n";

std::string durationText(double us) {
    if (us < 1000) return text("%.0f us", us);
    return us < 1e6 ? text("%.2f ms", us / 1e3) : text("%.2f s", us / 1e6);
}

double meanOf(const std::vector<TraceSpan>& spans) {
    double sum = 0;
    for (const TraceSpan& span : spans)
        sum += span.end - span.begin;
    return spans.empty() ? 0 : sum / static_cast<double>(spans.size());
}

// Those that work on a frame; all, if none does.
std::vector<TraceSpan> onFrames(const std::vector<TraceSpan>& spans) {
    std::vector<TraceSpan> found;
    std::copy_if(spans.begin(), spans.end(), std::back_inserter(found),
                 [](const TraceSpan& span) { return span.frame >= 0; });
    return found.empty() ? spans : found;
}

// 1, 2 or 5 of a power of ten, and at least `least`.
double roundStep(double least) {
    const double power = std::pow(10, std::floor(std::log10(least)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (factor * power >= least) return factor * power;
    }
    return 10 * power;
}

// How many of the spans are open at each moment.
TraceLevel levelOf(const std::vector<TraceSpan>& spans) {
    std::vector<std::pair<double, int>> changes;
    for (const TraceSpan& span : spans) {
        changes.emplace_back(span.begin, 1);
        changes.emplace_back(span.end, -1);
    }
    std::sort(changes.begin(), changes.end());
    TraceLevel level;
    int64_t open = 0;
    for (const auto& [time, change] : changes)
        level.steps.push_back({time, open += change});
    return level;
}

// A stage's free buffers are in its pool and, offered for the next input, in its generator.
TraceLevel sumOf(const TraceLevel& one, const TraceLevel& other) {
    TraceLevel sum;
    int64_t ones = 0, others = 0;
    for (size_t i = 0, j = 0; i < one.steps.size() || j < other.steps.size();) {
        const bool isOne = j == other.steps.size() ||
                           (i < one.steps.size() && one.steps[i].time <= other.steps[j].time);
        const TraceLevel::Step& step = isOne ? one.steps[i++] : other.steps[j++];
        (isOne ? ones : others) = step.value;
        sum.steps.push_back({step.time, ones + others});
    }
    return sum;
}

}  // namespace

TracePicture::TracePicture(const ChainTrace& trace) : mTrace(trace), mSvg(kStyleSheet) {
    numberFrames();
    mWidth = std::clamp(kPerFrame * static_cast<double>(mFrames.size()), kLeastWidth, kMostWidth);
}

void TracePicture::numberFrames() {
    std::vector<std::pair<double, int64_t>> begins;
    for (const TraceLane& lane : mTrace.lanes) {
        for (const TraceSpan& span : lane.work) {
            if (span.frame >= 0) begins.emplace_back(span.begin, span.frame);
        }
    }
    std::sort(begins.begin(), begins.end());
    for (const auto& [begin, frame] : begins)
        mFrames.emplace(static_cast<uint32_t>(frame), mFrames.size());
}

std::string TracePicture::draw() {
    drawTitle();
    drawChain();
    for (const TraceLane& lane : mTrace.lanes)
        drawLane(lane);
    drawAxis();
    return mSvg.finish(kLeft + mWidth + kRight, mY);
}

double TracePicture::xOf(double time) const {
    return kLeft + mWidth * (time - mTrace.begin) / std::max(mTrace.end - mTrace.begin, 1.0);
}

std::string TracePicture::classOf(const TraceSpan& span) const {
    const auto found = mFrames.find(static_cast<uint32_t>(span.frame));
    const std::string color = span.frame < 0 || found == mFrames.end()
                                  ? "other"
                                  : "c" + std::to_string(found->second % kColors);
    return span.isFinished ? color : color + " open";
}

void TracePicture::drawTitle() {
    const double length = mTrace.end - mTrace.begin;
    const double perSecond = static_cast<double>(mFrames.size()) * 1e6 / std::max(length, 1.0);
    mSvg.words(
        "title", kMargin, 22,
        text("%zu %s in %s, %.1f a second", mFrames.size(),
             mFrames.size() == 1 ? "frame" : "frames", durationText(length).c_str(), perSecond));
    mSvg.words("", kMargin, 40,
               "A bar is a frame in work, of one colour in all lanes; a thin bar is an input that "
               "waits. Red: a line where there is no buffer for an output, a cross where a frame "
               "is dropped, a border around what has not finished.");
    mY = kTop;
    if (mTrace.leftOut == 0) return;
    mSvg.words("note", kMargin, mY + kAscent,
               text("The trace lacks %lld events that came too fast.",
                    static_cast<long long>(mTrace.leftOut)));
    mY += kLine + kLaneGap;
}

void TracePicture::drawChain() {
    if (mTrace.frames.empty()) return;
    mSvg.words("name", kMargin, mY + kAscent, "the chain");
    mSvg.words("", kMargin, mY + kAscent + kLine,
               text("%s a frame", durationText(meanOf(mTrace.frames)).c_str()));
    mY += kLine + kRowGap;
    drawLevel("frames in it", levelOf(mTrace.frames), LevelKind::Load);
    mY += kLaneGap;
}

void TracePicture::drawLane(const TraceLane& lane) {
    const double top = mY;
    mSvg.words("name", kMargin, mY + kAscent, lane.name);
    const std::vector<TraceSpan> work = onFrames(lane.work);
    mSvg.words("", kMargin, mY + kAscent + kLine,
               text("%zu × %s", work.size(), durationText(meanOf(work)).c_str()));
    drawWork(lane);
    drawWaits(lane);
    drawDrops(lane, top);
    mY = std::max(mY, top + 2 * kLine + kRowGap);
    const TraceLevel stock = sumOf(lane.freeBuffers, lane.outputs);
    if (!stock.steps.empty()) drawLevel("output buffers", stock, LevelKind::Stock);
    mY += kLaneGap;
}

void TracePicture::drawWork(const TraceLane& lane) {
    mSvg.box("bed", kLeft, mY, mWidth, kWorkHeight, "");
    for (const TraceSpan& span : lane.work)
        drawBar(span, mY, kWorkHeight, lane.name);
    mY += kWorkHeight + kRowGap;
}

// Each in the first row that is free by then.
void TracePicture::drawWaits(const TraceLane& lane) {
    if (lane.waits.empty()) return;
    std::vector<TraceSpan> waits = lane.waits;
    std::sort(waits.begin(), waits.end(),
              [](const TraceSpan& a, const TraceSpan& b) { return a.begin < b.begin; });
    std::vector<double> rowEnds;
    for (const TraceSpan& wait : waits) {
        const auto isFree = [&wait](double end) { return end <= wait.begin; };
        auto row = std::find_if(rowEnds.begin(), rowEnds.end(), isFree);
        if (row == rowEnds.end() && rowEnds.size() < kWaitRows) row = rowEnds.insert(row, 0);
        if (row == rowEnds.end()) --row;
        *row = wait.end;
        drawBar(wait, mY + static_cast<double>(row - rowEnds.begin()) * kWaitHeight,
                kWaitHeight - 1, lane.name + ", input waits");
    }
    mY += static_cast<double>(rowEnds.size()) * kWaitHeight + kRowGap;
}

void TracePicture::drawBar(const TraceSpan& span, double y, double height,
                           const std::string& what) {
    const double x = xOf(span.begin);
    const std::string frame =
        span.frame < 0 ? "" : text(" %lld", static_cast<long long>(span.frame));
    mSvg.box(classOf(span), x, y, std::max(xOf(span.end) - x, kLeastBar), height,
             what + frame + ": " + durationText(span.end - span.begin) +
                 (span.isFinished ? "" : ", not finished"));
}

void TracePicture::drawDrops(const TraceLane& lane, double y) {
    if (lane.drops.empty()) return;
    constexpr double kSize = 5;
    for (const TraceDrop& drop : lane.drops) {
        const double x = xOf(drop.time);
        mSvg.path("drop",
                  text("M%.1f %gl%g %gm0 %gl%g %g", x - kSize, y, 2 * kSize, 2 * kSize, -2 * kSize,
                       -2 * kSize, 2 * kSize),
                  drop.text);
    }
    mSvg.words("note", kMargin, mY + kAscent, text("%zu dropped", lane.drops.size()));
    mY = std::max(mY, y + 2 * kLine) + kLine;
}

// An area under steps. What is in stock has a red ground where it is 0.
void TracePicture::drawLevel(const std::string& name, const TraceLevel& level, LevelKind kind) {
    int64_t most = 1;
    for (const TraceLevel::Step& step : level.steps)
        most = std::max(most, step.value);
    mSvg.words("", kMargin, mY + kLevelHeight,
               text("%s, at most %lld", name.c_str(), static_cast<long long>(most)));
    mSvg.box("bed", kLeft, mY, mWidth, kLevelHeight, "");
    const double ground = mY + kLevelHeight;
    std::string area = text("M%.1f %g", xOf(level.steps.front().time), ground);
    std::string dry;
    for (size_t i = 0; i < level.steps.size(); ++i) {
        const auto& [time, value] = level.steps[i];
        const double end = i + 1 < level.steps.size() ? level.steps[i + 1].time : mTrace.end;
        const double height = kLevelHeight * static_cast<double>(value) / static_cast<double>(most);
        area += text("V%.1fH%.1f", ground - height, xOf(end));
        if (value == 0) dry += text("M%.1f %gH%.1f", xOf(time), ground - 1.5, xOf(end));
    }
    mSvg.path("level", area + text("V%gZ", ground), "");
    if (kind == LevelKind::Stock && !dry.empty()) mSvg.path("dry", dry, "");
    mY = ground;
}

void TracePicture::drawAxis() {
    const double length = std::max(mTrace.end - mTrace.begin, 1.0);
    const double step = roundStep(length * kLeastTick / mWidth);
    const bool isLong = length > 2e6;
    for (int i = 0; i * step <= length; ++i) {
        const double time = i * step;
        const double x = xOf(mTrace.begin + time);
        mSvg.line("grid", x, kTop, x, mY);
        mSvg.words("tick", x, mY + kLine,
                   isLong ? text("%g s", time / 1e6) : text("%g ms", time / 1e3));
    }
    mY += 2 * kLine;
}

}  // namespace plexa
