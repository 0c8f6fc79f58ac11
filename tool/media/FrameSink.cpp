// Where finished frames go.
#include "media/FrameSink.h"

#include <array>
#include <cctype>
#include <string_view>

#include "media/ContactSheetSink.h"
#include "media/MuxerSink.h"
#include "media/PngSink.h"
#include "media/Y4mSink.h"

namespace plexa {
namespace {

enum class OutputKind { Unknown, Mp4, Matroska, Yuv4Mpeg, Picture };

struct Extension {
    std::string_view text;
    OutputKind kind;
};

constexpr std::array<Extension, 4> kExtensions = {{
    {".mp4", OutputKind::Mp4},
    {".mkv", OutputKind::Matroska},
    {".y4m", OutputKind::Yuv4Mpeg},
    {".png", OutputKind::Picture},
}};

OutputKind kindOf(const std::string& path) {
    if (path == "-") return OutputKind::Yuv4Mpeg;
    const size_t dot = path.rfind('.');
    std::string extension = dot == std::string::npos ? "" : path.substr(dot);
    for (char& letter : extension) {
        letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    }
    for (const Extension& known : kExtensions) {
        if (known.text == extension) return known.kind;
    }
    return OutputKind::Unknown;
}

}  // namespace

bool isPicture(const std::string& path) {
    return kindOf(path) == OutputKind::Picture;
}

bool isKnownOutput(const std::string& path) {
    return kindOf(path) != OutputKind::Unknown;
}

std::unique_ptr<FrameSink> makeSink(const std::string& path, SheetLayout sheet,
                                    const Cancellation& cancellation) {
    switch (kindOf(path)) {
        case OutputKind::Mp4:
            return std::make_unique<MuxerSink>(path, Container::Mp4, cancellation);
        case OutputKind::Matroska:
            return std::make_unique<MuxerSink>(path, Container::Matroska, cancellation);
        case OutputKind::Yuv4Mpeg:
            return std::make_unique<Y4mSink>(path, cancellation);
        case OutputKind::Picture:
            if (sheet.isSet()) return std::make_unique<ContactSheetSink>(path, sheet, cancellation);
            return std::make_unique<PngSink>(path, cancellation);
        case OutputKind::Unknown:
            break;
    }
    return nullptr;
}

}  // namespace plexa
