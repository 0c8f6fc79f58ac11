// What is to be done before a signal ends the program.
#include "base/Interruption.h"

#include <host/TraceFile.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>

namespace plexa {
namespace {

// What a signal handler may read: no string that is being changed.
struct Unfinished {
    std::array<char, PATH_MAX> file{};
    std::array<char, PATH_MAX + 64> message{};
};

std::array<Unfinished, 2> sSlots;
std::atomic<const Unfinished*> sCurrent{nullptr};

template <size_t kSize>
void copy(const std::string& text, std::array<char, kSize>* to) {
    const size_t length = std::min(text.size(), kSize - 1);
    std::memcpy(to->data(), text.data(), length);
    (*to)[length] = '\0';
}

// The handler is reset and the signal not blocked: raised again, it ends the process at once.
void onSignal(int signal) {
    const int error = errno;
    constexpr const char* kWipe = "\r\033[K";  // a line of progress, if there is one
    if (const Unfinished* unfinished = sCurrent.load()) {
        if (unfinished->file[0] != '\0') unlink(unfinished->file.data());
        if (isatty(STDERR_FILENO) != 0) (void)!write(STDERR_FILENO, kWipe, std::strlen(kWipe));
        const char* message = unfinished->message.data();
        (void)!write(STDERR_FILENO, message, std::strlen(message));
    }
    android::host::flushTraceFile();
    errno = error;
    raise(signal);
}

}  // namespace

void cleanUpOnSignals() {
    for (int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action {};
        sigaction(signal, nullptr, &action);
        if (action.sa_handler == SIG_IGN) continue;
        action.sa_handler = onSignal;
        action.sa_flags = static_cast<int>(SA_RESETHAND) | SA_NODEFER;
        sigaction(signal, &action, nullptr);
    }
}

void setUnfinished(const std::string& name, const std::string& file) {
    Unfinished* slot = sCurrent.load() == &sSlots[0] ? &sSlots[1] : &sSlots[0];
    copy(file, &slot->file);
    copy("plexa: " + name + ": interrupted before it was complete\n", &slot->message);
    sCurrent.store(name.empty() ? nullptr : slot);
}

}  // namespace plexa
