// Programs: what the programs of a context sample.
#pragma once

#include <GLES3/gl32.h>

#include <map>
#include <span>
#include <string>
#include <vector>

namespace android::host {

// A 2D sampler uniform, by location. A raw YUV one has two, of which the compiler may have dropped
// one (-1) that the shader has no use for.
struct Sampler {
    bool isYuv = false;
    GLint luma = -1;
    GLint chroma = -1;
    GLint chromaUnit = 0;  // a texture unit of its own
};

// Threading: belongs to a context, on the thread where that is current.
class Programs {
public:
    // What a shader's source says. Names of shaders and programs may have been used before.
    void setYuvSamplers(GLuint shader, std::vector<std::string> names);
    void onLinked(GLuint program);
    // Valid until the program is linked again.
    std::span<const Sampler> samplersOf(GLuint program) const;

private:
    std::vector<std::string> yuvSamplersOf(GLuint program) const;

    std::map<GLuint, std::vector<std::string>> mYuvNames;  // by shader
    std::map<GLuint, std::vector<Sampler>> mSamplers;      // by program
};

}  // namespace android::host
