// PlaneScaler: which kernel scales which plane.
#include "PlaneScaler.h"

#include "LibyuvScaler.h"
#include "ZimgScaler.h"

namespace cl {

std::unique_ptr<PlaneScaler> PlaneScaler::make(FrameSize from, FrameSize to, PlaneKind kind) {
    if (LibyuvScaler::isMadeFor(from, to, kind)) return std::make_unique<LibyuvScaler>(kind);
    return ZimgScaler::make(from, to, kind);
}

}  // namespace cl
