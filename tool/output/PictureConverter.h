// Turns a frame into an RGBA picture with one of the platform's engines.
#pragma once

#include <APipeConverter.h>

#include <memory>

#include "base/Status.h"
#include "media/AvHandles.h"

namespace plexa {

/** Who renders a picture. */
enum class Engine {
    Auto,     // Gl for what its shaders show right; Capture for the rest, and where Gl cannot start
    Gl,       // the GPU shader converter: SDR of BT.601 and BT.709 with limited range
    Capture,  // the frame-capture converter: everything, HDR tone mapped
};

/** The engine that Engine::Auto stands for, and any other as it is. */
Engine chooseEngine(Engine requested, int32_t dataspace);

/**
 * Whether the engine shows a stream of this dataspace right. The shaders take every transfer for
 * that of SDR, matrices that they do not have for BT.709, and in full range 16 for black too.
 */
bool showsTrueColors(Engine engine, int32_t dataspace);

/** As the option names it. */
const char* nameOf(Engine engine);

/**
 * One engine, set up for pictures of one size and dataspace.
 *
 * Threading: loop-bound to the thread of open().
 */
class PictureConverter {
public:
    PictureConverter() = default;
    ~PictureConverter();
    PictureConverter(const PictureConverter&) = delete;
    PictureConverter& operator=(const PictureConverter&) = delete;

    /** `engine` is not Auto; width and height are those of the picture. Also after a failure. */
    Status open(Engine engine, int32_t dataspace, int width, int height);

    /** The part of `frame` that its "crop" names as a new RGBA frame in `picture`. */
    Status convert(const android::sp<android::APipeBuffer>& frame, FramePtr* picture);

private:
    const char* mName = "";
    android::sp<android::APipeBuffer> mPicture;
    std::shared_ptr<android::APipeConverter> mConverter;
};

}  // namespace plexa
