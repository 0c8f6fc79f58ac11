// Runs the plexa command as a user does, always with a deadline.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

namespace plexa::test {

/** How one run of the command ended and what it printed. */
struct RunResult {
    int status = -1;  // of the exit; the negative number of the signal that ended it otherwise
    std::string out;
    std::string err;
};

struct RunOptions {
    std::string input = {};   // for its standard input
    long fileSizeLimit = 0;   // bytes; 0 is none
    bool onTerminal = false;  // standard error is a terminal
    bool withoutGpu = false;  // there is no EGL display
};

/** Runs the command to its end. A run that takes longer than two minutes is killed and fails. */
RunResult runPlexa(const std::vector<std::string>& arguments, const RunOptions& options = {});

/** A running command whose streams are pipes (standard error: a terminal if asked for). */
class PlexaProcess {
public:
    explicit PlexaProcess(const std::vector<std::string>& arguments,
                          const RunOptions& options = {});
    ~PlexaProcess();
    PlexaProcess(const PlexaProcess&) = delete;
    PlexaProcess& operator=(const PlexaProcess&) = delete;

    /** Writes all of it to standard input; false if the command does not read it in time. */
    bool write(const std::string& data);
    /** The command writes into a pipe that nobody reads any more. */
    void closeOutput();
    /** Waits until there is something on standard output; false at the deadline. */
    bool waitForOutput();
    /** Waits for the end and reads nothing meanwhile; false at the deadline. */
    bool waitForEnd() const;
    /** Whether there is something on standard error by now. */
    bool hasErrorOutput() const;
    void signal(int number);
    /** The most memory that the command has had so far, in KiB; 0 if the system does not tell. */
    long peakResidentKb() const;

    /** Feeds the rest of `input` and its end, reads what is printed and waits for the end. */
    RunResult finish(const std::string& input = {});
    /** As finish(), with standard input left open; adds to `result`. */
    RunResult wait(RunResult result = {});

private:
    bool exchange(const std::string& input, size_t* sent, RunResult* result);
    void kill();

    using Clock = std::chrono::steady_clock;

    pid_t mPid = -1;
    int mIn = -1;
    int mOut = -1;
    int mErr = -1;
    const Clock::time_point mDeadline;
};

/** An empty directory that goes with the object. */
class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    /** The path of a name inside. */
    std::string operator/(const std::string& name) const { return mPath + "/" + name; }
    /** The names inside, sorted; hidden ones too. */
    std::vector<std::string> names() const;
    /** Waits until a file is created inside; false at a deadline. Started by the constructor. */
    bool waitForNewFile();

private:
    std::string mPath;
    int mWatch = -1;
};

}  // namespace plexa::test
