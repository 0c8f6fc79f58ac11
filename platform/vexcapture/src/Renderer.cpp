// Filter graphs of a capture, and running them.
#define LOG_TAG "ZelFrameCaptureLayer"

#include "Renderer.h"

#include <host/GraphicBufferPixels.h>
#include <libyuv/planar_functions.h>
#include <utils/Log.h>

namespace android::capture {
namespace {

zimg_image_format pictureFormat(int32_t width, int32_t height) {
    zimg_image_format format = ZimgGraph::makeFormat();
    format.width = static_cast<unsigned>(width);
    format.height = static_cast<unsigned>(height);
    format.pixel_type = ZIMG_PIXEL_BYTE;
    format.color_family = ZIMG_COLOR_RGB;
    format.matrix_coefficients = ZIMG_MATRIX_RGB;
    format.transfer_characteristics = ZIMG_TRANSFER_IEC_61966_2_1;
    format.color_primaries = ZIMG_PRIMARIES_BT709;
    format.pixel_range = ZIMG_RANGE_FULL;
    return format;
}

zimg_image_format lightFormat(int32_t width, int32_t height) {
    zimg_image_format format = pictureFormat(width, height);
    format.pixel_type = ZIMG_PIXEL_FLOAT;
    format.transfer_characteristics = ZIMG_TRANSFER_LINEAR;
    return format;
}

zimg_image_format frameFormat(const FrameShape& frame, const ColorPlan& plan) {
    zimg_image_format format = ZimgGraph::makeFormat();
    format.width = static_cast<unsigned>(frame.planes.width);
    format.height = static_cast<unsigned>(frame.planes.height);
    format.pixel_type = frame.planes.bytesPerSample == 1 ? ZIMG_PIXEL_BYTE : ZIMG_PIXEL_WORD;
    format.depth = frame.depth;
    format.color_family = frame.isYuv ? ZIMG_COLOR_YUV : ZIMG_COLOR_RGB;
    format.subsample_w = format.subsample_h = frame.isYuv ? 1 : 0;
    format.matrix_coefficients = plan.matrix;
    format.transfer_characteristics = plan.transfer;
    format.color_primaries = plan.primaries;
    format.pixel_range = plan.range;
    format.chroma_location = plan.chroma;
    format.active_region = {.left = static_cast<double>(frame.picture.left),
                            .top = static_cast<double>(frame.picture.top),
                            .width = static_cast<double>(frame.picture.width()),
                            .height = static_cast<double>(frame.picture.height())};
    return format;
}

zimg_graph_builder_params filterParams(const FrameShape& frame, int32_t width,
                                       const ColorPlan& plan) {
    zimg_graph_builder_params params;
    zimg_graph_builder_params_default(&params, ZIMG_API_VERSION);
    // Sharp, and exact where nothing is scaled. Chroma, always scaled, must not ring.
    params.resample_filter = ZIMG_RESIZE_SPLINE36;
    params.resample_filter_uv = ZIMG_RESIZE_BILINEAR;
    constexpr unsigned kSpline36Radius = 3;
    params.cpu_type = host::zimgKernelsFor(static_cast<unsigned>(frame.planes.width),
                                           static_cast<unsigned>(width), kSpline36Radius);
    params.nominal_peak_luminance = kFullScaleNits;
    // Tables in place of the exact curves move codes by 1 at most and halve the time of a capture.
    // With HLG they would leave out that its OOTF goes by luminance.
    params.allow_approximate_gamma = plan.light() == Light::Hlg ? 0 : 1;
    return params;
}

PlanarImage::Shape outputShape(int32_t width, int32_t height, size_t bytesPerSample) {
    const auto w = static_cast<size_t>(width);
    const auto h = static_cast<size_t>(height);
    return {.width = w,
            .height = h,
            .chromaWidth = w,
            .chromaHeight = h,
            .bytesPerSample = bytesPerSample};
}

// libyuv names channels as in a little-endian word, B first in memory; here R is first. Without an
// alpha plane it writes 255.
void storePicture(const PlanarImage& picture, const host::GraphicBufferPixels& to) {
    const PlanarImage::Plane& r = picture.plane(0);
    const PlanarImage::Plane& g = picture.plane(1);
    const PlanarImage::Plane& b = picture.plane(2);
    const auto stride = [](size_t bytes) { return static_cast<int>(bytes); };
    libyuv::MergeARGBPlane(b.data, stride(b.stride), g.data, stride(g.stride), r.data,
                           stride(r.stride), nullptr, 0, to.base + to.layout.y.offset,
                           stride(to.layout.y.stride), static_cast<int>(picture.shape().width),
                           static_cast<int>(picture.shape().height));
}

}  // namespace

status_t Renderer::render(const Request& request) {
    sp<GraphicBuffer> linear;
    if (const status_t status = mLinearSource.get(request.source, &linear); status != OK) {
        return status;
    }
    const auto pixels = host::pixelsOf(*linear);
    const auto picture = host::pixelsOf(*request.destination);
    if (!pixels || !picture) {
        ALOGE("source or destination has no memory");
        return BAD_VALUE;
    }
    const std::optional<Setup> setup = setupFor(request, pixels->layout);
    if (!setup) return BAD_VALUE;
    if (const status_t status = prepare(*setup); status != OK) return status;
    loadFrame(*pixels, linear->getWidth(), linear->getHeight(), request.crop, mFrame);
    if (const status_t status = makePicture(request, *setup); status != OK) return status;
    storePicture(mPicture, *picture);
    return OK;
}

std::optional<Renderer::Setup> Renderer::setupFor(const Request& request,
                                                  const host::BufferLayout& layout) {
    const SourceTraits traits = {.isYuv = layout.isYuv(),
                                 .width = request.crop.width(),
                                 .height = request.crop.height(),
                                 .hasHdrInfo = request.hdr.stream || request.hdr.scene};
    const auto plan = planFor(request.dataspace, traits);
    if (!plan) return std::nullopt;
    return Setup{.frame = shapeOf(layout, request.crop),
                 .plan = *plan,
                 .width = request.width,
                 .height = request.height};
}

status_t Renderer::prepare(const Setup& setup) {
    if (setup == mSetup) return OK;
    mSetup.reset();
    if (const status_t status = allocateImages(setup); status != OK) return status;
    if (const status_t status = buildGraphs(setup); status != OK) return status;
    mSetup = setup;
    return OK;
}

status_t Renderer::allocateImages(const Setup& setup) {
    const bool hasLight = setup.plan.needsMapping();
    if (mFrame.allocate(setup.frame.planes) &&
        (!hasLight || mLight.allocate(outputShape(setup.width, setup.height, sizeof(float)))) &&
        mPicture.allocate(outputShape(setup.width, setup.height, 1))) {
        return OK;
    }
    ALOGE("no memory for a picture of %dx%d", setup.width, setup.height);
    return NO_MEMORY;
}

status_t Renderer::buildGraphs(const Setup& setup) {
    const zimg_image_format frame = frameFormat(setup.frame, setup.plan);
    const zimg_image_format light = lightFormat(setup.width, setup.height);
    const zimg_image_format picture = pictureFormat(setup.width, setup.height);
    const zimg_graph_builder_params params = filterParams(setup.frame, setup.width, setup.plan);
    if (!setup.plan.needsMapping()) return mDecode.build(frame, picture, params);
    const status_t status = mDecode.build(frame, light, params);
    return status == OK ? mEncode.build(light, picture, params) : status;
}

status_t Renderer::makePicture(const Request& request, const Setup& setup) {
    if (!setup.plan.needsMapping()) return mDecode.process(mFrame, mPicture);
    const bool isPq = setup.plan.light() == Light::Pq;
    mLightMapper.prepare(setup.plan, isPq ? sceneLightOf(request.hdr) : SceneLight());
    if (const status_t status = mDecode.process(mFrame, mLight); status != OK) return status;
    mLightMapper.map(mLight);
    return mEncode.process(mLight, mPicture);
}

}  // namespace android::capture
