// PlaneScaler: which kernel scales which plane.
#include "PlaneScaler.h"

#include "LibyuvScaler.h"
#include "RatioScaler.h"
#include "WordHalver.h"

namespace cl {

std::unique_ptr<PlaneScaler> PlaneScaler::make(FrameSize from, FrameSize to, PlaneKind kind) {
    if (LibyuvScaler::isMadeFor(from, to, kind)) return std::make_unique<LibyuvScaler>(kind);
    if (WordHalver::isMadeFor(from, to, kind)) return std::make_unique<WordHalver>(kind);
    return std::make_unique<RatioScaler>(from, to, kind);
}

}  // namespace cl
