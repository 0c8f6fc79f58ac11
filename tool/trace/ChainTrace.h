// What a trace says of a chain.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace plexa {

/** A time that something took, in microseconds of the trace. */
struct TraceSpan {
    double begin = 0;
    double end = 0;
    int64_t frame = -1;      // its "timeUs", of which waits have the low 32 bits only; -1: none
    bool isFinished = true;  // false: the trace ends before it does
};

/** A number that changes. */
struct TraceLevel {
    struct Step {
        double time;
        int64_t value;
    };
    std::vector<Step> steps;
};

/** A frame that went no further. */
struct TraceDrop {
    double time;
    std::string text;
};

/** What one stage did, or one kind of work of a client. */
struct TraceLane {
    std::string name;
    std::vector<TraceSpan> work;
    std::vector<TraceSpan> waits;  // of inputs, until their work begins
    TraceLevel freeBuffers;
    TraceLevel inputs;
    TraceLevel outputs;
    std::vector<TraceDrop> drops;
};

struct ChainTrace {
    std::vector<TraceLane> lanes;   // in the order in which they first worked
    std::vector<TraceSpan> frames;  // from the client's queue to the notice
    double begin = 0;
    double end = 0;
    int64_t leftOut = 0;  // events that the trace lacks
};

}  // namespace plexa
