// Where finished frames go.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "base/Status.h"
#include "media/FrameBuffers.h"
#include "media/VideoFormat.h"
#include "output/FrameSelection.h"

namespace plexa {

/** What the command writes, by the extension of the output. */
enum class OutputKind { Unknown, Mp4, Matroska, Yuv4Mpeg, Picture };

/** "-", standard output, is YUV4MPEG. Threading: thread-safe. */
OutputKind outputKindOf(const std::string& path);

/** A frame that has been through the chain. */
struct FinishedFrame {
    android::sp<android::APipeBuffer> buffer;  // linear, locked for the CPU
    FrameTime time;
    std::shared_ptr<const AVFrame> properties;  // the decoded frame's, without its pixels
};

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

    /** Opens the output for frames of this format, scaled from `source`; before any write(). */
    virtual Status open(const VideoFormat& format, const VideoFormat& source) = 0;

    /** Takes one frame, which is only used during the call. */
    virtual Status write(const FinishedFrame& frame) = 0;

    /** Completes the output and gives it its final name. */
    virtual Status finish() = 0;

    /** Which frames write() expects of a clip of `expectedFrames`, 0 if that is not known. */
    virtual FrameSelection selection(int64_t /*expectedFrames*/) const {
        return FrameSelection::all();
    }

    /** What the user should know of this output, complete after finish(). */
    virtual std::vector<std::string> notes() const { return {}; }

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

/** The sink for an output of a known kind; a contact sheet if `sheet` is set. */
std::unique_ptr<FrameSink> makeSink(const std::string& path, SheetLayout sheet);

}  // namespace plexa
