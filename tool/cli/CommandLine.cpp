// What the command lines of all subcommands share.
#include "cli/CommandLine.h"

#include <sys/stat.h>

#include <cstdio>

#include "base/Text.h"
#include "media/VideoFormat.h"

namespace plexa {
namespace {

std::string checkSize(const std::string& value) {
    PictureSize size;
    return parseSize(value, &size).text();
}

bool isSameFile(const std::string& one, const std::string& other) {
    struct stat first {};
    struct stat second {};
    return stat(one.c_str(), &first) == 0 && stat(other.c_str(), &second) == 0 &&
           S_ISREG(first.st_mode) && first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

}  // namespace

CLI::Option* addSizeOption(CLI::App* command, PictureSize* size, const std::string& purpose) {
    return command
        ->add_option_function<std::string>(
            "--size",
            [size](const std::string& value) {
                [[maybe_unused]] Status checked = parseSize(value, size);
            },
            text("WIDTHxHEIGHT of the %s, each %d to %d and at most %lld pixels in all; -1 for one "
                 "of them keeps the aspect",
                 purpose.c_str(), PictureSize::kMinSide, kMaxSide,
                 static_cast<long long>(kMaxPixels)))
        ->type_name("WxH")
        ->check(checkSize);
}

Status checkIsNotInput(const std::string& input, const std::string& output) {
    if (!isSameFile(input, output)) return {};
    return Status::error("OUTPUT: '" + output + "' is the input itself");
}

int fail(const Status& status, int exitStatus) {
    std::fprintf(stderr, "plexa: %s\n", status.text().c_str());
    return exitStatus;
}

}  // namespace plexa
