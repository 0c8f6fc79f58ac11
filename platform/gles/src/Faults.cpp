// Countdowns to ordered failures.
#include "Faults.h"

#include <array>
#include <atomic>
#include <cstddef>

namespace android::host {
namespace {

constexpr size_t kFaults = static_cast<size_t>(GlesFault::kCount);
std::array<std::atomic<int>, kFaults> gCountdowns{};

}  // namespace

void failGles(GlesFault fault, int countdown) {
    gCountdowns[static_cast<size_t>(fault)] = countdown;
}

void clearGlesFaults() {
    for (auto& countdown : gCountdowns)
        countdown = 0;
}

bool isFaultDue(GlesFault fault) {
    std::atomic<int>& countdown = gCountdowns[static_cast<size_t>(fault)];
    int left = countdown;
    while (left > 0 && !countdown.compare_exchange_weak(left, left - 1)) {
    }
    return left == 1;
}

}  // namespace android::host
