// Runs the plexa command as a user does, always with a deadline.
#include "PlexaProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace plexa::test {
namespace {

constexpr std::chrono::seconds kDeadline{120};

struct Pipe {
    int read = -1;
    int write = -1;
};

Pipe makePipe() {
    std::array<int, 2> ends{-1, -1};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) std::abort();
    return {ends[0], ends[1]};
}

Pipe makeTerminal() {
    Pipe terminal;
    terminal.read = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (grantpt(terminal.read) != 0 || unlockpt(terminal.read) != 0) std::abort();
    terminal.write = open(ptsname(terminal.read), O_RDWR | O_NOCTTY | O_CLOEXEC);
    return terminal;
}

void closeIfOpen(int* fd) {
    if (*fd >= 0) close(*fd);
    *fd = -1;
}

int millisecondsUntil(std::chrono::steady_clock::time_point time) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        time - std::chrono::steady_clock::now());
    return static_cast<int>(std::max<int64_t>(left.count(), 0));
}

[[noreturn]] void runChild(const std::vector<std::string>& arguments, const RunOptions& options,
                           int in, int out, int err) {
    dup2(in, STDIN_FILENO);
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    // The loader of EGL drivers finds none.
    if (options.withoutGpu) setenv("__EGL_VENDOR_LIBRARY_FILENAMES", "/dev/null", 1);
    if (options.fileSizeLimit > 0) {
        const auto limit = static_cast<rlim_t>(options.fileSizeLimit);
        const rlimit both{limit, limit};
        setrlimit(RLIMIT_FSIZE, &both);
    }
    setenv("LSAN_OPTIONS", "suppressions=" PLEXA_LEAK_SUPPRESSIONS ":print_suppressions=0", 0);
    std::vector<char*> argv;
    std::string program = PLEXA_PROGRAM;
    argv.push_back(program.data());
    for (const std::string& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    execv(program.c_str(), argv.data());
    _exit(127);
}

// Appends what is there; false at the end of the stream.
bool readSome(int fd, std::string* text) {
    std::array<char, 1 << 16> data;
    const ssize_t count = read(fd, data.data(), data.size());
    if (count > 0) text->append(data.data(), static_cast<size_t>(count));
    return count > 0;
}

}  // namespace

RunResult runPlexa(const std::vector<std::string>& arguments, const RunOptions& options) {
    return PlexaProcess(arguments, options).finish(options.input);
}

PlexaProcess::PlexaProcess(const std::vector<std::string>& arguments, const RunOptions& options)
    : mDeadline(Clock::now() + kDeadline) {
    std::signal(SIGPIPE, SIG_IGN);
    Pipe in = makePipe();
    Pipe out = makePipe();
    Pipe err = options.onTerminal ? makeTerminal() : makePipe();
    mPid = fork();
    if (mPid == 0) runChild(arguments, options, in.read, out.write, err.write);
    for (int fd : {in.read, out.write, err.write})
        close(fd);
    mIn = in.write;
    mOut = out.read;
    mErr = err.read;
    fcntl(mIn, F_SETFL, O_NONBLOCK);
}

PlexaProcess::~PlexaProcess() {
    if (mPid > 0) {
        kill();
        waitpid(mPid, nullptr, 0);
    }
    for (int* fd : {&mIn, &mOut, &mErr})
        closeIfOpen(fd);
}

void PlexaProcess::kill() {
    ::kill(mPid, SIGKILL);
}

void PlexaProcess::signal(int number) {
    ::kill(mPid, number);
}

void PlexaProcess::closeOutput() {
    closeIfOpen(&mOut);
}

bool PlexaProcess::waitForEnd() const {
    const auto fd = static_cast<int>(syscall(SYS_pidfd_open, mPid, 0));
    pollfd polled{fd, POLLIN, 0};
    const bool ended = poll(&polled, 1, millisecondsUntil(mDeadline)) == 1;
    close(fd);
    return ended;
}

bool PlexaProcess::hasErrorOutput() const {
    pollfd polled{mErr, POLLIN, 0};
    return poll(&polled, 1, 0) == 1;
}

long PlexaProcess::peakResidentKb() const {
    std::ifstream status("/proc/" + std::to_string(mPid) + "/status");
    long kilobytes = 0;
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmHWM:")) kilobytes = std::stol(line.substr(6));
    }
    return kilobytes;
}

bool PlexaProcess::write(const std::string& data) {
    size_t done = 0;
    while (done < data.size()) {
        pollfd polled{mIn, POLLOUT, 0};
        if (poll(&polled, 1, millisecondsUntil(mDeadline)) != 1) return false;
        const ssize_t count = ::write(mIn, data.data() + done, data.size() - done);
        if (count < 0) return false;
        done += static_cast<size_t>(count);
    }
    return true;
}

bool PlexaProcess::waitForOutput() {
    pollfd polled{mOut, POLLIN, 0};
    return poll(&polled, 1, millisecondsUntil(mDeadline)) == 1;
}

bool PlexaProcess::exchange(const std::string& input, size_t* sent, RunResult* result) {
    std::array<pollfd, 3> polled = {pollfd{mIn, POLLOUT, 0}, pollfd{mOut, POLLIN, 0},
                                    pollfd{mErr, POLLIN, 0}};
    if (*sent == input.size()) polled[0].fd = -1;
    if (poll(polled.data(), polled.size(), millisecondsUntil(mDeadline)) <= 0) {
        kill();
        return false;
    }
    if (polled[0].revents != 0) {
        const ssize_t count = ::write(mIn, input.data() + *sent, input.size() - *sent);
        // A command that has ended reads no more.
        *sent = count < 0 ? input.size() : *sent + static_cast<size_t>(count);
    }
    if (polled[1].revents != 0 && !readSome(mOut, &result->out)) closeIfOpen(&mOut);
    if (polled[2].revents != 0 && !readSome(mErr, &result->err)) closeIfOpen(&mErr);
    return true;
}

RunResult PlexaProcess::finish(const std::string& input) {
    RunResult result;
    size_t sent = 0;
    while (sent < input.size() && exchange(input, &sent, &result)) {
    }
    closeIfOpen(&mIn);
    return wait(std::move(result));
}

RunResult PlexaProcess::wait(RunResult result) {
    size_t nothingSent = 0;
    while ((mOut >= 0 || mErr >= 0) && exchange({}, &nothingSent, &result)) {
    }
    int status = 0;
    waitpid(mPid, &status, 0);
    mPid = -1;
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    return result;
}

TemporaryDirectory::TemporaryDirectory() {
    std::string pattern = std::filesystem::temp_directory_path() / "plexa-test-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) std::abort();
    mPath = pattern;
    mWatch = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    inotify_add_watch(mWatch, mPath.c_str(), IN_CREATE);
}

TemporaryDirectory::~TemporaryDirectory() {
    close(mWatch);
    std::error_code ignored;
    std::filesystem::remove_all(mPath, ignored);
}

std::vector<std::string> TemporaryDirectory::names() const {
    std::vector<std::string> result;
    for (const auto& entry : std::filesystem::directory_iterator(mPath)) {
        result.push_back(entry.path().filename());
    }
    std::sort(result.begin(), result.end());
    return result;
}

bool TemporaryDirectory::waitForNewFile() {
    pollfd polled{mWatch, POLLIN, 0};
    return poll(&polled, 1, static_cast<int>(std::chrono::milliseconds(kDeadline).count())) == 1;
}

}  // namespace plexa::test
