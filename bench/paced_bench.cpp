// What loops cost at the pace of video, flat out, and beside other programs: stages whose engines
// do nothing, and the same in GStreamer. Every figure is in microseconds.
//
//   paced_bench [--quick] [--against=NAME=COMMAND]...     other options: support/contest.h
#include <algorithm>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "support/busy_programs.h"
#include "support/contest.h"
#include "support/idle_flush.h"
#include "support/paced_feed.h"
#include "support/running_chain.h"
#ifdef PLEXA_HAVE_GSTREAMER
#include "support/pass_through_peer.h"
#endif

namespace {

using namespace plexa::bench;
using Time = std::chrono::duration<double>;

constexpr int kPacedInFlight = 16;
constexpr int kStreaming = 8;  // frames in flight
constexpr int kLockStep = 1;
constexpr int kFramesARun = 2000;
constexpr int kBusy = 3;
constexpr int kFlushedStages = 4;
constexpr int kLeastFlushes = 500;
constexpr std::chrono::microseconds kBetweenFlushes{1000};

constexpr char kChain[] = "this library";
constexpr char kPeer[] = "GStreamer";
constexpr char kTimer[] = "client alone";

Figures figuresOf(const PacedCost& cost) {
    return {{"cpu", cost.cpuUs}, {"latency", cost.latencyUs}};
}

Figures pacedChain(int rate, Time time) {
    PacedFeed feed(rate, time);
    RunningChain chain = RunningChain::passThrough(2, kPacedInFlight);
    chain.listen([&] { feed.heard(); });
    return figuresOf(feed.run([&] { chain.feed(); }));
}

Figures pacedTimer(int rate, Time time) {
    PacedFeed feed(rate, time);
    return figuresOf(feed.run([&] { feed.heard(); }));
}

// Runs `some`, which sends that many frames through, once to warm up and then for the time.
Figures frameTime(int frames, Time time, const std::function<bool()>& some) {
    using Clock = std::chrono::steady_clock;
    bool isFine = some();
    const auto start = Clock::now();
    double sent = 0;
    while (isFine && Clock::now() - start < time) {
        isFine = some();
        sent += frames;
    }
    if (!isFine) std::exit(1);
    return {{"a frame",
             std::chrono::duration<double, std::micro>(Clock::now() - start).count() / sent}};
}

Figures flatOut(int stages, int inFlight, Time time) {
    RunningChain chain = RunningChain::passThrough(stages, inFlight);
    return frameTime(kFramesARun, time, [&] { return chain.run(kFramesARun); });
}

Figures sideBySide(int count, Time time) {
    std::vector<std::unique_ptr<RunningChain>> chains;
    for (int i = 0; i < count; ++i)
        chains.emplace_back(new RunningChain(RunningChain::passThrough(2, kStreaming)));
    return frameTime(kFramesARun * count, time, [&] {
        for (const auto& chain : chains)
            chain->begin(kFramesARun);
        return std::all_of(chains.begin(), chains.end(),
                           [](const auto& chain) { return chain->finish(); });
    });
}

Figures flushBesideBusyPrograms(Time time) {
    const BusyPrograms busy(kBusy);
    const int times = std::max(kLeastFlushes, static_cast<int>(time / kBetweenFlushes));
    std::vector<double> waits = flushIdleChain(kFlushedStages, times, kBetweenFlushes);
    std::sort(waits.begin(), waits.end());
    return {{"median", waits[waits.size() / 2]}, {"p99", waits[waits.size() * 99 / 100]}};
}

#ifdef PLEXA_HAVE_GSTREAMER
Figures pacedPeer(int rate, Time time) {
    PacedFeed feed(rate, time);
    PassThroughPeer peer(2, kPacedInFlight);
    const std::jthread listener([&] {
        for (size_t i = 0; i < feed.frames() && peer.hear(); ++i)
            feed.heard();
    });
    return figuresOf(feed.run([&] { peer.feed(); }));
}

Figures flatOutPeer(int inFlight, Time time) {
    PassThroughPeer peer(2, inFlight);
    return frameTime(kFramesARun, time, [&] { return peer.run(kFramesARun); });
}
#endif

std::vector<Subject> subjects() {
    std::vector<Subject> all;
    const auto add = [&](const std::string& row, const char* contender, auto run) {
        all.push_back({row, contender, run});
    };
    for (const int rate : {60, 240, 1000, 8000}) {
        const std::string row = "paced/" + std::to_string(rate);
        add(row, kChain, [=](Time time) { return pacedChain(rate, time); });
#ifdef PLEXA_HAVE_GSTREAMER
        add(row, kPeer, [=](Time time) { return pacedPeer(rate, time); });
#endif
        add(row, kTimer, [=](Time time) { return pacedTimer(rate, time); });
    }
    for (const int stages : {2, 4, 8, 16})
        add("streaming/" + std::to_string(stages), kChain,
            [=](Time time) { return flatOut(stages, kStreaming, time); });
    add("lockStep/2", kChain, [](Time time) { return flatOut(2, kLockStep, time); });
#ifdef PLEXA_HAVE_GSTREAMER
    add("streaming/2", kPeer, [](Time time) { return flatOutPeer(kStreaming, time); });
    add("lockStep/2", kPeer, [](Time time) { return flatOutPeer(kLockStep, time); });
#endif
    for (const int chains : {4, 16, 64})
        add("sideBySide/" + std::to_string(chains), kChain,
            [=](Time time) { return sideBySide(chains, time); });
    add("flush beside busy programs", kChain, flushBesideBusyPrograms);
    return all;
}

Ratio overPeer(const std::string& title, const std::string& figure, double atMost = 0) {
    return {.title = title + ", this library / GStreamer",
            .subject = figure + " by " + kChain,
            .baselines = {figure + " by " + kPeer},
            .atMost = atMost};
}

// Of times: less is better.
std::vector<Ratio> ratios() {
    std::vector<Ratio> all;
    for (const int rate : {60, 240, 1000, 8000}) {
        const std::string row = "paced/" + std::to_string(rate), pace = std::to_string(rate) + "/s";
        const double most = rate <= 1000 ? 1 : 0;
        all.push_back(overPeer("CPU a frame at " + pace, row + " cpu", most));
        all.push_back(overPeer("latency at " + pace, row + " latency", most));
    }
    all.push_back({.title = "flush of four idle stages beside three busy programs, p99 (µs)",
                   .subject = std::string("flush beside busy programs p99 by ") + kChain,
                   .baselines = {},
                   .atMost = 1500});
    return all;
}

}  // namespace

int main(int argc, char** argv) {
    return runContest(argc, argv, subjects(), kChain, ratios());
}
