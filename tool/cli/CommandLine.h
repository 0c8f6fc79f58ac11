// What the command lines of all subcommands share.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

#include "job/PictureSize.h"

namespace plexa {

/** The program's exit statuses. */
inline constexpr int kExitDone = 0;
inline constexpr int kExitFailed = 1;
inline constexpr int kExitUsage = 2;

/** What INPUT may be, for the help. */
inline constexpr const char* kInputs =
    "A video that FFmpeg's libraries decode, or - for YUV4MPEG on standard input";

/** Adds --size, which fills `size`. Threading: reentrant, like all functions here. */
CLI::Option* addSizeOption(CLI::App* command, PictureSize* size, const std::string& purpose);

/** An error of usage if `output` names the file that `input` does. */
Status checkIsNotInput(const std::string& input, const std::string& output);

/** Prints the one line of a failure; returns `exitStatus`. */
int fail(const Status& status, int exitStatus);

}  // namespace plexa
