// The outcome of an operation of the tool.
#pragma once

#include <string>
#include <utility>

namespace plexa {

/**
 * Done, or the one line that tells the user what went wrong: it names the file or option first and
 * the cause after it, without a final full stop.
 *
 * Threading: reentrant.
 */
class [[nodiscard]] Status {
public:
    /** The operation is done. */
    Status() = default;
    /** The operation failed; `text` must not be empty. */
    static Status error(std::string text) { return Status(std::move(text)); }

    bool isOk() const { return mText.empty(); }
    /** The line for the user; empty if the operation is done. */
    const std::string& text() const { return mText; }

private:
    explicit Status(std::string text) : mText(std::move(text)) {}

    std::string mText;
};

}  // namespace plexa
