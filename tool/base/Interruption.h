// What is to be done before a signal ends the program.
#pragma once

#include <string>

namespace plexa {

/**
 * Has SIGINT, SIGTERM and SIGHUP say on standard error what is left incomplete, remove it, and
 * complete the trace, before the process dies of the signal: so a shell knows that its loop is to
 * end too. One that was ignored when the program was started (nohup) stays so. Once, before any
 * thread is made.
 */
void cleanUpOnSignals();

/**
 * The output that is incomplete from now on, as messages name it, and its file so far; empty: none
 * is. One thread at a time.
 */
void setUnfinished(const std::string& name, const std::string& file);

}  // namespace plexa
