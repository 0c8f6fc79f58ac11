// Count-down per fault.
#include <host/FaultInjection.h>

#include <array>
#include <atomic>

namespace android::host {

namespace {

std::array<std::atomic<uint32_t>, static_cast<size_t>(Fault::kCount)> gCountdown{};

std::atomic<uint32_t>& countdownOf(Fault fault) {
    return gCountdown[static_cast<size_t>(fault)];
}

}  // namespace

void FaultInjection::failNth(Fault fault, uint32_t n) {
    countdownOf(fault).store(n);
}

bool FaultInjection::shouldFail(Fault fault) {
    std::atomic<uint32_t>& countdown = countdownOf(fault);
    uint32_t left = countdown.load(std::memory_order_relaxed);
    while (left != 0 && !countdown.compare_exchange_weak(left, left - 1)) {
    }
    return left == 1;
}

void FaultInjection::clear() {
    for (auto& countdown : gCountdown)
        countdown.store(0);
}

}  // namespace android::host
