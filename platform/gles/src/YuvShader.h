// YuvShader: shaders that sample raw YUV, in words that the host's compiler knows.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace android::host {

// What the chroma sampler is called that goes with the luma sampler `name`.
std::string chromaNameOf(std::string_view name);

struct HostShader {
    std::string text;
    std::vector<std::string> yuvSamplers;  // names as the caller knows them
};

// A shader that enables GL_EXT_YUV_target is rewritten and keeps its lines: every uniform of type
// __samplerExternal2DY2YEXT becomes a plain 2D sampler of the same name and location for luma and a
// second one for chroma, and texture() calls on it sample both. Any other shader stays as it is.
// Such a sampler may not be a function's parameter.
// Threading: reentrant.
HostShader rewriteYuvShader(std::string_view source);

}  // namespace android::host
