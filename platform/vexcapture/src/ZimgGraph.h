// ZimgGraph: a filter graph of the colour library with its working memory.
#pragma once

#include <utils/Errors.h>

#include "PlanarImage.h"
#include "ZimgUse.h"

namespace android::capture {

// Converts planar images of one format and size into another.
// Threading: reentrant.
class ZimgGraph {
public:
    // Image format with the library's defaults.
    static zimg_image_format makeFormat();

    // Sets the graph up; what an earlier call set up goes first. OK; NO_MEMORY; UNKNOWN_ERROR,
    // after an error in the log, when the library refuses.
    status_t build(const zimg_image_format& source, const zimg_image_format& destination,
                   const zimg_graph_builder_params& params);

    // After a build that succeeded. The images have the planes of its formats.
    status_t process(const PlanarImage& source, const PlanarImage& destination) const;

private:
    host::ZimgFilters mGraph;
    host::ZimgMemory mWorkMemory;
};

}  // namespace android::capture
