// Writes pictures as PNG.
#pragma once

#include <string>
#include <vector>

#include "media/AvHandles.h"
#include "output/OutputFile.h"

namespace plexa {

/**
 * Writes what `filters` make of these RGBA frames, whose alpha is left out, as one PNG picture into
 * `file`, which is open, and commits it. Takes over what the frames hold. Threading: reentrant.
 */
Status writePng(const std::vector<AVFrame*>& frames, const std::string& filters, OutputFile* file);

}  // namespace plexa
