// YUV4MPEG streams as the tests write and read them, on their own and without FFmpeg.
#include "Y4m.h"

#include <cstdio>
#include <fstream>
#include <iterator>
#include <random>

namespace plexa::test {
namespace {

constexpr const char* kFrameMark = "FRAME\n";
constexpr size_t kFrameMarkSize = 6;

size_t lumaSamples(const Y4m& video) {
    return static_cast<size_t>(video.width) * static_cast<size_t>(video.height);
}

size_t frameBytes(const Y4m& video) {
    const size_t chroma =
        static_cast<size_t>((video.width + 1) / 2) * static_cast<size_t>((video.height + 1) / 2);
    return (lumaSamples(video) + 2 * chroma) * (video.bits > 8 ? 2 : 1);
}

}  // namespace

Y4m noise(int width, int height, int bits, int frames) {
    Y4m video{width, height, bits, {}};
    std::minstd_rand random(static_cast<unsigned>(width * 7 + height * 3 + bits));
    for (int i = 0; i < frames; ++i) {
        std::string frame(frameBytes(video), '\0');
        for (size_t byte = 0; byte < frame.size(); ++byte) {
            // The upper byte of a sample of 10 bits has two of them.
            const bool isUpper = bits > 8 && byte % 2 == 1;
            frame[byte] = static_cast<char>((random() >> 8) & (isUpper ? 0x03 : 0xFF));
        }
        video.frames.push_back(std::move(frame));
    }
    return video;
}

Y4m greys(int width, int height, int frames) {
    Y4m video{width, height, 8, {}};
    for (int i = 0; i < frames; ++i) {
        std::string frame(frameBytes(video), static_cast<char>(128));
        frame.replace(0, lumaSamples(video), lumaSamples(video), static_cast<char>(16 + i));
        video.frames.push_back(std::move(frame));
    }
    return video;
}

std::string toText(const Y4m& video) {
    std::string text = "YUV4MPEG2 W" + std::to_string(video.width) + " H" +
                       std::to_string(video.height) + " F24000:1001 Ip A4:3 C" +
                       (video.bits > 8 ? "420p10 XYSCSS=420P10" : "420jpeg") + "\n";
    for (const std::string& frame : video.frames)
        text += kFrameMark + frame;
    return text;
}

Y4m fromText(const std::string& text) {
    Y4m video;
    const size_t headerEnd = text.find('\n');
    if (headerEnd == std::string::npos ||
        std::sscanf(text.c_str(), "YUV4MPEG2 W%d H%d", &video.width, &video.height) != 2) {
        return {};
    }
    video.bits = text.substr(0, headerEnd).find("C420p10") != std::string::npos ? 10 : 8;
    for (size_t at = headerEnd + 1; at < text.size();) {
        if (text.compare(at, kFrameMarkSize, kFrameMark) != 0) return {};
        video.frames.push_back(text.substr(at + kFrameMarkSize, frameBytes(video)));
        at += kFrameMarkSize + frameBytes(video);
    }
    return video;
}

void writeFile(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace plexa::test
