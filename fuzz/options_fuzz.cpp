// The command's options: any words are parsed or refused with a reason.
#include <fuzzer/FuzzedDataProvider.h>

#include <string>
#include <vector>

#include "cli/ScaleCommand.h"
#include "cli/SnapshotCommand.h"
#include "job/CropArea.h"
#include "job/PictureSize.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    FuzzedDataProvider data(bytes, size);
    plexa::PictureSize picture;
    static_cast<void>(plexa::parseSize(data.ConsumeRandomLengthString(24), &picture));
    static_cast<void>(plexa::resolve(picture, data.ConsumeIntegralInRange(1, 16384),
                                     data.ConsumeIntegralInRange(1, 16384), &picture));
    plexa::CropArea crop;
    static_cast<void>(plexa::parseCrop(data.ConsumeRandomLengthString(24), &crop));
    const bool snaps = data.ConsumeBool();
    CLI::App program("", "plexa");
    plexa::ScaleCommand scale(&program);
    plexa::SnapshotCommand snapshot(&program);
    std::vector<std::string> words;
    while (data.remaining_bytes() > 0)
        words.push_back(data.ConsumeRandomLengthString(32));
    words.emplace_back(snaps ? "snapshot" : "scale");
    try {
        program.parse(words);
    } catch (const CLI::Error&) {
    }
    return 0;
}
