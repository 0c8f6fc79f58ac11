// A report that is printed when the user asks for it.
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <thread>

namespace plexa {

/**
 * Prints a report on standard error whenever SIGUSR1 comes, for its lifetime; afterwards the signal
 * does nothing. One at a time.
 *
 * Threading: reentrant; `report` is called on a thread of its own.
 */
class SignalReport {
public:
    explicit SignalReport(std::function<std::string()> report);
    ~SignalReport();
    SignalReport(const SignalReport&) = delete;
    SignalReport& operator=(const SignalReport&) = delete;

private:
    void run();

    const std::function<std::string()> mReport;
    std::atomic<bool> mEnds{false};
    std::thread mThread;
};

}  // namespace plexa
