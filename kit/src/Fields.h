// Fields: a report as text on its way from a child process to its parent.
#pragma once

#include <sstream>
#include <string>

namespace plexa::kit {

// No field contains it.
inline constexpr char kFieldEnd = '\x1f';

// Threading: reentrant, as FieldReader.
class FieldWriter {
public:
    template <typename T>
    FieldWriter& operator<<(const T& field) {
        mText << field << kFieldEnd;
        return *this;
    }
    std::string text() const { return mText.str(); }

private:
    std::ostringstream mText;
};

class FieldReader {
public:
    explicit FieldReader(const std::string& text) : mText(text) {}

    FieldReader& operator>>(std::string& field) {
        std::getline(mText, field, kFieldEnd);
        return *this;
    }
    template <typename T>
    FieldReader& operator>>(T& field) {
        std::string text;
        *this >> text;
        std::istringstream(text) >> field;
        return *this;
    }

private:
    std::istringstream mText;
};

}  // namespace plexa::kit
