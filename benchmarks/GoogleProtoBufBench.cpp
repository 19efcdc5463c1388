#include "Families.h"
#include "Rows.h"

#include <common/GoogleProtoBuf.h>
#include <common/GoogleProtoBufParser.h>

#include <array>
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

// An input is the values of one message, as a stream is opened for a message and not for a value.

constexpr std::size_t kValues = 32;

using Numbers = std::array<std::uint64_t, kValues>;
using Texts = std::vector<std::string>;

/// Numbers of any size, as many of 1 to 10 bytes.
std::vector<Numbers> MixedNumbers()
{
    return Inputs([](std::uint64_t random) {
        std::mt19937_64 more(random);
        Numbers numbers;
        for (std::uint64_t& number : numbers) {
            const std::uint64_t bits = more() % 64;
            number = more() >> bits;
        }
        return numbers;
    });
}

/// What fields of a schema have: numbers from 1 on, the most of them below 16.
std::vector<Numbers> FieldNumbers()
{
    return Inputs([](std::uint64_t random) {
        std::mt19937_64 more(random);
        Numbers numbers;
        for (std::uint64_t& number : numbers) number = 1 + (more() % 4 == 0 ? more() % 500 : more() % 15);
        return numbers;
    });
}

std::vector<Texts> TextsOf(std::size_t size)
{
    return Inputs(
        [size](std::uint64_t random) {
            return Texts(kValues, std::string(size, static_cast<char>('a' + random % 26)));
        },
        InputCount(size * kValues));
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

template <class Encode>
auto ByProtozero(Encode encode)
{
    return [encode, wire = std::vector<char>()](const auto& message) mutable {
        wire.clear();
        for (const auto& value : message) encode(value, wire);
        return std::string_view(wire.data(), wire.size());
    };
}

void EncoderRows()
{
    Row("varint, 32 values of 1 to 10 bytes", 1.5, MixedNumbers(),
        Ours([](std::uint64_t value, auto& wire) { GoogleProtoBufEncoder::encodeUint64(value, wire); }))
        .Against("protobuf", ByCodedStream([](std::uint64_t value, auto& stream) { stream.WriteVarint64(value); }))
        .Against("protozero",
                 ByProtozero([](std::uint64_t value, auto& wire) { protozero::add_varint_to_buffer(&wire, value); }));

    Row("zigzag, 32 values of 1 to 10 bytes", 1.5, MixedNumbers(), Ours([](std::uint64_t value, auto& wire) {
            GoogleProtoBufEncoder::encodeSint64(static_cast<std::int64_t>(value), wire);
        }))
        .Against("protobuf", ByCodedStream([](std::uint64_t value, auto& stream) {
                     stream.WriteVarint64(WireFormatLite::ZigZagEncode64(static_cast<std::int64_t>(value)));
                 }))
        .Against("protozero", ByProtozero([](std::uint64_t value, auto& wire) {
                     const auto number = static_cast<std::int64_t>(value);
                     protozero::add_varint_to_buffer(&wire, protozero::encode_zigzag64(number));
                 }));

    Row("tag, 32 fields", 1.5, FieldNumbers(), Ours([](std::uint64_t value, auto& wire) {
            GoogleProtoBufEncoder::encodeTag(static_cast<std::uint32_t>(value), 2, wire);
        }))
        .Against("protobuf", ByCodedStream([](std::uint64_t value, auto& stream) {
                     stream.WriteTag(static_cast<std::uint32_t>(value) << 3 | 2);
                 }))
        .Against("protozero", ByProtozero([](std::uint64_t value, auto& wire) {
                     protozero::add_varint_to_buffer(&wire, value << 3 | 2);
                 }));

    for (const std::size_t size : {20u, 1500u}) {
        Row("string, 32 of " + std::to_string(size) + " bytes", 1.2, TextsOf(size),
            Ours([](const std::string& value, auto& wire) { GoogleProtoBufEncoder::encodeString(value, wire); }))
            .Against("protobuf", ByCodedStream([](const std::string& value, auto& stream) {
                         stream.WriteVarint32(static_cast<std::uint32_t>(value.size()));
                         stream.WriteString(value);
                     }))
            .Against("protozero", ByProtozero([](const std::string& value, auto& wire) {
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

using Messages = std::vector<CGoogleProtoBufMessageInfo>;

Messages Read(const std::string& path)
{
    Messages messages;
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

    bool operator==(const Messages& ours) const
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
