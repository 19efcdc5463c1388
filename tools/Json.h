#ifndef ZOR_COMMON_TOOLS_JSON_H
#define ZOR_COMMON_TOOLS_JSON_H

/// \file
/// Json, a writer of JSON text.

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>

namespace zor::tools {

/// Writes objects and lists with their values. Values of an object have names, values of a list have none.
class Json {
public:
    Json& Open(char bracket, std::string_view name = {}) ///< "{" or "[".
    {
        Start(name);
        mText += bracket;
        mIsFirst = true;
        return *this;
    }
    Json& Close(char bracket) ///< "}" or "]".
    {
        mText += bracket;
        mIsFirst = false;
        return *this;
    }
    Json& Add(std::string_view name, std::string_view value)
    {
        Start(name);
        Quote(value);
        return *this;
    }
    Json& Add(std::string_view name, const char* value) { return Add(name, std::string_view(value)); }
    Json& Add(std::string_view name, std::same_as<bool> auto value) { return AddWord(name, value ? "true" : "false"); }
    Json& Add(std::string_view name, std::uint64_t value) { return AddWord(name, std::to_string(value)); }
    Json& AddNothing(std::string_view name) { return AddWord(name, "null"); }

    const std::string& GetText() const noexcept { return mText; }

private:
    Json& AddWord(std::string_view name, std::string_view word)
    {
        Start(name);
        mText += word;
        return *this;
    }

    void Start(std::string_view name)
    {
        if (!mIsFirst) mText += ", ";
        mIsFirst = false;
        if (name.empty()) return;
        Quote(name);
        mText += ": ";
    }

    /// Bytes above 127 are written as Latin-1 characters, so that any bytes give valid JSON.
    void Quote(std::string_view text)
    {
        mText += '"';
        for (const char c : text) {
            const auto byte = static_cast<unsigned char>(c);
            if (c == '"' || c == '\\') mText += '\\';
            if (byte >= ' ' && byte < 0x7f) {
                mText += c;
            } else {
                mText += "\\u00";
                mText += "0123456789abcdef"[byte >> 4];
                mText += "0123456789abcdef"[byte & 15];
            }
        }
        mText += '"';
    }

    std::string mText;
    bool mIsFirst = true;
};

} // namespace zor::tools

#endif // ZOR_COMMON_TOOLS_JSON_H
