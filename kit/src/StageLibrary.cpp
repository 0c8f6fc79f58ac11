// Stages by their names, and plug-ins by their paths.
#include <kit/StageLibrary.h>

#include <APipeDecompress.h>
#include <APipeScale.h>
#include <dlfcn.h>
#include <kit/StagePlugin.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>

namespace plexa::kit {

using android::AMessage;
using android::APipe;
using android::APipeBuffer;
using android::sp;

namespace {

constexpr std::array<const char*, 4> kGenerators = {"base", "csc", "filter", "portrait"};

struct Size {
    int width = 0;
    int height = 0;
};

// A scale stage with a size of its own, wherever it stands in a chain: its "dst" is that size, and
// what the stages after it hear of. Threading: as APipe.
class SizedScale : public android::APipeScale {
public:
    SizedScale(const sp<APipe>& next, const sp<AMessage>& notify, Size size)
        : APipeScale(next, notify), mSize(size) {}

protected:
    void onInit(const sp<AMessage>& msg) override {
        sp<AMessage> dst;
        if (msg->findMessage("dst", &dst) && dst != nullptr) msg->setMessage("dst", sized(dst));
        APipeScale::onInit(msg);
    }

private:
    sp<AMessage> sized(const sp<AMessage>& dst) const {
        const sp<AMessage> own = dst->dup();
        own->setInt32("width", mSize.width);
        own->setInt32("height", mSize.height);
        int32_t color = 0;
        dst->findInt32("colorformat", &color);
        // The pools in graphics memory, which the scaler takes, are those for compressed formats.
        if (mNextPipe != nullptr && color == APipeBuffer::Nv12Venus)
            own->setInt32("colorformat", APipeBuffer::Nv12Ubwc);
        if (mNextPipe != nullptr && color == APipeBuffer::P010Venus)
            own->setInt32("colorformat", APipeBuffer::Tp10Ubwc);
        return own;
    }

    const Size mSize;
};

std::string trimmed(const std::string& text) {
    const size_t first = text.find_first_not_of(' ');
    if (first == std::string::npos) return "";
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

bool parseSize(const std::string& text, Size* size) {
    const char* const end = text.data() + text.size();
    const auto [by, first] = std::from_chars(text.data(), end, size->width);
    if (first != std::errc() || by == end || *by != 'x') return false;
    const auto [rest, second] = std::from_chars(by + 1, end, size->height);
    return second == std::errc() && rest == end && size->width > 0 && size->height > 0;
}

StageWord parseWord(const std::string& text, std::string* error) {
    StageWord word;
    std::string rest = text;
    // A '+' inside arguments is theirs unless a generator's name follows.
    const size_t plus = rest.rfind('+');
    if (plus != std::string::npos) {
        word.generator = rest.substr(plus + 1);
        rest.resize(plus);
        if (std::ranges::find(kGenerators, word.generator) == kGenerators.end()) {
            *error = "'" + word.generator +
                     "' is no item generator: expected base, csc, filter or portrait";
        }
    }
    const size_t colon = rest.find(':');
    word.name = rest.substr(0, colon);
    if (colon != std::string::npos) word.arguments = rest.substr(colon + 1);
    if (word.name.empty()) *error = "a stage is missing in '" + text + "'";
    return word;
}

bool isPath(const std::string& name) {
    return name.find('/') != std::string::npos || name.ends_with(".so");
}

std::string nameOfFile(const std::string& path) {
    const std::string stem = std::filesystem::path(path).stem().string();
    return stem.starts_with("lib") ? stem.substr(3) : stem;
}

// Null, with the error, for what is no plug-in.
const StageEntry* load(const std::string& path, std::string* error) {
    // A name without a folder would be looked for among the system's libraries.
    const std::string file = path.find('/') == std::string::npos ? "./" + path : path;
    std::error_code missing;
    if (!std::filesystem::exists(file, missing)) {
        *error = path + ": there is no such file";
        return nullptr;
    }
    void* const library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (library == nullptr) {
        *error = path + ": cannot be loaded: " + dlerror();
        return nullptr;
    }
    const auto* const entry = static_cast<const StageEntry*>(dlsym(library, "plexa_stage"));
    if (entry == nullptr) {
        *error = path + ": has no entry point plexa_stage: PLEXA_STAGE(Class) is missing in it";
    } else if (entry->version != StageEntry::kVersion) {
        *error = path + ": its entry point has version " + std::to_string(entry->version) +
                 ", and not " + std::to_string(StageEntry::kVersion) + ": build it again";
        return nullptr;
    }
    return entry;
}

StageSpec findPlugin(const StageWord& word, std::string* error) {
    const StageEntry* const entry = load(word.name, error);
    if (entry == nullptr) return {};
    const auto make = [entry, text = word.arguments](const sp<APipe>& next,
                                                     const sp<AMessage>& notify) {
        StageArguments arguments(text);
        return entry->make(next, notify, arguments);
    };
    StageArguments arguments(word.arguments);
    const sp<APipe> trial = entry->make(nullptr, nullptr, arguments);
    const std::string wrong = arguments.error();
    if (!wrong.empty()) *error = word.name + ": " + wrong;
    return {nameOfFile(word.name), make, word.generator};
}

StageSpec findScale(const StageWord& word, std::string* error) {
    Size size;
    if (!parseSize(word.arguments, &size))
        *error = "scale:" + word.arguments + ": expected scale:WIDTHxHEIGHT, in pixels";
    return {"scale",
            [size](const sp<APipe>& next, const sp<AMessage>& notify) {
                return new SizedScale(next, notify, size);
            },
            word.generator};
}

}  // namespace

std::vector<StageWord> parseChain(const std::string& text, std::string* error) {
    std::vector<StageWord> words;
    error->clear();
    for (size_t at = 0; at <= text.size() && error->empty();) {
        const size_t end = std::min(text.find('!', at), text.size());
        words.push_back(parseWord(trimmed(text.substr(at, end - at)), error));
        at = end + 1;
    }
    return words;
}

StageSpec findStage(const StageWord& word, std::string* error) {
    error->clear();
    if (isPath(word.name)) return findPlugin(word, error);
    if (word.name == "scale") return findScale(word, error);
    if (word.name != "decompress") {
        *error = "'" + word.name +
                 "' is no stage: expected decompress, scale:WIDTHxHEIGHT or the "
                 "path of a plug-in";
    } else if (!word.arguments.empty()) {
        *error = "decompress takes no arguments, as '" + word.arguments + "'";
    }
    return stageOf<android::APipeDecompress>("decompress", word.generator);
}

std::vector<StageSpec> findChain(const std::string& text, std::string* error) {
    std::vector<StageSpec> stages;
    for (const StageWord& word : parseChain(text, error)) {
        if (error->empty()) stages.push_back(findStage(word, error));
    }
    if (!error->empty()) stages.clear();
    return stages;
}

}  // namespace plexa::kit
