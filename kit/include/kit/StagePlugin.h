// StagePlugin: what makes a stage of one's own a plug-in, loaded by its path.
//
// In one source of a shared object:
//
//     #include <kit/StagePlugin.h>
//     PLEXA_STAGE(android::WatermarkStage)
//
// The constructor takes what APipe's takes and, if the stage has arguments, a StageArguments&.
#pragma once

#include <APipe.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

namespace plexa::kit {

/// The arguments of a stage: "key=value", separated by commas. A stage asks for each key that it
/// knows, in its constructor; what is then left, or is no number where one is wanted, is an error
/// that whoever made the stage tells.
///
/// Threading: reentrant.
class StageArguments {
public:
    explicit StageArguments(const std::string& text) {
        for (size_t at = 0; at < text.size();) {
            const size_t end = std::min(text.find(',', at), text.size());
            const std::string part = text.substr(at, end - at);
            const size_t equals = part.find('=');
            if (equals == std::string::npos || equals == 0)
                complain("'" + part + "' is no key=value");
            mValues[part.substr(0, equals)] =
                equals == std::string::npos ? "" : part.substr(equals + 1);
            at = end + 1;
        }
    }

    std::string text(const std::string& key, const std::string& fallback) {
        mKnown.push_back(key);
        const auto found = mValues.find(key);
        return found != mValues.end() ? found->second : fallback;
    }

    /// Of `least` to `most`.
    int number(const std::string& key, int fallback, int least, int most) {
        const std::string value = text(key, std::to_string(fallback));
        int number = 0;
        const auto [rest, error] =
            std::from_chars(value.data(), value.data() + value.size(), number);
        const bool isWhole = error == std::errc() && rest == value.data() + value.size();
        if (isWhole && number >= least && number <= most) return number;
        complain(key + "=" + value + ": expected a number from " + std::to_string(least) + " to " +
                 std::to_string(most));
        return fallback;
    }

    /// For a value that the stage does not take. Keeps the first complaint.
    void complain(const std::string& what) {
        if (mError.empty()) mError = what;
    }

    /// What is wrong, empty if nothing is; asked once the stage is made.
    std::string error() const {
        if (!mError.empty()) return mError;
        std::string known;
        for (const std::string& key : mKnown)
            known += (known.empty() ? "" : ", ") + key;
        for (const auto& [key, value] : mValues) {
            if (std::find(mKnown.begin(), mKnown.end(), key) == mKnown.end())
                return "no argument '" + key + "'; there is " + (known.empty() ? "none" : known);
        }
        return "";
    }

private:
    std::map<std::string, std::string> mValues;
    std::vector<std::string> mKnown;
    std::string mError;
};

/// Makes a stage of the class, with its arguments if it takes any.
template <typename Stage>
android::sp<android::APipe> makeStage(const android::sp<android::APipe>& next,
                                      const android::sp<android::AMessage>& notify,
                                      StageArguments& arguments) {
    if constexpr (std::is_constructible_v<Stage, decltype(next), decltype(notify),
                                          StageArguments&>) {
        return new Stage(next, notify, arguments);
    } else {
        return new Stage(next, notify);
    }
}

/// The entry point of a plug-in. A loader reads the version before anything else.
struct StageEntry {
    /// Raised whenever a plug-in that was built before cannot be loaded any more.
    static constexpr int32_t kVersion = 1;

    int32_t version;
    android::sp<android::APipe> (*make)(const android::sp<android::APipe>& next,
                                        const android::sp<android::AMessage>& notify,
                                        StageArguments& arguments);
};

}  // namespace plexa::kit

/// Declares the entry point of a shared object: a stage of the class.
#define PLEXA_STAGE(Class)                                                                  \
    extern "C" {                                                                            \
    extern __attribute__((visibility("default"))) const plexa::kit::StageEntry plexa_stage; \
    const plexa::kit::StageEntry plexa_stage = {plexa::kit::StageEntry::kVersion,           \
                                                plexa::kit::makeStage<Class>};              \
    }
