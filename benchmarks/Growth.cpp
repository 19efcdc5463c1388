/// \file
/// How work grows with its input. Each step runs on each text that is meant for it, at one size and then at twice that,
/// and callgrind writes down how many instructions that took; tests/support/CheckGrowth.cmake compares the two.

#include "../tests/support/SchemaChecks.h"

#include <common/AddressRange.h>
#include <common/AddressText.h>
#include <common/CompiledTemplate.h>
#include <common/FieldExtractor.h>
#include <common/FrameBuilder.h>
#include <common/GoogleProtoBuf.h>
#include <common/Hexfield.h>
#include <common/Integer.h>
#include <common/Ipv6Address.h>
#include <common/MacroExpander.h>
#include <common/SequenceAudit.h>
#include <common/TemplateCheck.h>
#include <common/Traffic.h>
#include <common/Wildcards.h>
#include <common/WorldWideName.h>

#include <valgrind/callgrind.h>

#include <iostream>
#include <stdexcept>

using namespace zor::common;

namespace {

/// Instructions count as long as there is one of these.
struct Count {
    Count() { CALLGRIND_TOGGLE_COLLECT; }
    Count(const Count&) = delete;
    Count& operator=(const Count&) = delete;
    ~Count() { CALLGRIND_TOGGLE_COLLECT; }
};

/// A text: what is repeated, and what stands before and behind.
struct Shape {
    std::string piece, head = {}, tail = {};

    std::string Text(std::size_t size) const
    {
        std::string text = head;
        while (text.size() < size) text += piece;
        return text + tail;
    }
};

struct Step {
    const char* name;
    void (*run)(const std::string& text);
};

struct Group {
    std::vector<Step> steps;
    std::vector<Shape> shapes;
    std::size_t size = 32768; ///< So large that the part that grows faster is the larger one.
};

Wildcards Parsed(const std::string& text)
{
    Wildcards wildcards(text, "@");
    wildcards.ParseExpr();
    return wildcards;
}

/// Names 16 characters apart, in ascending or descending order.
std::string Assignments(std::size_t size, bool backwards)
{
    std::string list;
    for (std::size_t i = 0; i < size / 16; ++i) {
        list += std::to_string(backwards ? 9999999 - i : 1000000 + i) + "=7654321,";
    }
    return list;
}

/// Calls a step of the schema parser on a text until it fails.
template <class Call>
void Repeat(const std::string& text, Call call)
{
    std::stringstream stream(text);
    stream.imbue(std::locale::classic());
    CGoogleProtoBufParser parser;
    const Count count;
    while (call(parser, stream) && !stream.eof()) {
    }
}

const std::vector<Group> kGroups = {
    {{{"parse",
       [](auto& text) {
           Wildcards wildcards(text, "@");
           const Count count;
           try {
               wildcards.ParseExpr();
           } catch (const std::out_of_range&) { // a list that ends in delimiters
           }
       }},
      {"check",
       [](auto& text) {
           const Count count;
           const std::vector<TemplateDiagnostic> found = CheckTemplate(text);
           if (!found.empty()) ToText(found.back(), text, ""); // reads all of the text before its place
       }}},
     {{"1,,", "@x(", "1)"},
      {"@$(0,0,,1,ip)"},
      {"@x 28 31,29", "@h"},
      {"@h0 zz "},
      {"text "},
      {"@"},
      {"("},
      {"@("},
      {"@x("},
      {"@$("},
      {"@$(", "", ")"},
      {"@x"},
      {"@h"},
      {" ", "@x("},
      {",", "@x(1", ")"},
      {", ", "@x(", ",)"},
      {"1,", "@x(", "1)"},
      {"7", "@$(", ",0,1,big)"},
      {" 31 @x(1)", "@h"},
      {"3", "@h"},
      {"g", "@h"},
      {"4 0", "@h"},
      {"@", "@h"},
      {"@$(", "@h"},
      {"@x", "@h"}}},
    {{{"parse expressions",
       [](auto& text) {
           const Count count;
           Parsed(text);
       }},
      {"compile",
       [](auto& text) {
           const Count count;
           CompiledTemplate compiled(text);
       }},
      {"next value",
       [](auto& text) {
           Wildcards wildcards = Parsed(text);
           std::string out;
           const Count count;
           wildcards.GetNextValue(out);
       }},
      {"value at an index",
       [](auto& text) {
           Wildcards wildcards = Parsed(text);
           std::string out;
           const Count count;
           wildcards.GetValueAt(77, out, true);
       }}},
     {{"@x(1,9,1,4)abc"},
      {"@$(0A000001,5,0100,ipv4)"},
      {"@$(00112233445566778899,5,1,hex,1,0ff0)"},
      {"@m@v(1)@=(port)"},
      {"@_(1,2)text@x@_"},
      {"@_(0,0)"},
      {"@@"}}},
    {{{"compiled value",
       [](auto& text) {
           const CompiledTemplate compiled(text);
           std::string out;
           const Count count;
           compiled.GetValueAt(3, out);
       }},
      {"picture",
       [](auto& text) {
           const CompiledTemplate compiled(text);
           const Count count;
           for (const DiagramStyle style : {DiagramStyle::Rfc, DiagramStyle::Svg, DiagramStyle::Json})
               Diagram(compiled, style);
       }}},
     {{"@x(1,9,1,4)abc"},
      {"@x(1,19)"},
      {"@$(0A000001,5,0100,ipv4)"},
      {"@$(00112233445566778899,5,1,hex,1,0ff0)"},
      {"@m@v(1)@=(port)"},
      {"@_(1,2)text@x(1,19)@_"},
      {"7", "@$(", ",0,0fff,big)"}}},
    {{{"frame of tags and numbers", // four bytes a layer
       [](auto& text) {
           const Count count;
           FrameBuilder frame;
           frame.Ethernet(CMacAddress(1ul), CMacAddress(2ul));
           for (std::size_t i = 0; i < text.size(); i += 4) frame.Vlan(Counting<int>(1, 9));
           for (std::size_t i = 0; i < text.size(); i += 4) frame.Number(Counting<int>(1, 0));
           frame.Cross({"vlan#2.id", "number#3"}).Compile();
           if (frame.GetFlowCount() == 1) throw std::logic_error("fields are lost");
       }}},
     {{"text"}}},
    {{{"picture of a frame",
       [](auto& text) {
           FrameBuilder frame;
           for (std::size_t i = 0; i < text.size(); i += 4) frame.Number(Counting<int>(1, 9));
           const CompiledTemplate compiled = frame.Compile();
           const Count count;
           Diagram(compiled, DiagramStyle::Rfc);
       }}},
     {{"text"}},
     8192},
    {{{"frame of a list, taken apart again",
       [](auto& text) {
           const Count count;
           std::vector<CIpAddress> list;
           for (const char c : text)
               list.emplace_back(static_cast<std::uint32_t>(static_cast<unsigned char>(c) * list.size()));
           FrameBuilder frame;
           frame.Ethernet(CMacAddress(1ul), CMacAddress(2ul)).Ipv4(OneOf(list), CIpAddress(1u)).Bytes(text);
           std::string value;
           frame.Compile().GetValueAt(1, value);
           if (frame.GetFlowCount() == 0) throw std::logic_error("values are lost");
           FrameBuilder::FromPacket(reinterpret_cast<const unsigned char*>(value.data()), value.size()).Compile();
       }}},
     {{"text"}, {"a"}},
     8192},
    {{{"traffic of many parts",
       [](auto& text) {
           const CompiledTemplate part("@x(0,6,1)");
           std::vector<std::pair<CompiledTemplate, std::uint32_t>> weighted;
           for (std::size_t i = 0; i < text.size() / 16; ++i) weighted.emplace_back(part, 1 + i % 5);
           const Count count;
           const CompiledTemplate traffic = Shuffled(Joined({{Mix(weighted), 99}, {part, 1}}), IndexOrder(300, 1));
           SequenceAudit audit(traffic, {0, 9});
           std::string value;
           traffic.GetValueAt(5, value);
           audit.Add(value);
           if (!traffic.FindIndex(value)) throw std::logic_error("values are lost");
           Diagram(traffic, DiagramStyle::Rfc);
       }}},
     {{"text"}}},
    {{{"200 lengths",
       [](auto& text) {
           std::string all;
           for (int i = 0; i < 200; ++i) all += "@_(1,0)" + text.substr(0, text.size() / 200) + "@_";
           Wildcards wildcards = Parsed(all);
           std::string out;
           const Count count;
           wildcards.GetNextValue(out);
       }}},
     {{"text "}, {"@x"}},
     131072},
    {{{"variable list",
       [](auto& text) {
           Wildcards wildcards("", "@");
           const Count count;
           wildcards.AddVarList(text);
       }}},
     {{","}, {"="}, {" "}, {"a=b,"}, {"\\,", "a="}, {",", "a="}, {"a"}, {" a = b "}}},
    {{{"variables in order",
       [](auto& text) {
           Wildcards wildcards("", "@");
           const Count count;
           wildcards.AddVarList(Assignments(text.size(), false));
       }},
      {"variables backwards",
       [](auto& text) {
           Wildcards wildcards("", "@");
           const Count count;
           wildcards.AddVarList(Assignments(text.size(), true));
       }}},
     {{" "}}},
    {{{"macro",
       [](auto& text) {
           CMacroVarMapResolver variables;
           variables.SetValue("name", "value");
           CMacroExpander expander(&variables);
           std::string value, error;
           const Count count;
           if (!expander.EvalExpr(text, value, error)) expander.ParseExpr(text, error);
           expander.GetValue(value);
           CheckMacro(text, &variables);
       }}},
     {{"text"},
      {"$"},
      {"$ "},
      {"$a$"},
      {"("},
      {")"},
      {"$("},
      {"$()"},
      {"$name "},
      {"a$(name)"},
      {"$(none)"},
      {"x", "$("},
      {"$", "$("}}},
    {{{"schema file",
       [](auto& text) {
           const test::SchemaFile file(text);
           std::vector<test::MessageInfo> messages;
           const Count count;
           CGoogleProtoBufParser().readProtoFile(file.path, messages);
       }},
      {"schema blocks",
       [](auto& text) {
           const test::SchemaFile file(text);
           std::ifstream stream(file.path);
           std::stringstream block;
           const Count count;
           while (CGoogleProtoBufParser().readMessage(stream, block)) {
           }
       }}},
     {{"// 7\nmessage A {\nrequired int32 x = 1;\n}\n"},
      {"// 7\nmessage A {\nint32 }\n"},
      {"bool x=1;", "// 7\nmessage A {", "}"},
      {"bool x=1; // 1\n", "// 7\nmessage A {", "}"},
      {"x", "// 7\nmessage A {bool ", "=1;}"},
      {"{", "// 7\nmessage A ", "}"},
      {"7\n//", "// 7\n//", "\nmessage A {}"},
      {"\n", "// 7\nmessage A {", "}"},
      {" ", "//", "7\nmessage A {bool x=1;}"},
      {"package\n"},
      {"//"},
      {"\n"},
      {"m\n", "// 7\n", "}\n"},
      {"/\n", "// 7\n", "}\n"}},
     32768},
    {{{"what is said of a schema file",
       [](auto& text) {
           const test::SchemaFile file(text);
           std::vector<test::MessageInfo> messages;
           std::vector<SchemaDiagnostic> found;
           const Count count;
           CGoogleProtoBufParser().readProtoFile(file.path, messages, found);
       }}},
     {{"// 7\nmessage A {\nrequired int32 x = 1;\n}\n"},
      {"// 7\nmessage A {\nint32 }\n"},
      {"bool x=1;", "// 7\nmessage A {", "}"},
      {"\n"},
      {"m\n", "// 7\n", "}\n"},
      {"/\n", "// 7\n", "}\n"}}},
    {{{"schema file that would take minutes",
       [](auto& text) {
           const test::SchemaFile file(text);
           std::vector<test::MessageInfo> messages;
           const Count count;
           CGoogleProtoBufParser().readProtoFile(file.path, messages);
       }}},
     {{"}", "// 7\nmessage A {bool x=1;"}, {"\n", "", "word\n// 7\nmessage A {bool x=1;}"}},
     8192},
    {{{"fields of a stream",
       [](auto& text) {
           test::FieldInfo field;
           Repeat(text, [&](auto& parser, auto& in) { return parser.parseFieldFromStream(in, field); });
       }}},
     {{"bool x=1;"}, {" "}, {"/"}, {"x", "bool "}}},
    {{{"messages of a stream",
       [](auto& text) {
           test::MessageInfo message;
           Repeat(text, [&](auto& parser, auto& in) { return parser.parseMessageFromStream(in, message); });
       }}},
     {{"// 7\nmessage A{bool x=1;}"}, {"bool x=1;", "message A{"}, {" "}, {"/"}, {"//\n"}}},
    {{{"TLV type of a stream",
       [](auto& text) {
           std::int32_t tlv = 0;
           Repeat(text, [&](auto& parser, auto& in) { return parser.parseTlvTypeFromStream(in, tlv), false; });
       }}},
     {{" "}, {"/"}, {"//\n"}, {"m\n"}, {"x ", "//", "7\nmessage"}}},
    {{{"Hexfield text",
       [](auto& text) {
           const Count count;
           const Hexfield field(text);
           Hexfield other;
           std::stringstream stream;
           stream << field;
           stream >> other;
       }},
      {"Hexfield arithmetic",
       [](auto& text) {
           const Hexfield field(text, true, true);
           const Count count;
           Hexfield other = ((field + field * 3) & ~field) | -field;
           other -= field;
           other.normalize(static_cast<unsigned short>(2 * text.size() - 1));
           if (other < field || field != other) other += field;
       }}},
     {{"7"}, {"f"}, {"\xff"}, {"0"}, {"0x 12"}, {"a:"}},
     16384},
    {{{"Hexfield mask",
       [](auto& text) {
           Hexfield field(text, true, true);
           const Count count;
           field.MaskMultiply(7, field);
       }}},
     {{"f"}, {"\xff"}},
     4096},
    {{{"address text",
       [](auto& text) {
           std::string error;
           const Count count;
           CIpAddress().CopyFromString(text, &error);
           CIpv6Address().CopyFromString(text, &error);
           CMacAddress().CopyFromString(text, &error);
           CWorldWideName().CopyFromString(text, &error);
           Integer::StrToUint64(text.c_str(), nullptr, 0);
       }}},
     {{" "}, {"0"}, {":"}, {"."}, {"7:"}, {"7."}, {"0", "1.2.3."}, {"0", "1:2::"}}},
    {{{"strict address text",
       [](auto& text) {
           [[maybe_unused]] volatile TextFault fault; // without which the compiler sees that nothing is done
           const auto read = [&](auto address) {
               fault = FromChars(text.data(), text.data() + text.size(), address).fault;
           };
           const Count count;
           read(Prefix<CIpAddress>());
           read(Prefix<CIpv6Address>());
           read(Prefix<CMacAddress>());
           read(Prefix<CWorldWideName>());
       }}},
     {{"0"}, {"7:"}, {":", "::"}, {"0", "1.2.3."}, {" ", "", "/8"}}},
    {{{"networks summarised",
       [](auto& text) {
           std::vector<AddressRange<CIpv6Address>> ranges;
           for (std::size_t i = 0; i < text.size(); ++i) {
               const std::uint64_t number = i * 0x9e3779b97f4a7c15; // in no order
               ranges.push_back(AddressRange<CIpv6Address>::Network({number, number}, 48 + text[i] % 80));
           }
           const Count count;
           Summarize(std::move(ranges));
       }}},
     {{"07ZxG"}},
     16384},
    {{{"encode and extract",
       [](auto& text) {
           std::vector<unsigned char> bytes, fields;
           const Count count;
           for (std::size_t i = 0; i < text.size() / 64; ++i)
               GoogleProtoBufEncoder::encodeString(text.substr(0, 64), bytes);
           for (unsigned int i = 0; i < text.size() / 8; ++i) FieldExtractor(i, 61).ExtractField(bytes, fields, true);
       }}},
     {{"text"}}},
};

} // namespace

int main()
{
    for (const Group& group : kGroups) {
        for (const Step& step : group.steps) {
            for (const Shape& shape : group.shapes) {
                for (const std::size_t size : {group.size, 2 * group.size}) {
                    const std::string text = shape.Text(size);
                    std::string name = step.name + (" \"" + shape.head + '|' + shape.piece + '|' + shape.tail + "\" ");
                    for (char& c : name) c = c < ' ' || c > '~' ? '?' : c;
                    name += std::to_string(size);
                    step.run(text);
                    CALLGRIND_DUMP_STATS_AT(name.c_str());
                }
            }
        }
    }
}
