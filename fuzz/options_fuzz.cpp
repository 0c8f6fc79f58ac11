// The command's options: any words are parsed or refused with a reason.
#include <fuzzer/FuzzedDataProvider.h>

#include <string>
#include <vector>

#include "cli/Commands.h"
#include "job/Geometry.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    FuzzedDataProvider data(bytes, size);
    plexa::PictureSize picture;
    static_cast<void>(plexa::parseSize(data.ConsumeRandomLengthString(24), &picture));
    const plexa::PictureSize source{data.ConsumeIntegralInRange(1, 16384),
                                    data.ConsumeIntegralInRange(1, 16384)};
    const auto rule = data.ConsumeBool() ? plexa::SideRule::Any : plexa::SideRule::Even;
    static_cast<void>(plexa::resolve(picture, source, rule, &picture));
    plexa::CropArea crop;
    static_cast<void>(plexa::parseCrop(data.ConsumeRandomLengthString(24), &crop));
    const bool snaps = data.ConsumeBool();
    CLI::App program("", "plexa");
    plexa::VideoCommand run(&program, plexa::VideoCommand::Form::Run);
    plexa::VideoCommand scale(&program, plexa::VideoCommand::Form::Scale);
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
