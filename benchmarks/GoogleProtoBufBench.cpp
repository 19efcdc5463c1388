#include "Families.h"
#include "Rows.h"

#include <common/GoogleProtoBuf.h>
#include <common/GoogleProtoBufParser.h>

#include <cstdio>
#include <fstream>
#include <string_view>

#if HAVE_PROTOBUF
#include <google/protobuf/compiler/parser.h>
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/io/zero_copy_stream_impl.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/wire_format_lite.h>
#endif
#if HAVE_PROTOZERO
#include <protozero/buffer_vector.hpp>
#include <protozero/varint.hpp>
#endif

namespace zor::common::bench {

namespace {

#if HAVE_PROTOBUF && HAVE_PROTOZERO
using google::protobuf::internal::WireFormatLite;
using google::protobuf::io::CodedOutputStream;

// An input is the values of one message, as a stream is opened for a message and not for a value. One message over and
// over has lengths that a branch predictor learns, as those of real messages; many messages have not.

constexpr std::size_t kValues = 1024;
constexpr std::size_t kTexts = 32;

using Numbers = std::vector<std::uint64_t>;
using Texts = std::vector<std::string>;

/// Messages of numbers that \a make draws from a generator.
template <class Make>
std::vector<Numbers> Messages(std::size_t count, Make make)
{
    return Inputs(
        [make](std::uint64_t random) {
            std::mt19937_64 more(random);
            Numbers numbers(kValues);
            for (std::uint64_t& number : numbers) number = make(more);
            return numbers;
        },
        count);
}

/// Numbers of any size, as many of 1 to 10 bytes.
std::uint64_t MixedNumber(std::mt19937_64& random)
{
    const std::uint64_t bits = random() % 64;
    return random() >> bits;
}

/// What fields of a schema have: numbers from 1 to 1,023, the most of them below 16.
std::uint64_t FieldNumber(std::mt19937_64& random)
{
    return 1 + (random() % 4 == 0 ? random() % 1023 : random() % 15);
}

std::vector<Texts> TextsOf(std::size_t size)
{
    return Inputs(
        [size](std::uint64_t random) { return Texts(kTexts, std::string(size, static_cast<char>('a' + random % 26))); },
        InputCount(size * kTexts));
}

std::string_view View(const unsigned char* bytes, std::size_t size)
{
    return {reinterpret_cast<const char*>(bytes), size};
}

/// Appends the values of a message to a vector that is used again.
template <class Encode>
auto Ours(Encode encode)
{
    return [encode, wire = std::vector<unsigned char>()](const auto& message) mutable {
        wire.clear();
        for (const auto& value : message) encode(value, wire);
        return View(wire.data(), wire.size());
    };
}

/// The same by a coded stream over a string that is used again.
template <class Encode>
auto ByCodedStream(Encode encode)
{
    return [encode, wire = std::string()](const auto& message) mutable {
        wire.clear();
        {
            google::protobuf::io::StringOutputStream strings(&wire);
            CodedOutputStream stream(&strings);
            for (const auto& value : message) encode(value, stream);
        }
        return std::string_view(wire);
    };
}

/// The same over an array that holds any message.
template <class Encode>
auto ByCodedStreamOverArray(Encode encode)
{
    return [encode, wire = std::vector<unsigned char>(1 << 16)](const auto& message) mutable {
        google::protobuf::io::ArrayOutputStream array(wire.data(), static_cast<int>(wire.size()));
        CodedOutputStream stream(&array);
        for (const auto& value : message) encode(value, stream);
        return View(wire.data(), static_cast<std::size_t>(stream.ByteCount()));
    };
}

template <class Encode>
auto ByProtozero(Encode encode)
{
    return [encode, wire = std::vector<char>()](const auto& message) mutable {
        wire.clear();
        for (const auto& value : message) encode(value, wire);
        return std::string_view(wire.data(), wire.size());
    };
}

/// Rows of numbers, which \a ours, \a stream and \a zero append.
template <class Make, class Encode, class Stream, class Zero>
void NumberRows(const std::string& name, Make make, Encode ours, Stream stream, Zero zero)
{
    for (const std::size_t messages : {1u, 64u}) {
        const std::string size = messages == 1 ? ", 1,024 values, learnt" : ", 65,536 values, 1,024 a message";
        Row(name + size, messages == 1 || name == "tag" ? 1.2 : 0.7, Messages(messages, make), Ours(ours))
            .Against("protobuf over a string", ByCodedStream(stream))
            .Against("protobuf over an array", ByCodedStreamOverArray(stream))
            .Against("protozero", ByProtozero(zero));
    }
}

void EncoderRows()
{
    NumberRows(
        "varint", MixedNumber,
        [](std::uint64_t value, auto& wire) { GoogleProtoBufEncoder::encodeUint64(value, wire); },
        [](std::uint64_t value, auto& stream) { stream.WriteVarint64(value); },
        [](std::uint64_t value, auto& wire) { protozero::add_varint_to_buffer(&wire, value); });
    NumberRows(
        "zigzag", MixedNumber,
        [](std::uint64_t value, auto& wire) {
            GoogleProtoBufEncoder::encodeSint64(static_cast<std::int64_t>(value), wire);
        },
        [](std::uint64_t value, auto& stream) {
            stream.WriteVarint64(WireFormatLite::ZigZagEncode64(static_cast<std::int64_t>(value)));
        },
        [](std::uint64_t value, auto& wire) {
            protozero::add_varint_to_buffer(&wire, protozero::encode_zigzag64(static_cast<std::int64_t>(value)));
        });
    NumberRows(
        "tag", FieldNumber,
        [](std::uint64_t value, auto& wire) {
            GoogleProtoBufEncoder::encodeTag(static_cast<std::uint32_t>(value), 2, wire);
        },
        [](std::uint64_t value, auto& stream) { stream.WriteTag(static_cast<std::uint32_t>(value) << 3 | 2); },
        [](std::uint64_t value, auto& wire) { protozero::add_varint_to_buffer(&wire, value << 3 | 2); });

    const auto stream = [](const std::string& value, auto& out) {
        out.WriteTag(1 << 3 | 2);
        out.WriteVarint32(static_cast<std::uint32_t>(value.size()));
        out.WriteString(value);
    };
    for (const std::size_t size : {20u, 1500u}) {
        Row("tag and string, 32 of " + std::to_string(size) + " bytes", size == 20 ? 1.2 : 1.1, TextsOf(size),
            Ours([](const std::string& value, auto& wire) {
                GoogleProtoBufEncoder::encodeTag(1, 2, wire);
                GoogleProtoBufEncoder::encodeString(value, wire);
            }))
            .Against("protobuf over a string", ByCodedStream(stream))
            .Against("protobuf over an array", ByCodedStreamOverArray(stream))
            .Against("protozero", ByProtozero([](const std::string& value, auto& wire) {
                         protozero::add_varint_to_buffer(&wire, 1 << 3 | 2);
                         protozero::add_varint_to_buffer(&wire, value.size());
                         wire.insert(wire.end(), value.begin(), value.end());
                     }));
    }
}
#else
void EncoderRows()
{
    for (const char* row : {"varint", "zigzag", "tag", "string"}) {
        ReportMissing(row, "protobuf and protozero");
        ReportSkipped(row);
    }
}
#endif

/// Messages of 8 fields, in the syntax that both readers know.
std::string Schema(std::size_t messages)
{
    std::string text;
    for (std::size_t i = 0; i < messages; ++i) {
        text += "// " + std::to_string(i) + "\nmessage Message" + std::to_string(i) + " {\n";
        for (int field = 1; field <= 8; ++field)
            text += "  optional uint32 field" + std::to_string(field) + " = " + std::to_string(field) + ";\n";
        text += "}\n";
    }
    return text;
}

/// A file that goes when it is no longer read.
class SchemaFile {
public:
    explicit SchemaFile(std::size_t messages) : mPath("zor-bench-" + std::to_string(messages) + ".proto")
    {
        std::ofstream(mPath) << Schema(messages);
    }
    SchemaFile(const SchemaFile&) = delete;
    SchemaFile& operator=(const SchemaFile&) = delete;
    ~SchemaFile() { std::remove(mPath.c_str()); }

    const std::string& Path() const { return mPath; }

private:
    std::string mPath;
};

using MessageInfos = std::vector<CGoogleProtoBufMessageInfo>;

MessageInfos Read(const std::string& path)
{
    MessageInfos messages;
    if (!CGoogleProtoBufParser().readProtoFile(path, messages)) messages.clear();
    return messages;
}

#if HAVE_PROTOBUF
class Quiet : public google::protobuf::io::ErrorCollector {
public:
    void AddError(int, int, const std::string&) override {}
};

/// What protobuf's own parser reads, from the same file.
struct Peer {
    google::protobuf::FileDescriptorProto file;
    bool good = false;

    explicit Peer(const std::string& path)
    {
        std::FILE* const in = std::fopen(path.c_str(), "r");
        if (!in) return;
        {
            google::protobuf::io::FileInputStream stream(fileno(in));
            Quiet quiet;
            google::protobuf::io::Tokenizer tokens(&stream, &quiet);
            good = google::protobuf::compiler::Parser().Parse(&tokens, &file);
        }
        std::fclose(in);
    }

    bool operator==(const MessageInfos& ours) const
    {
        if (!good || ours.size() != static_cast<std::size_t>(file.message_type_size())) return false;
        for (std::size_t i = 0; i < ours.size(); ++i) {
            const auto& message = file.message_type(static_cast<int>(i));
            if (ours[i].name != message.name()) return false;
            if (ours[i].fields.size() != static_cast<std::size_t>(message.field_size())) return false;
        }
        return true;
    }
};
#endif

void SchemaRows()
{
#if HAVE_PROTOBUF
    google::protobuf::SetLogHandler(nullptr); // which says of each file that it names no syntax
#endif
    for (const std::size_t messages : {10u, 1000u, 10000u}) {
        const auto file = std::make_shared<SchemaFile>(messages);
        Row row("schema, " + std::to_string(messages) + " messages", 0.1, std::vector<std::string>{file->Path()},
                [file](const std::string& path) { return Read(path); });
#if HAVE_PROTOBUF
        row.Against("protobuf", [](const std::string& path) { return Peer(path); });
#else
        row.Missing("protobuf");
#endif
    }
    Growth("schema, by messages", 500, [](std::size_t messages) {
        return [file = std::make_shared<SchemaFile>(messages)] { return Read(file->Path()); };
    });
}

} // namespace

void GoogleProtoBufRows()
{
    EncoderRows();
    SchemaRows();
}

} // namespace zor::common::bench
