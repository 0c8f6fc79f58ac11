// A request to stop, which a blocked read or write can wait for too.
#include "base/Cancellation.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>

namespace plexa {

Cancellation::Cancellation() : mEventFd(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

Cancellation::~Cancellation() {
    if (mEventFd >= 0) close(mEventFd);
}

void Cancellation::request() {
    mRequested.store(true, std::memory_order_release);
    const uint64_t one = 1;
    // The counter only has to be non-zero; a second request that does not fit changes nothing.
    [[maybe_unused]] ssize_t written = ::write(mEventFd, &one, sizeof(one));
}

bool Cancellation::waitFor(int fd, short events) const {
    // poll() skips a negative descriptor, so without an event descriptor only `fd` is waited for.
    std::array<pollfd, 2> polled = {pollfd{fd, events, 0}, pollfd{mEventFd, POLLIN, 0}};
    while (!isRequested()) {
        int ready = poll(polled.data(), polled.size(), -1);
        if (ready < 0 && errno != EINTR) return true;
        if (ready > 0 && polled[0].revents != 0) return true;
    }
    return false;
}

}  // namespace plexa
