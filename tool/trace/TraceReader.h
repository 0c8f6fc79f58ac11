// Reads a trace file.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "base/Status.h"
#include "trace/ChainTrace.h"

namespace plexa {

/**
 * Finds what stages say in a file of Chrome trace events: slices "STAGE TIME" on a frame and "STAGE
 * dropped TIME: REASON", async events "STAGE waits" and "frame", and counters "STAGE free buffers",
 * "STAGE inputs" and "STAGE outputs". All other slices are work without a frame, and all other
 * events are left aside.
 *
 * Threading: reentrant; read() once.
 */
class TraceReader {
public:
    /** An error if the file is no trace, or says nothing of a chain. */
    Status read(const std::string& path, ChainTrace* trace);

private:
    using Json = nlohmann::json;
    struct OpenSlice {
        std::string name;
        double begin;
    };

    void take(const Json& event);
    void endSlice(const Json& event, double time);
    void addSlice(const std::string& name, TraceSpan span);
    void endAsync(const Json& event, double time);
    void addLevel(const Json& event, double time);
    TraceLane& lane(const std::string& name);
    Status finish(const std::string& path);

    ChainTrace mTrace;
    std::map<std::string, std::vector<OpenSlice>> mSlices;  // by thread
    std::map<std::string, std::vector<double>> mAsync;      // begins, by name and id
};

}  // namespace plexa
