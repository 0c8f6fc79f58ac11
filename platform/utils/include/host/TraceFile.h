// TraceFile: a file of what the trace macros report, for trace viewers.
#pragma once

#include <cstdint>
#include <string>

namespace android::host {

// How a trace file ended.
struct TraceFileEnd {
    std::string path;      // empty: there was none
    std::string error;     // why it ends early; empty: it is complete
    uint64_t leftOut = 0;  // events that came faster than they could be written
};

// Installs a sink that writes what is traced into a new file at `path`, as Chrome trace events in
// JSON; what stood there before is lost. Returns why that cannot be, or nothing. One file at a
// time, and only this process writes into it.
//
// Any program starts one with PLEXA_TRACE=FILE in its environment, which ends with the process; an
// error there is logged.
//
// Each event is copied into a buffer of its thread, and a thread of low priority writes those ten
// times a second. The memory is bounded: once the buffer of one thread is almost full, all threads
// leave events out, and count them, until it is written, so that what is in the file is whole. The
// file is valid after each write, with an end for every begin.
std::string startTraceFile(const std::string& path);

// Waits until all that has been traced so far is in the file, two seconds at most. Nothing without
// a file. Safe in a signal handler.
void flushTraceFile();

// Writes what is left, uninstalls the sink if it is still the installed one, and closes the file.
// Logs what was left out. Nothing without a file.
TraceFileEnd finishTraceFile();

}  // namespace android::host
