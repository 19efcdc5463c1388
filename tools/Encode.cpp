#include "Commands.h"
#include "Errors.h"

#include <common/GoogleProtoBuf.h>
#include <common/GoogleProtoBufParser.h>

#include <charconv>
#include <cstdio>
#include <string_view>

namespace zor::tools {

using namespace common;

namespace {

using Bytes = std::vector<unsigned char>;

/// Reads all of a text as one decimal number of the width of Number.
template <class Number>
bool ReadNumber(std::string_view text, Number& number)
{
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end;
}

bool ReadBool(std::string_view text, bool& value)
{
    value = text == "true" || text == "1";
    return value || text == "false" || text == "0";
}

/// Reads pairs of hexadecimal digits.
bool ReadHex(std::string_view text, Bytes& bytes)
{
    for (; !text.empty(); text.remove_prefix(2)) {
        unsigned char byte = 0;
        if (text.size() < 2) return false;
        const auto [stop, error] = std::from_chars(text.data(), text.data() + 2, byte, 16);
        if (error != std::errc() || stop != text.data() + 2) return false;
        bytes.push_back(byte);
    }
    return true;
}

constexpr std::uint32_t kVarint = 0;
constexpr std::uint32_t kLengthDelimited = 2;

/// Appends tag and value, if the text is a number of the type that the encoder takes.
template <class Number>
bool EncodeNumber(std::uint32_t number, std::string_view text, void (*encode)(const Number&, Bytes&), Bytes& wire)
{
    Number value = 0;
    if (!ReadNumber(text, value)) return false;
    GoogleProtoBufEncoder::encodeTag(number, kVarint, wire);
    encode(value, wire);
    return true;
}

/// Appends tag and value; false says that the value does not fit the type.
bool EncodeField(const CGoogleProtoBufFieldInfo& field, std::string_view text, Bytes& wire)
{
    const auto number = static_cast<std::uint32_t>(field.tag);
    switch (field.type) {
    case CGoogleProtoBufFieldInfo::TypeInt32:
        return EncodeNumber(number, text, GoogleProtoBufEncoder::encodeInt32, wire);
    case CGoogleProtoBufFieldInfo::TypeSint32:
        return EncodeNumber(number, text, GoogleProtoBufEncoder::encodeSint32, wire);
    case CGoogleProtoBufFieldInfo::TypeUint32:
        return EncodeNumber(number, text, GoogleProtoBufEncoder::encodeUint32, wire);
    case CGoogleProtoBufFieldInfo::TypeInt64:
        return EncodeNumber(number, text, GoogleProtoBufEncoder::encodeInt64, wire);
    case CGoogleProtoBufFieldInfo::TypeSint64:
        return EncodeNumber(number, text, GoogleProtoBufEncoder::encodeSint64, wire);
    case CGoogleProtoBufFieldInfo::TypeUint64:
        return EncodeNumber(number, text, GoogleProtoBufEncoder::encodeUint64, wire);
    case CGoogleProtoBufFieldInfo::TypeBool: {
        bool value = false;
        if (!ReadBool(text, value)) return false;
        GoogleProtoBufEncoder::encodeTag(number, kVarint, wire);
        GoogleProtoBufEncoder::encodeUint32(value ? 1 : 0, wire);
        return true;
    }
    case CGoogleProtoBufFieldInfo::TypeString:
        GoogleProtoBufEncoder::encodeTag(number, kLengthDelimited, wire);
        GoogleProtoBufEncoder::encodeString(std::string(text), wire);
        return true;
    default: {
        Bytes bytes;
        if (!ReadHex(text, bytes)) return false;
        GoogleProtoBufEncoder::encodeTag(number, kLengthDelimited, wire);
        GoogleProtoBufEncoder::encodeBytes(bytes, wire);
        return true;
    }
    }
}

/// The value of "name=value" if it is for the field.
bool IsFor(const CGoogleProtoBufFieldInfo& field, std::string_view argument, std::string_view& value)
{
    const std::size_t length = field.name.size();
    if (argument.size() <= length || argument.substr(0, length) != field.name || argument[length] != '=') return false;
    value = argument.substr(length + 1);
    return true;
}

/// What is wrong with an argument, whatever its value: it must be for one field. Empty if nothing is.
std::string CheckArgument(const CGoogleProtoBufMessageInfo& message, std::string_view argument)
{
    std::size_t fields = 0;
    std::string_view value;
    for (const CGoogleProtoBufFieldInfo& field : message.fields) fields += IsFor(field, argument, value) ? 1 : 0;
    if (fields == 1) return "";
    if (fields > 1) return "two fields of message \"" + message.name + "\" have one name";
    return "message \"" + message.name + "\" has no field for \"" + std::string(argument) + "\"";
}

/// Encodes the fields in the order of the schema; the result is what is wrong, empty if nothing is.
std::string EncodeMessage(const CGoogleProtoBufMessageInfo& message, const std::vector<std::string_view>& arguments,
                          Bytes& wire)
{
    for (const std::string_view argument : arguments) {
        if (std::string wrong = CheckArgument(message, argument); !wrong.empty()) return wrong;
    }
    for (const CGoogleProtoBufFieldInfo& field : message.fields) {
        std::size_t given = 0;
        for (const std::string_view argument : arguments) {
            std::string_view value;
            if (!IsFor(field, argument, value)) continue;
            ++given;
            if (given > 1 && !field.repeated) return "field \"" + field.name + "\" is given twice";
            if (field.tag < 1 || field.tag > 536870911) {
                return "field \"" + field.name + "\" has the number " + std::to_string(field.tag) +
                       ", which no message can carry";
            }
            if (!EncodeField(field, value, wire)) {
                return "\"" + std::string(value) + "\" does not fit field \"" + field.name + "\" of type " +
                       CGoogleProtoBufFieldInfo::fieldTypeToString(field.type);
            }
        }
        if (given == 0 && !field.optional && !field.repeated) return "required field \"" + field.name + "\" is missing";
    }
    return "";
}

void PrintDiagnostics(const std::vector<SchemaDiagnostic>& found, const std::string& path)
{
    for (const SchemaDiagnostic& each : found) {
        if (each.severity == SchemaDiagnostic::Severity::Note) continue;
        std::string lines = path;
        lines += ':' + std::to_string(each.line) + ':' + std::to_string(each.column);
        lines += each.severity == SchemaDiagnostic::Severity::Error ? ": error: " : ": warning: ";
        lines += each.message + '\n';
        if (!each.hint.empty()) lines += "  instead: " + each.hint + "\n";
        std::fputs(lines.c_str(), stderr);
    }
}

} // namespace

int Encode(Options& options)
{
    if (options.files.size() < 2) throw InputError("a schema file and a message name are needed");
    const std::string path = options.files[0];
    const std::string name = options.files[1];
    const std::vector<std::string_view> arguments(options.files.begin() + 2, options.files.end());

    std::vector<CGoogleProtoBufMessageInfo> messages;
    std::vector<SchemaDiagnostic> found;
    if (!CGoogleProtoBufParser().readProtoFile(path, messages, found)) {
        throw InputError("cannot open schema file \"" + path + "\"");
    }
    PrintDiagnostics(found, path);
    for (const CGoogleProtoBufMessageInfo& message : messages) {
        if (message.name != name) continue;
        Bytes wire;
        if (const std::string wrong = EncodeMessage(message, arguments, wire); !wrong.empty()) throw InputError(wrong);
        if (options.isRaw) {
            Print(std::string(wire.begin(), wire.end()));
            return 0;
        }
        std::string text = "TLV type: " + std::to_string(message.tlvType) + "\nbytes:";
        for (const unsigned char byte : wire) {
            text += ' ';
            text += "0123456789abcdef"[byte >> 4];
            text += "0123456789abcdef"[byte & 15];
        }
        Print(text + "\n");
        return 0;
    }
    throw InputError("schema file \"" + path + "\" has no message \"" + name + "\" that can be read");
}

} // namespace zor::tools
