// The lanes of all threads.
#include "TraceLanes.h"

namespace android::host {

namespace {

enum class Search : uint8_t { NotYet, Found, Vain };

// Without destructors, for a thread may trace while it destroys what else is its own.
thread_local TraceLane* tLane = nullptr;
thread_local Search tSearch = Search::NotYet;

struct ThreadEnd {
    bool isArmed = false;
    ~ThreadEnd() {
        if (tLane != nullptr) tLane->letGo();
        tLane = nullptr;
    }
};
thread_local ThreadEnd tEnd;

}  // namespace

TraceLane* TraceLanes::mine() {
    if (tLane != nullptr) [[likely]]
        return tLane;
    if (tSearch == Search::NotYet) {
        tLane = take();
        tSearch = tLane != nullptr ? Search::Found : Search::Vain;
        tEnd.isArmed = true;
    }
    if (tLane == nullptr) mLeftOut.fetch_add(1, std::memory_order_relaxed);
    return tLane;
}

TraceLane* TraceLanes::take() {
    for (auto& slot : mLanes) {
        TraceLane* lane = slot.load(std::memory_order_acquire);
        if (lane == nullptr) {
            std::unique_ptr<TraceLane> made(new TraceLane(&mCrowded));
            if (slot.compare_exchange_strong(lane, made.get())) lane = made.release();
        }
        if (lane->take()) return lane;
    }
    return nullptr;
}

uint64_t TraceLanes::leftOut() const {
    uint64_t sum = mLeftOut.load(std::memory_order_relaxed);
    forEach([&sum](const TraceLane& lane) { sum += lane.leftOut(); });
    return sum;
}

}  // namespace android::host
