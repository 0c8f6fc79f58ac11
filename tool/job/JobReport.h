// What a job has done, for people and for programs.
#pragma once

#include <string>
#include <vector>

#include "base/DurationHistogram.h"
#include "job/StageTimes.h"
#include "media/VideoFormat.h"

namespace plexa {

/** The summary of a finished job. */
struct JobReport {
    std::string input;
    std::string output;
    VideoFormat source;
    VideoFormat result;
    int64_t frames = 0;
    double seconds = 0;  // from the first frame to the finished output
    std::vector<StageTime> stages;
    DurationSummary chain;  // a frame from the first stage's queue to the last stage's notice
    std::vector<std::string> warnings;

    double framesPerSecond() const {
        return seconds > 0 ? static_cast<double>(frames) / seconds : 0;
    }
};

/** The report as lines for a terminal. Threading: thread-safe, like toJson. */
std::string toText(const JobReport& report);

/** The same as one JSON object; durations are in milliseconds. */
std::string toJson(const JobReport& report);

}  // namespace plexa
