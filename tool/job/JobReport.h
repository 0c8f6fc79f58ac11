// What a job has done, for people and for programs.
#pragma once

#include <string>
#include <vector>

#include "base/DurationHistogram.h"
#include "job/Geometry.h"
#include "job/StageTimes.h"
#include "media/FrameReader.h"
#include "output/PictureConverter.h"

namespace plexa {

/** What every summary of a finished job says. */
struct JobReport {
    std::string input;
    std::string output;
    VideoFormat source;
    PictureSize size;  // of the output's frames
    Damage damage;
    std::vector<std::string> notes;
};

/** The summary of `plexa run` and `plexa scale`. */
struct RunReport : JobReport {
    int64_t frames = 0;
    double seconds = 0;  // from the first frame to the finished output
    std::vector<StageTime> stages;
    DurationSummary chain;  // a frame from the first stage's queue to the last stage's notice

    double framesPerSecond() const {
        return seconds > 0 ? static_cast<double>(frames) / seconds : 0;
    }
};

/** The summary of `plexa snapshot`. */
struct SnapshotReport : JobReport {
    double seconds = 0;  // of the frame that was taken
    Engine engine = Engine::Auto;
    CropArea crop;
};

/** The report as lines for a terminal. Threading: thread-safe, like all functions here. */
std::string toText(const RunReport& report);
std::string toText(const SnapshotReport& report);

/** The same as one JSON object; durations are in milliseconds. */
std::string toJson(const RunReport& report);
std::string toJson(const SnapshotReport& report);
/** A job or command line that failed, as one JSON object. */
std::string toJson(const Status& failure, int exitStatus);

}  // namespace plexa
