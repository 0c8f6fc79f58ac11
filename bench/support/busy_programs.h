// Other programs that want the processors.
#pragma once

#include <vector>

#include <sys/types.h>

namespace plexa::bench {

/// Processes that never stop computing, at the usual priority; as long as the object lives. To be
/// created before the process has threads.
///
/// Threading: reentrant.
class BusyPrograms {
public:
    explicit BusyPrograms(int count);
    ~BusyPrograms();

    BusyPrograms(const BusyPrograms&) = delete;
    BusyPrograms& operator=(const BusyPrograms&) = delete;

private:
    std::vector<pid_t> mChildren;
};

}  // namespace plexa::bench
