// Draws a trace of a chain.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "trace/ChainTrace.h"
#include "trace/Svg.h"

namespace plexa {

/**
 * Draws a lane per stage over time: a bar per frame in work, a thin one for each input that waits,
 * the level of the buffers that are there, and a cross for each frame that is dropped. A frame has
 * one colour in all lanes.
 *
 * Threading: reentrant.
 */
class TracePicture {
public:
    /** `trace` is borrowed. */
    explicit TracePicture(const ChainTrace& trace);

    /** The picture as SVG. Once. */
    std::string draw();

private:
    enum class LevelKind { Load, Stock };

    void numberFrames();
    double xOf(double time) const;
    std::string classOf(const TraceSpan& span) const;
    void drawTitle();
    void drawChain();
    void drawLane(const TraceLane& lane);
    void drawWork(const TraceLane& lane);
    void drawWaits(const TraceLane& lane);
    void drawDrops(const TraceLane& lane, double y);
    void drawLevel(const std::string& name, const TraceLevel& level, LevelKind kind);
    void drawBar(const TraceSpan& span, double y, double height, const std::string& what);
    void drawAxis();

    const ChainTrace& mTrace;
    Svg mSvg;
    std::map<uint32_t, size_t> mFrames;  // their order, by the low 32 bits of their times
    double mWidth = 0;                   // of the time that is drawn
    double mY = 0;                       // where the next row begins
};

}  // namespace plexa
