// What a video's frames become on their way through the stages of a run.
#pragma once

#include <kit/Formats.h>
#include <kit/StageLibrary.h>

#include <string>
#include <vector>

#include "base/Status.h"
#include "job/Geometry.h"
#include "media/VideoFormat.h"
#include "output/FrameSink.h"

namespace plexa {

/**
 * Finds the stages of a run, and by trying which frames they take and give.
 *
 * Threading: reentrant.
 */
class RunPlan {
public:
    /** A side of a "scale" may be -1, which follows from the input's aspect. */
    RunPlan(std::vector<kit::StageWord> chain, OutputKind output, bool makesSquarePixels);

    /** An error where a stage is missing, or does not take what it gets. */
    Status make(const VideoFormat& source);
    /** The source goes on in another size; an error if the result cannot stay as it is. */
    Status changeSize(int width, int height);

    // After make().

    const std::vector<kit::StageSpec>& stages() const { return mStages; }
    /** The names under which the stages trace their work, each once. */
    std::vector<std::string> stageNames() const;
    const VideoFormat& result() const { return mResult; }
    /** Whether frames are compressed before they are queued, as by a device's decoder. */
    bool compresses() const { return mCompresses; }
    /** What is queued into the first stage. */
    kit::FrameFormat sourceFormat(int width, int height) const;
    /** What comes out of the last one. */
    kit::FrameFormat resultFormat() const { return linear(mResult.width, mResult.height); }

private:
    Status findStages();
    Status resolveScale(kit::StageWord* word) const;
    PictureSize shownSize() const;
    Status findPassage(int width, int height, kit::FrameFormat* gives);
    kit::FrameFormat linear(int width, int height) const;

    const std::vector<kit::StageWord> mChain;
    const OutputKind mOutput;
    const bool mMakesSquarePixels;
    VideoFormat mSource;
    VideoFormat mResult;
    std::vector<kit::StageSpec> mStages;
    bool mCompresses = false;
};

}  // namespace plexa
