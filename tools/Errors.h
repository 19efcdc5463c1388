#ifndef ZOR_COMMON_TOOLS_ERRORS_H
#define ZOR_COMMON_TOOLS_ERRORS_H

/// \file
/// The exceptions of sub-commands. Each ends the program with status 2 and its message on standard error.

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <utility>

namespace zor::tools {

/// A mistake in the command line or in the input.
class InputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A mistake at a place in a text, which is marked below the line.
class PlacedError : public InputError {
public:
    /// \param pos  offset of the first byte concerned, in the text that SetText() sets later.
    PlacedError(const std::string& message, std::size_t pos, std::size_t len)
        : InputError(message), mPos(pos), mLen(len)
    {
    }

    void SetText(std::string text) { mText = std::move(text); } ///< Sets the text with the mistake.

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
