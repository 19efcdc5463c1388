#ifndef ZOR_COMMON_TESTS_SCHEMA_MODEL_H
#define ZOR_COMMON_TESTS_SCHEMA_MODEL_H

/// \file
/// The steps of schema reading in plain stream calls.

#include <common/GoogleProtoBufMessageInfo.h>

#include <cstdint>
#include <cstdlib>
#include <istream>
#include <string>
#include <vector>

namespace zor::common::test {

using FieldInfo = CGoogleProtoBufFieldInfo;
using MessageInfo = CGoogleProtoBufMessageInfo;

namespace plain {

inline bool Token(std::istream& in, const std::string& token)
{
    const auto start = in.tellg();
    std::size_t matched = 0;
    while (matched < token.size() && !in.eof()) {
        char c = '\0';
        if (!(in >> c)) break;
        if (c == token[matched]) {
            ++matched;
        } else if (matched > 0 || (c != '\t' && c != '\n' && c != ' ')) {
            break;
        }
    }
    if (matched == token.size()) return true;
    if (in.eof()) in.clear();
    in.seekg(start);
    return false;
}

inline bool Word(std::istream& in, std::string& word)
{
    if (in.eof()) return false;
    if (!(in >> word)) word.clear();
    const std::size_t length = word.find_first_of("={};");
    if (length != std::string::npos) {
        if (in.eof()) in.clear();
        in.seekg(static_cast<std::streamoff>(length) - static_cast<std::streamoff>(word.size()), std::ios::cur);
        word.resize(length);
    }
    return !word.empty();
}

inline bool Line(std::istream& in)
{
    std::string line;
    return static_cast<bool>(std::getline(in, line));
}

inline bool Tlv(std::istream& in, std::int32_t& tlv)
{
    std::vector<std::streampos> comments;
    while (!in.eof() && !Token(in, "message")) {
        const bool comment = Token(in, "//");
        if (!comment) comments.clear();
        if (comment) comments.push_back(in.tellg());
        if (!Line(in)) return false;
    }
    if (comments.empty()) return false;
    in.seekg(comments[0]);
    std::string word;
    do {
        if (!Word(in, word)) return false;
    } while (word.find_first_not_of("0123456789") != std::string::npos);
    tlv = std::atoi(word.c_str());
    return true;
}

inline bool Field(std::istream& in, FieldInfo& field)
{
    field.reset();
    if (!Token(in, "optional")) {
        field.optional = !Token(in, "required");
        field.repeated = field.optional && Token(in, "repeated");
    }
    std::string word;
    if (!Word(in, word)) return false;
    field.type = FieldInfo::stringToFieldType(word);
    if (field.type == FieldInfo::TypeNone || !Word(in, word)) return false;
    field.name = word;
    if (!Token(in, "=") || !Word(in, word)) return false;
    field.tag = std::atoi(word.c_str());
    return Token(in, ";");
}

inline bool Message(std::istream& in, MessageInfo& message)
{
    message.reset();
    std::string word;
    while (true) {
        if (in.eof()) return true;
        if (Token(in, "message")) break;
        if (!Token(in, "//")) {
            Word(in, word);
            return false;
        }
        if (!Line(in)) return false;
    }
    if (!Word(in, word)) return false;
    message.name = word;
    if (!Token(in, "{")) return false;
    FieldInfo field;
    while (!in.eof()) {
        if (!Field(in, field)) return false;
        message.fields.push_back(field);
        if (Token(in, "}")) return true;
        if (Token(in, "//") && !Line(in)) return false;
    }
    return true;
}

inline bool Type(std::istream& in, FieldInfo::FieldType& type, std::string* error = nullptr)
{
    std::string word;
    const bool read = Word(in, word);
    if (read) type = FieldInfo::stringToFieldType(word);
    const bool valid = read && type != FieldInfo::TypeNone;
    if (!read && error) *error = "ParseType failed to read a word";
    if (read && !valid && error) *error = "ParseType Failed to convert \"" + word + "\" to FieldType";
    return valid;
}

} // namespace plain

} // namespace zor::common::test

#endif // ZOR_COMMON_TESTS_SCHEMA_MODEL_H
