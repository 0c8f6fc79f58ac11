// A stage to copy: set-up, work on one frame, and the entry point of a plug-in.
#define LOG_TAG "WatermarkStage"

#include "WatermarkStage.h"

#include <utils/Log.h>

#include <algorithm>
#include <cctype>
#include <cstring>

using namespace android;

namespace demo {

namespace {

// One buffer being filled, one on its way, one that the next stage reads.
constexpr int kOutputs = 3;

// Letters and digits; each octal digit is a row of three dots, the first one on top.
constexpr int kColumns = 3, kRows = 5;
constexpr int kLetters[] = {025755, 065656, 034443, 065556, 074647, 074644, 034553, 055755, 072227,
                            011152, 055655, 044447, 057755, 065555, 025552, 065644, 025563, 065655,
                            034216, 072222, 055557, 055552, 055775, 055255, 055222, 071247};
constexpr int kDigits[] = {075557, 026227, 061247, 061216, 055711,
                           074616, 034652, 071122, 025252, 025316};

bool isDotSet(char letter, int column, int row) {
    const int c = std::tolower(static_cast<unsigned char>(letter));
    const int dots = std::isdigit(c) ? kDigits[c - '0'] : std::islower(c) ? kLetters[c - 'a'] : 0;
    return dots >> (3 * (kRows - 1 - row) + kColumns - 1 - column) & 1;
}

struct Picture {
    uint8_t *luma = nullptr, *chroma = nullptr;
    size_t lumaStride = 0, chromaStride = 0;  // bytes
    int width = 0, height = 0;                // pixels
    int sampleBytes = 1;

    // False for a buffer whose pixels cannot be reached.
    bool open(const sp<APipeBuffer>& buffer) {
        uint8_t* unusedCr = nullptr;
        if (buffer->getYCbCr(&luma, &chroma, &unusedCr) != OK || luma == nullptr) return false;
        lumaStride = static_cast<size_t>(buffer->getStride());
        chromaStride = static_cast<size_t>(buffer->getCStride());
        width = buffer->getWidth();
        height = buffer->getHeight();
        const auto color = buffer->getColorFormat();
        sampleBytes = color == APipeBuffer::P010 || color == APipeBuffer::P010Venus ? 2 : 1;
        return true;
    }
    // Chroma lies in pairs, half as many a row and half as many rows, rounded up.
    void copyFrom(const Picture& from) const {
        const auto row = static_cast<size_t>(width * sampleBytes);
        const auto pairs = static_cast<size_t>((width + 1) / 2 * 2 * sampleBytes);
        for (size_t y = 0; y < static_cast<size_t>(height); ++y)
            memcpy(luma + y * lumaStride, from.luma + y * from.lumaStride, row);
        for (size_t y = 0; y < static_cast<size_t>((height + 1) / 2); ++y)
            memcpy(chroma + y * chromaStride, from.chroma + y * from.chromaStride, pairs);
    }
    void whiten(int x, int y) const {
        if (x >= width || y >= height) return;
        uint8_t* const at = luma + static_cast<size_t>(y) * lumaStride + x * sampleBytes;
        const uint16_t white = 940 << 6;  // of ten bits at the top of 16
        if (sampleBytes == 2) memcpy(at, &white, sizeof(white));
        if (sampleBytes == 1) *at = 235;
    }
};

}  // namespace

WatermarkStage::WatermarkStage(const sp<APipe>& next, const sp<AMessage>& notify,
                               plexa::kit::StageArguments& arguments)
    : APipe(next, notify, LOG_TAG),
      mText(arguments.text("text", "demo")),
      mDot(arguments.number("size", 4, 1, 100)) {}

void WatermarkStage::onInit(const sp<AMessage>& msg) {
    sp<AMessage> src;
    int32_t color = 0, width = 0, height = 0;
    const bool isWhole = msg->findMessage("src", &src) && src != nullptr &&
                         src->findInt32("colorformat", &color) && src->findInt32("width", &width) &&
                         src->findInt32("height", &height);
    const bool isDeep = color == APipeBuffer::P010Venus;
    if (!isWhole || (color != APipeBuffer::Nv12Venus && !isDeep)) {
        ALOGE("onInit takes Nv12Venus and P010Venus, not colour format %d", color);
        return notifyError(BAD_VALUE);
    }
    // Asking for a compressed format makes a pool of its plain one, in graphics memory.
    const auto pool = isDeep ? APipeBuffer::Tp10Ubwc : APipeBuffer::Nv12Ubwc;
    const status_t err = setBufferInfo(kOutputs, width, height, pool, false);
    if (err != OK) return notifyError(err);
    APipe::onInit(msg);  // last: it starts the next stage
}

void WatermarkStage::onWork() {
    workOnFirstItem([this](const APipeItem& item) { return mark(item); });
}

status_t WatermarkStage::mark(const APipeItem& item) const {
    Picture from, to;
    if (!from.open(item.mInput) || !to.open(item.mOutput) || from.width != to.width ||
        from.height != to.height || from.sampleBytes != to.sampleBytes) {
        ALOGE("onWork cannot copy its input to its output");
        return BAD_VALUE;
    }
    to.copyFrom(from);
    const int step = (kColumns + 1) * mDot, margin = 2 * mDot;
    for (int x = 0; x < static_cast<int>(mText.size()) * step; ++x) {
        for (int y = 0; y < kRows * mDot; ++y) {
            const int column = x % step / mDot;
            const char letter = mText[static_cast<size_t>(x / step)];
            if (column < kColumns && isDotSet(letter, column, y / mDot))
                to.whiten(margin + x, margin + y);
        }
    }
    return OK;
}

}  // namespace demo
