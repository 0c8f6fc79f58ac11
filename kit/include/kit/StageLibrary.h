// StageLibrary: finds the stage behind a word of a chain, built in or in a shared object.
#pragma once

#include <string>
#include <vector>

#include "kit/StageSpec.h"

namespace plexa::kit {

/// One stage of a chain as it is written: "name[:arguments][+generator]". The name is "decompress",
/// "scale", or the path of a plug-in, which has a '/' or ends in ".so".
struct StageWord {
    std::string name;
    std::string arguments;
    std::string generator;
};

/// Splits "decompress ! ./libwatermark.so:text=demo ! scale:640x360". Generators are "base", "csc",
/// "filter" and "portrait". On an error `error` says what is wrong, and the result is of no use.
/// Threading: reentrant, as all here.
std::vector<StageWord> parseChain(const std::string& text, std::string* error);

/// How to make the stage. Loads a plug-in, for the rest of the process, and makes one stage to try
/// the arguments. On an error `error` names what is missing: the file, the entry point, the version
/// or an argument.
StageSpec findStage(const StageWord& word, std::string* error);

/// Both in one; empty on an error.
std::vector<StageSpec> findChain(const std::string& text, std::string* error);

}  // namespace plexa::kit
