// CLConverter: the factory.
#define LOG_TAG "CLConverter"
#include "cl/converter/CLConverter.h"

#include <log/log.h>

#include <new>

#include "Converter.h"
#include "FrameFormat.h"

namespace cl::converter {

CLConverter::~CLConverter() = default;

CLConverter* CLConverter::Create(common::CLColorFormat src, common::CLColorFormat dst) {
    const auto from = frameFormatOf(src);
    const auto to = frameFormatOf(dst);
    if (!from || !to || from->bytesPerSample != to->bytesPerSample ||
        (from->compressed && to->compressed)) {
        ALOGE("Create: no conversion from format %d to %d", src, dst);
        return nullptr;
    }
    return new (std::nothrow) Converter(*from, *to);
}

}  // namespace cl::converter
