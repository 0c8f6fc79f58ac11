// Which frames stages take, found by trying.
#include <kit/Formats.h>

#include "CalmChain.h"

namespace plexa::kit {

using android::APipeBuffer;

namespace {

using Stages = std::vector<StageSpec>;

// What a stage takes, by itself.
std::string wishesOf(const StageSpec& stage, const FrameFormat& size) {
    std::string wishes;
    for (FrameFormat format : knownFormats(size.width, size.height)) {
        if (!passageOf({stage}, format)) continue;
        wishes += (wishes.empty() ? "" : ", or ") + toText(format);
    }
    return wishes.empty() ? "nothing that is known" : wishes;
}

}  // namespace

std::optional<Passage> passageOf(const Stages& stages, const FrameFormat& takes) {
    CalmChain chain(stages, takes);
    if (!chain.start()) return std::nullopt;
    const auto arrival = chain.pass(0);
    if (!arrival) return std::nullopt;
    return Passage{arrival->format, chain.told()};
}

std::vector<FrameFormat> knownFormats(int32_t width, int32_t height) {
    using enum APipeBuffer::ColorFormat;
    std::vector<FrameFormat> formats;
    for (const auto color : {Nv12Ubwc, Tp10Ubwc, Nv12Venus, P010Venus, Rgba8888})
        formats.push_back({color, APipeBuffer::GraphicMemory, width, height});
    for (const auto color : {Nv12, P010, Yuv420p, Yv12})
        formats.push_back({color, APipeBuffer::LocalMemory, width, height});
    return formats;
}

APipeBuffer::ColorFormat plainOf(APipeBuffer::ColorFormat color) {
    if (color == APipeBuffer::Nv12Ubwc) return APipeBuffer::Nv12Venus;
    return color == APipeBuffer::Tp10Ubwc ? APipeBuffer::P010Venus : color;
}

bool haveSameSamples(APipeBuffer::ColorFormat one, APipeBuffer::ColorFormat other) {
    const auto familyOf = [](APipeBuffer::ColorFormat color) {
        if (color == APipeBuffer::Nv12Venus) return APipeBuffer::Nv12;
        return color == APipeBuffer::P010Venus ? APipeBuffer::P010 : color;
    };
    return familyOf(one) == familyOf(other);
}

std::string misfitOf(const Stages& stages, const FrameFormat& takes) {
    std::string giver = "the source";
    FrameFormat gives = takes;
    for (size_t count = 1; count <= stages.size(); ++count) {
        const Stages so(stages.begin(), stages.begin() + static_cast<ptrdiff_t>(count));
        const auto passage = passageOf(so, takes);
        if (!passage) {
            return giver + " gives " + toText(gives) + "; " + so.back().name + " wants " +
                   wishesOf(so.back(), gives);
        }
        giver = so.back().name;
        gives = passage->gives;
    }
    return "";
}

}  // namespace plexa::kit
