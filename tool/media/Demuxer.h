// Opens an input and gives the packets of its video stream.
#pragma once

#include <string>
#include <vector>

#include "base/Status.h"
#include "media/AvHandles.h"

namespace plexa {

/**
 * One input of any container that FFmpeg's libraries know; "-" is standard input. It chooses the
 * best video stream and leaves the others out. A file that ends before its own index says, or
 * inside a frame, is an error and not an end.
 *
 * Threading: reentrant.
 */
class Demuxer {
public:
    Status open(const std::string& path);

    /** The next packet of the video stream into `packet`, which stays empty at the end. */
    Status read(AVPacket* packet);

    /** The chosen stream; valid after open(). */
    AVStream* stream() const { return mStream; }

    /** Frames per second as container and stream tell it; 0 if they do not. */
    AVRational frameRate() const;
    /** Width by height of a sample of this frame; 0 if nothing tells. */
    AVRational sampleAspectRatio(AVFrame* frame) const;
    /** How many frames the stream should have, 0 if nothing tells. */
    int64_t expectedFrames() const;
    /** What an entry of the file's metadata, or of the stream's, says; empty without it. */
    std::string fileTag(const char* key) const;
    std::string streamTag(const char* key) const;
    /** What the input holds beside this stream, one entry for each kind: "2 audio streams". */
    std::vector<std::string> leftOut() const;
    /** The input as messages name it. */
    const std::string& name() const { return mName; }

private:
    Status openContainer(const std::string& path);
    Status chooseStream();
    Status checkEnd() const;
    Status unreadable(int error) const;

    std::string mName;
    InputPtr mInput;
    AVStream* mStream = nullptr;
    bool mProbedToEnd = false;  // what there is to say of the end has been said
    int64_t mPackets = 0;
    int64_t mLastPacketEnd = -1;  // byte offset, -1 if not known
};

}  // namespace plexa
