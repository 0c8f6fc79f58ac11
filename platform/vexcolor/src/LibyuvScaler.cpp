// LibyuvScaler: calls by kind of plane.
#include "LibyuvScaler.h"

#include <libyuv/planar_functions.h>
#include <libyuv/scale.h>
#include <libyuv/scale_uv.h>

namespace cl {

bool LibyuvScaler::isMadeFor(FrameSize from, FrameSize to, PlaneKind kind) {
    if (from == to) return true;
    if (kind.bytesPerSample != 1) return false;
    // libyuv only repeats the rows of a plane that is one sample wide.
    return from.isTwice(to) || (to.isTwice(from) && kind.samplesPerUnit == 1 && from.width > 1);
}

bool LibyuvScaler::scale(const Plane& from, const Plane& to) {
    const auto fromStride = static_cast<int>(from.stride), toStride = static_cast<int>(to.stride);
    const auto fromWidth = static_cast<int>(from.width), fromHeight = static_cast<int>(from.height);
    const auto toWidth = static_cast<int>(to.width), toHeight = static_cast<int>(to.height);
    if (fromWidth == toWidth && fromHeight == toHeight) {
        libyuv::CopyPlane(from.data, fromStride, to.data, toStride, static_cast<int>(to.rowBytes()),
                          toHeight);
        return true;
    }
    if (mKind.samplesPerUnit == 1) {
        libyuv::ScalePlane(from.data, fromStride, fromWidth, fromHeight, to.data, toStride, toWidth,
                           toHeight, libyuv::kFilterBox);
        return true;
    }
    return libyuv::UVScale(from.data, fromStride, fromWidth, fromHeight, to.data, toStride, toWidth,
                           toHeight, libyuv::kFilterBox) == 0;
}

}  // namespace cl
