// Where finished frames go.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "base/Cancellation.h"
#include "base/Status.h"
#include "media/FrameSelection.h"
#include "media/SemiPlanarPicture.h"
#include "media/VideoFormat.h"

namespace plexa {

/**
 * One output. Nothing is there under its final name before finish() has succeeded, and nothing is
 * left behind if it is destroyed earlier.
 *
 * Threading: reentrant; encoders use threads of their own.
 */
class FrameSink {
public:
    virtual ~FrameSink() = default;
    FrameSink(const FrameSink&) = delete;
    FrameSink& operator=(const FrameSink&) = delete;

    /** Opens the output for frames of this format; before any write(). */
    virtual Status open(const VideoFormat& format) = 0;

    /** Takes one frame; `picture` is only read during the call. */
    virtual Status write(const SemiPlanarPicture& picture, FrameTime time) = 0;

    /** Completes the output and gives it its final name. */
    virtual Status finish() = 0;

    /** Which frames write() expects of a clip of `expectedFrames`, 0 if that is not known. */
    virtual FrameSelection selection(int64_t /*expectedFrames*/) const {
        return FrameSelection::all();
    }

    /** What the user should know of this output, complete after finish(). */
    virtual std::vector<std::string> warnings() const { return {}; }

protected:
    FrameSink() = default;
};

/** Columns and rows of a contact sheet. */
struct SheetLayout {
    int columns = 0;
    int rows = 0;
    bool isSet() const { return columns > 0; }
    int cells() const { return columns * rows; }
};

/** Whether `path` names an output that makeSink() knows: .mp4, .mkv, .y4m, .png or "-". */
bool isKnownOutput(const std::string& path);

/** Whether `path` names a picture, the only output that can be a contact sheet. */
bool isPicture(const std::string& path);

/**
 * The sink for an output that isKnownOutput(), chosen by its extension; a contact sheet if `sheet`
 * is set; null for any other. `cancellation` is borrowed for the life of the sink.
 */
std::unique_ptr<FrameSink> makeSink(const std::string& path, SheetLayout sheet,
                                    const Cancellation& cancellation);

}  // namespace plexa
