// Where finished frames go.
#include "output/FrameSink.h"

#include <strings.h>

#include <utility>

#include "output/MuxerSink.h"
#include "output/PictureSink.h"
#include "output/Y4mSink.h"

namespace plexa {

OutputKind outputKindOf(const std::string& path) {
    constexpr std::pair<const char*, OutputKind> kExtensions[] = {
        {".mp4", OutputKind::Mp4},
        {".mkv", OutputKind::Matroska},
        {".y4m", OutputKind::Yuv4Mpeg},
        {".png", OutputKind::Picture},
    };
    if (path == "-") return OutputKind::Yuv4Mpeg;
    const size_t dot = path.rfind('.');
    for (const auto& [extension, kind] : kExtensions) {
        const bool fits = dot != std::string::npos && strcasecmp(&path[dot], extension) == 0;
        if (fits) return kind;
    }
    return OutputKind::Unknown;
}

std::unique_ptr<FrameSink> makeSink(const std::string& path, SheetLayout sheet) {
    const OutputKind kind = outputKindOf(path);
    if (kind == OutputKind::Picture) {
        return std::make_unique<PictureSink>(path, sheet);
    }
    if (kind == OutputKind::Yuv4Mpeg) return std::make_unique<Y4mSink>(path);
    return std::make_unique<MuxerSink>(path, kind);
}

}  // namespace plexa
