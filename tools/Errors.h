#ifndef ZOR_COMMON_TOOLS_ERRORS_H
#define ZOR_COMMON_TOOLS_ERRORS_H

/// \file
/// What a sub-command throws. Each of these ends the program with status 2 and one line on standard error.

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <utility>

namespace zor::tools {

/// A mistake in what the user has asked for, or in what there is to work on.
class InputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A mistake at a place of a text, which is shown below the line.
class PlacedError : public InputError {
public:
    /// \param pos  the first byte that is meant, of the text that SetText() names later.
    PlacedError(const std::string& message, std::size_t pos, std::size_t len)
        : InputError(message), mPos(pos), mLen(len)
    {
    }

    void SetText(std::string text) { mText = std::move(text); } ///< The text that holds the place.

    /// The line with the place, and carets below it; at most 100 bytes of the line.
    std::string Show() const
    {
        const std::size_t start = mPos == 0 ? 0 : mText.rfind('\n', mPos - 1) + 1; // npos + 1 is 0
        const std::size_t from = mPos - start > 60 ? mPos - 40 : start;
        std::string line = mText.substr(from, std::min(mText.find('\n', from), mText.size()) - from).substr(0, 100);
        for (char& c : line) {
            if (static_cast<unsigned char>(c) < ' ') c = '?';
        }
        const std::size_t most = line.size() > mPos - from ? line.size() - (mPos - from) : 1;
        const std::size_t carets = std::max<std::size_t>(1, std::min(mLen, most));
        return "  " + line + "\n  " + std::string(mPos - from, ' ') + std::string(carets, '^') + "\n";
    }

private:
    std::size_t mPos, mLen;
    std::string mText;
};

} // namespace zor::tools

#endif // ZOR_COMMON_TOOLS_ERRORS_H
