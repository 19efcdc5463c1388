#include "support/EncoderChecks.h"
#include "support/Rows.h"

#include <common/GoogleProtoBuf.h>
#include <common/GoogleProtoBufMessageInfo.h>

#include <gtest/gtest.h>

#include <functional>
#include <locale>
#include <map>
#include <sstream>

using namespace zor::common;
using test::Rows;
using Encoder = GoogleProtoBufEncoder;
using FieldInfo = CGoogleProtoBufFieldInfo;
using Bytes = std::vector<unsigned char>;

namespace {

/// What a call appends, in hex, after checking that it leaves the bytes before alone.
template <class... Parameters, class... Arguments>
std::string Hex(void (*encode)(Parameters...), const Arguments&... arguments)
{
    Bytes out = {0xee, 0x80};
    encode(arguments..., out);
    EXPECT_EQ(Bytes(out.begin(), out.begin() + 2), (Bytes{0xee, 0x80}));
    std::ostringstream hex;
    for (std::size_t i = 2; i < out.size(); ++i) hex << std::hex << out[i] / 16 << out[i] % 16;
    return hex.str();
}

TEST(GoogleProtoBufEncoder, AppendsTheBytesOfTheTable)
{
    const auto number = [](const std::string& text) { return std::stoll(text, nullptr, 0); };
    const auto u64 = [](const std::string& text) { return std::stoull(text, nullptr, 0); };
    const auto u32 = [&](const std::string& text) { return static_cast<std::uint32_t>(u64(text)); };
    const auto data = [](const std::string& text) { return reinterpret_cast<const unsigned char*>(text.data()); };
    const std::map<std::string, std::function<std::string(const std::string&)>> calls = {
        {"uint64", [&](const std::string& s) { return Hex(Encoder::encodeUint64, u64(s)); }},
        {"uint32", [&](const std::string& s) { return Hex(Encoder::encodeUint32, u32(s)); }},
        {"int64", [&](const std::string& s) { return Hex(Encoder::encodeInt64, number(s)); }},
        {"int32", [&](const std::string& s) { return Hex(Encoder::encodeInt32, static_cast<int>(number(s))); }},
        {"sint64", [&](const std::string& s) { return Hex(Encoder::encodeSint64, number(s)); }},
        {"sint32", [&](const std::string& s) { return Hex(Encoder::encodeSint32, static_cast<int>(number(s))); }},
        {"string", [&](const std::string& s) { return Hex(Encoder::encodeString, s); }},
        {"bytes", [&](const std::string& s) { return Hex(Encoder::encodeBytes, Bytes(s.begin(), s.end())); }},
        {"tag", [&](const std::string& s) { return Hex(Encoder::encodeTag, u32(s.substr(2)), u32(s.substr(0, 1))); }},
        {"msb", [&](const std::string& s) { return Hex(Encoder::encodeMsbUint, data(s), unsigned(s.size())); }}};
    for (const auto& row : Rows("protobuf-wire.txt")) {
        EXPECT_EQ(calls.at(row[0])(row[1]), row[2]) << row[0] << ' ' << row[1];
    }
    EXPECT_EQ(Hex(Encoder::encodeMsbUint, static_cast<unsigned char*>(nullptr), 0u), "00");
    EXPECT_EQ(Hex(Encoder::encodeString, std::string(200, 'x')).substr(0, 6), "c80178");
}

TEST(GoogleProtoBufEncoder, AppendsAsOneByteAfterTheOther)
{
    test::Random random(51);
    for (int round = 0; round < 20000; ++round)
        ASSERT_NO_FATAL_FAILURE(test::CheckEncoder(random)) << "round " << round;
}

TEST(GoogleProtoBufFieldInfo, TableAndLookUpsAgreeOnNamesAndCodes)
{
    const auto rows = Rows("protobuf-types.txt");
    ASSERT_EQ(std::size(FieldInfo::FieldTypeDataLut), rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const auto code = static_cast<FieldInfo::FieldType>(std::stoi(rows[i][1]));
        EXPECT_EQ(FieldInfo::FieldTypeDataLut[i], std::pair(std::string_view(rows[i][0]), code));
        EXPECT_EQ(FieldInfo::stringToFieldType(rows[i][0]), code);
        EXPECT_EQ(FieldInfo::fieldTypeToString(code), rows[i][0]);
    }
    for (const std::string unknown : {"Int32", "int", "int320", " int32", ""}) {
        EXPECT_EQ(FieldInfo::stringToFieldType(unknown), 0) << unknown;
    }
    for (const int unknown : {13, -1, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(FieldInfo::fieldTypeToString(static_cast<FieldInfo::FieldType>(unknown)), "none") << unknown;
    }
}

TEST(GoogleProtoBufFieldInfo, RepeatedWinsAndResetKeepsTheTagAlone)
{
    FieldInfo field;
    EXPECT_EQ(field.tag, 0);
    std::ostringstream text;
    for (const bool optional : {false, true}) {
        for (const bool repeated : {false, true}) {
            field.name = "x", field.type = FieldInfo::TypeBool, field.tag = 7;
            field.optional = optional, field.repeated = repeated;
            field.protoIdlToStream(text);
            field.reset();
            EXPECT_TRUE(field.optional && !field.repeated);
            field.protoIdlToStream(text);
        }
    }
    const std::string reset = "  optional none =7;\n";
    EXPECT_EQ(text.str(), "  required bool x=7;\n" + reset + "  repeated bool x=7;\n" + reset +
                              "  optional bool x=7;\n" + reset + "  repeated bool x=7;\n" + reset);
}

/// A host program's locale that would print 1234567 as 1.234.567.
class Grouping : public std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

class CountingBuffer : public std::stringbuf {
public:
    int flushes = 0;

private:
    int sync() override { return flushes++, 0; }
};

TEST(GoogleProtoBufMessageInfo, WritesExactTextWhateverTheStreamIsSetTo)
{
    CountingBuffer buffer;
    std::ostream out(&buffer);
    out.imbue(std::locale(std::locale::classic(), new Grouping));
    out.width(30);
    out.fill('*');
    out.setf(std::ios::hex | std::ios::showpos | std::ios::left);
    CGoogleProtoBufMessageInfo message;
    EXPECT_EQ(&message.protoIdlToStream(out), &out);
    EXPECT_EQ(buffer.str(), "message  {\n}\n");
    EXPECT_EQ(buffer.flushes, 2);

    buffer.str("");
    message.name = "Sample", message.tlvType = 9, message.fields.resize(3);
    FieldInfo &length = message.fields[0], &both = message.fields[1];
    length.name = "len", length.type = FieldInfo::TypeInt32, length.optional = false, length.tag = 1234567;
    both.name = "both", both.type = FieldInfo::TypeNotch, both.repeated = true, both.tag = -2;
    message.protoIdlToStream(out);
    EXPECT_EQ(buffer.str(), "message Sample {\n  required int32 len=1234567;\n  repeated Notch both=-2;\n"
                            "  optional none =0;\n}\n");
    EXPECT_EQ(buffer.flushes, 7);
    message.reset();
    EXPECT_EQ(message.name, "");
    EXPECT_TRUE(message.fields.empty());
    EXPECT_EQ(message.tlvType, 1);
}

} // namespace
