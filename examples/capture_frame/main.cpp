// Renders one raw frame into a raw RGBA picture with the frame-capture converter.
//
//   capture_frame in.p010 out.rgba --size 1920x1080 --format p010 --dataspace 298188800
//                 --mastering 1000,0.005 --max-cll 600
#include <APipeBufferFactory.h>
#include <APipeConverter.h>
#include <hardware/gralloc.h>
#include <host/GraphicBufferPixels.h>
#include <host/Hdr10PlusInfo.h>
#include <host/HdrStaticInfo.h>

#include <CLI/CLI.hpp>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <ios>
#include <string>
#include <vector>

using namespace android;

namespace {

struct Options {
    std::string input;
    std::string output;
    std::string format = "nv12";
    std::vector<uint32_t> size;         // of the frame
    std::vector<uint32_t> pictureSize;  // empty: that of the frame
    std::vector<int32_t> crop;          // left, top, right, bottom; empty: everything
    int32_t dataspace = 0;
    std::vector<double> mastering;  // greatest and smallest luminance, cd/m2
    double maxContentLight = 0;
    double scenePeak = 0;
};

// A frame in graphics memory, ready for a stage.
sp<APipeBuffer> makeFrame(APipeBuffer::ColorFormat format, PixelFormat pixels,
                          const std::vector<uint32_t>& size) {
    const auto graphic = sp<GraphicBuffer>::make(
        size[0], size[1], pixels, 1U,
        uint64_t{GRALLOC_USAGE_SW_READ_OFTEN | GRALLOC_USAGE_SW_WRITE_OFTEN}, "capture_frame");
    auto frame = APipeBufferFactory::Create(format, static_cast<int32_t>(size[0]),
                                            static_cast<int32_t>(size[1]), graphic, nullptr,
                                            APipeBuffer::GraphicMemory, -1, -1);
    return frame->init() == OK ? frame : nullptr;
}

// Luma rows, then rows of Cb, Cr pairs, without padding.
bool readFrame(const std::string& path, APipeBuffer& frame) {
    uint8_t *y, *cb, *cr;
    if (frame.getYCbCr(&y, &cb, &cr) != OK) return false;
    std::ifstream file(path, std::ios::binary);
    const bool deep = frame.getColorFormat() == APipeBuffer::P010;
    const std::streamsize bytes = int64_t{frame.getWidth()} * (deep ? 2 : 1);
    for (int32_t row = 0; row < frame.getHeight(); ++row)
        file.read(reinterpret_cast<char*>(y + int64_t{row} * frame.getStride()), bytes);
    for (int32_t row = 0; row < frame.getHeight() / 2; ++row)
        file.read(reinterpret_cast<char*>(cb + int64_t{row} * frame.getCStride()), bytes);
    frame.unlock();
    if (!file) fprintf(stderr, "capture_frame: %s holds no whole frame\n", path.c_str());
    return file.good();
}

bool writePicture(const std::string& path, APipeBuffer& picture) {
    uint8_t *rgba, *cb, *cr;
    if (picture.getYCbCr(&rgba, &cb, &cr) != OK) return false;
    std::ofstream file(path, std::ios::binary);
    for (int32_t row = 0; row < picture.getHeight(); ++row) {
        file.write(reinterpret_cast<const char*>(rgba + int64_t{row} * picture.getStride() * 4),
                   std::streamsize{picture.getWidth()} * 4);
    }
    file.close();
    if (!file) fprintf(stderr, "capture_frame: %s cannot be written\n", path.c_str());
    return file.good();
}

// What a demuxer or decoder tells of a frame.
void describe(const Options& options, AMessage& meta) {
    meta.setInt32("dataSpace", options.dataspace);
    if (!options.crop.empty()) {
        meta.setRect("crop", options.crop[0], options.crop[1], options.crop[2], options.crop[3]);
    }
    if (!options.mastering.empty() || options.maxContentLight > 0) {
        host::HdrStaticInfo info;
        if (!options.mastering.empty()) {
            info.maxLuminance = options.mastering[0];
            info.minLuminance = options.mastering[1];
        }
        info.maxContentLight = options.maxContentLight;
        meta.setBuffer("hdr-static-info", info.toBlob());
    }
    if (options.scenePeak > 0) {
        const double peak = options.scenePeak;
        meta.setBuffer("hdr10-plus-info",
                       host::Hdr10PlusInfo{.maxScl = {peak, peak, peak}}.toBlob());
    }
}

bool capture(const Options& options) {
    const bool deep = options.format == "p010";
    const auto frame =
        makeFrame(deep ? APipeBuffer::P010 : APipeBuffer::Nv12,
                  deep ? HAL_PIXEL_FORMAT_YCBCR_P010 : HAL_PIXEL_FORMAT_YCbCr_420_SP, options.size);
    const auto picture =
        makeFrame(APipeBuffer::Rgba8888, HAL_PIXEL_FORMAT_RGBA_8888,
                  options.pictureSize.empty() ? options.size : options.pictureSize);
    if (frame == nullptr || picture == nullptr || !readFrame(options.input, *frame)) return false;
    describe(options, *frame->getMeta());

    // A stage would keep the converter for all its frames.
    const auto converter = APipeConverter::Create(APipeConverter::kTypeRE);
    if (converter->init(nullptr) != OK || converter->convert(frame, picture) != OK) return false;
    converter->reset();
    return writePicture(options.output, *picture);
}

}  // namespace

// CLI11 throws where main itself declares an option wrong.
// NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char** argv) {
    Options options;
    CLI::App app("Renders one raw frame into a raw RGBA picture.");
    app.add_option("input", options.input, "NV12 or P010 samples without padding")->required();
    app.add_option("output", options.output, "where the picture goes")->required();
    app.add_option("--format", options.format)->check(CLI::IsMember({"nv12", "p010"}));
    app.add_option("--size", options.size, "of the frame, even")
        ->delimiter('x')
        ->expected(2)
        ->required();
    app.add_option("--picture", options.pictureSize, "size of the picture; default: the frame's")
        ->delimiter('x')
        ->expected(2);
    app.add_option("--crop", options.crop, "left,top,right,bottom; right and bottom exclusive")
        ->delimiter(',')
        ->expected(4);
    app.add_option("--dataspace", options.dataspace, "android_dataspace_t; default: 0, unknown");
    app.add_option("--mastering", options.mastering,
                   "luminances of the mastering display: most,least")
        ->delimiter(',')
        ->expected(2);
    app.add_option("--max-cll", options.maxContentLight, "greatest content light level, cd/m2");
    app.add_option("--scene-peak", options.scenePeak, "brightest of the scene, cd/m2");
    CLI11_PARSE(app, argc, argv);
    return capture(options) ? 0 : 1;
}
