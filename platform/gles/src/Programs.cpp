// Programs: asking GL for samplers.
#include "Programs.h"

#include <array>
#include <set>
#include <utility>

#include "YuvShader.h"

namespace android::host {
namespace {

// Locations of the 2D samplers.
std::vector<GLint> planeSamplersOf(GLuint program) {
    std::vector<GLint> locations;
    GLint uniforms = 0;
    glGetProgramiv(program, GL_ACTIVE_UNIFORMS, &uniforms);
    for (GLint i = 0; i < uniforms; ++i) {
        std::array<char, 256> name{};
        GLint size = 0;
        GLenum type = 0;
        glGetActiveUniform(program, static_cast<GLuint>(i), name.size(), nullptr, &size, &type,
                           name.data());
        if (type == GL_SAMPLER_2D) locations.push_back(glGetUniformLocation(program, name.data()));
    }
    return locations;
}

}  // namespace

void Programs::setYuvSamplers(GLuint shader, std::vector<std::string> names) {
    mYuvNames[shader] = std::move(names);
}

std::vector<std::string> Programs::yuvSamplersOf(GLuint program) const {
    std::array<GLuint, 8> shaders{};
    GLsizei count = 0;
    glGetAttachedShaders(program, shaders.size(), &count, shaders.data());
    std::vector<std::string> names;
    for (const GLuint shader : std::span(shaders).first(static_cast<size_t>(count))) {
        const auto found = mYuvNames.find(shader);
        if (found == mYuvNames.end()) continue;
        names.insert(names.end(), found->second.begin(), found->second.end());
    }
    return names;
}

void Programs::onLinked(GLuint program) {
    std::vector<Sampler>& samplers = mSamplers[program];
    samplers.clear();
    GLint isLinked = 0;
    glGetProgramiv(program, GL_LINK_STATUS, &isLinked);
    if (isLinked == 0) return;
    std::set<GLint> known;
    // From the last unit down, out of the way of those that callers choose.
    GLint chromaUnit = 0;
    glGetIntegerv(GL_MAX_COMBINED_TEXTURE_IMAGE_UNITS, &chromaUnit);
    for (const std::string& name : yuvSamplersOf(program)) {
        const Sampler sampler = {
            .isYuv = true,
            .luma = glGetUniformLocation(program, name.c_str()),
            .chroma = glGetUniformLocation(program, chromaNameOf(name).c_str()),
            .chromaUnit = --chromaUnit};
        if (sampler.chroma >= 0) glProgramUniform1i(program, sampler.chroma, chromaUnit);
        known.insert({sampler.luma, sampler.chroma});
        samplers.push_back(sampler);
    }
    for (const GLint location : planeSamplersOf(program)) {
        if (!known.contains(location)) samplers.push_back({.luma = location});
    }
}

std::span<const Sampler> Programs::samplersOf(GLuint program) const {
    const auto found = mSamplers.find(program);
    return found != mSamplers.end() ? std::span<const Sampler>(found->second)
                                    : std::span<const Sampler>();
}

}  // namespace android::host
