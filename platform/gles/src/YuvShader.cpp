// YuvShader: the rewriting.
#include "YuvShader.h"

#include <algorithm>
#include <cstddef>
#include <initializer_list>

namespace android::host {
namespace {

using Tokens = std::vector<std::string_view>;

constexpr std::string_view kWordCharacters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_";

size_t endOfComment(std::string_view source, size_t start) {
    const bool isLine = source[start + 1] == '/';
    const size_t end = source.find(isLine ? "\n" : "*/", start + 2);
    return end == source.npos ? source.size() : end + (isLine ? 1 : 2);
}

// Words and single characters, without space and comments; views of the source.
Tokens tokensOf(std::string_view source) {
    Tokens tokens;
    for (size_t at = source.find_first_not_of(" \t\r\n"); at < source.size();
         at = source.find_first_not_of(" \t\r\n", at)) {
        const std::string_view rest = source.substr(at);
        if (rest.starts_with("//") || rest.starts_with("/*")) {
            at = endOfComment(source, at);
            continue;
        }
        const size_t word = std::min(rest.find_first_not_of(kWordCharacters), rest.size());
        tokens.push_back(rest.substr(0, std::max<size_t>(word, 1)));
        at += tokens.back().size();
    }
    return tokens;
}

class Rewriter {
public:
    explicit Rewriter(std::string_view source) : mSource(source), mTokens(tokensOf(source)) {}

    HostShader rewrite() {
        for (size_t i = 0; i < mTokens.size(); ++i) {
            if (mTokens[i] == "#") {
                dropExtension(i);
            } else if (mTokens[i] == "uniform") {
                replaceDeclaration(i);
            } else if (mTokens[i] == "texture") {
                replaceCall(i);
            }
        }
        if (!mIsEnabled) return {.text = std::string(mSource), .yuvSamplers = {}};
        mText.append(mSource.substr(mCopied));
        return {.text = std::move(mText), .yuvSamplers = std::move(mNames)};
    }

private:
    std::string_view token(size_t i) const {
        return i < mTokens.size() ? mTokens[i] : std::string_view();
    }
    bool isAt(size_t i, std::initializer_list<std::string_view> words) const {
        return std::ranges::all_of(words,
                                   [&](std::string_view word) { return token(i++) == word; });
    }
    // Tokens first to last, both included, give way to the text and the line breaks between them.
    void replace(size_t first, size_t last, std::string_view text) {
        const auto start = static_cast<size_t>(mTokens[first].data() - mSource.data());
        const auto end =
            static_cast<size_t>(mTokens[last].data() - mSource.data()) + mTokens[last].size();
        mText.append(mSource.substr(mCopied, start - mCopied)).append(text);
        mText.append(
            static_cast<size_t>(std::ranges::count(mSource.substr(start, end - start), '\n')),
            '\n');
        mCopied = end;
    }
    void dropExtension(size_t i) {
        if (!isAt(i, {"#", "extension", "GL_EXT_YUV_target", ":"})) return;
        const std::string_view behaviour = token(i + 4);
        if (behaviour != "require" && behaviour != "enable" && behaviour != "warn") return;
        mIsEnabled = true;
        replace(i, i + 4, "");
    }
    void replaceDeclaration(size_t i) {
        size_t type = i + 1;
        if (token(type) == "lowp" || token(type) == "mediump" || token(type) == "highp") ++type;
        if (token(type) != "__samplerExternal2DY2YEXT" || token(type + 2) != ";") return;
        const std::string name(token(type + 1));
        const std::string chroma = chromaNameOf(name);
        // The precision is written out: the shader may set its default one further down.
        replace(i, type + 2,
                "uniform highp sampler2D " + name + "; uniform highp sampler2D " + chroma +
                    "; highp vec4 " + name + "_plexaSample(highp vec2 p) { return vec4(texture(" +
                    name + ", p).r, texture(" + chroma + ", p).rg, 1.0); }");
        mNames.push_back(name);
    }
    void replaceCall(size_t i) {
        if (token(i + 1) != "(" || token(i + 3) != ",") return;
        const auto name = std::ranges::find(mNames, token(i + 2));
        if (name != mNames.end()) replace(i, i + 3, *name + "_plexaSample(");
    }

    const std::string_view mSource;
    const Tokens mTokens;
    size_t mCopied = 0;  // characters of the source that are in the text
    std::string mText;
    std::vector<std::string> mNames;
    bool mIsEnabled = false;
};

}  // namespace

std::string chromaNameOf(std::string_view name) {
    return std::string(name) + "_plexaChroma";
}

HostShader rewriteYuvShader(std::string_view source) {
    return Rewriter(source).rewrite();
}

}  // namespace android::host
