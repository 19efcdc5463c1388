#include "Template.h"

#include "Errors.h"
#include "Frames.h"
#include "Layers.h"
#include "Order.h"

#include <common/AddressText.h>
#include <common/ChecksumField.h>
#include <common/TemplateCheck.h>
#include <common/Traffic.h>

#include <pybind11/stl.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <stdexcept>
#include <string_view>

namespace zor::python {

using namespace common;

namespace {

constexpr std::uint64_t kMost32 = 0xffffffff;

// Templates are made of recipes alone, so that one that was pickled is made in the same way.

void ApplyMac(Wildcards& source, const MacCounter& mac)
{
    const auto bytes = [](const std::string& text) { return reinterpret_cast<const unsigned char*>(text.data()); };
    source.SetEtherParams(bytes(mac.address), bytes(mac.step), bytes(mac.mask), static_cast<unsigned int>(mac.repeat));
}

Wildcards MakeSource(const std::string& text, const TextSettings& settings)
{
    Wildcards source(text, settings.marker);
    for (const auto& [name, value] : settings.variables) source.AddVar(name, value);
    if (settings.mac) ApplyMac(source, *settings.mac);
    source.SetVlanTagCount(static_cast<unsigned char>(settings.vlan.size()));
    for (std::size_t i = 0; i < settings.vlan.size(); ++i) {
        const Counter& tag = settings.vlan[i];
        source.SetVlanParams(static_cast<unsigned char>(i + 1), static_cast<unsigned int>(tag.start),
                             static_cast<unsigned int>(tag.step), static_cast<unsigned int>(tag.repeat),
                             static_cast<unsigned int>(tag.count));
    }
    const auto set = [&source](const std::optional<Counter>& counter, auto setter) {
        if (!counter) return;
        const auto narrow = [](std::uint64_t number) { return static_cast<unsigned short>(number); };
        (source.*setter)(narrow(counter->start), narrow(counter->step), narrow(counter->repeat),
                         narrow(counter->count));
    };
    set(settings.vpi, &Wildcards::SetVpiParams);
    set(settings.vci, &Wildcards::SetVciParams);
    source.SetFirstBase(static_cast<unsigned int>(settings.base));
    source.SetSecondBase(static_cast<unsigned int>(settings.secondBase));
    return source;
}

CompiledTemplate CompileText(const Wildcards& source, const Recipe& recipe)
{
    try {
        CompiledTemplate plain(source);
        if (!recipe.settings.hasChecksums) return plain;
        if (!plain.IsFixedSize()) throw tools::InputError("checksums need a template whose values all have one size");
        std::string value;
        plain.GetValueAt(0, value);
        const auto found = FindChecksums(reinterpret_cast<const unsigned char*>(value.data()), value.size());
        if (found.empty()) throw tools::InputError("the first value has no header with a checksum");
        return CompiledTemplate(source, found);
    } catch (const std::out_of_range& error) {
        std::string text = error.what();
        for (const TemplateDiagnostic& found : CheckTemplate(source)) {
            if (found.severity != TemplateDiagnostic::Severity::Error) continue;
            text += '\n' + ToText(found, recipe.text, "template");
        }
        throw tools::InputError(text);
    }
}

FrameBuilder MakeFrame(const Recipe& recipe)
{
    FrameBuilder frame =
        recipe.kind == Recipe::Kind::Frame
            ? tools::ReadLayers(recipe.text)
            : FrameBuilder::FromPacket(reinterpret_cast<const unsigned char*>(recipe.text.data()), recipe.text.size());
    for (const std::string& vary : recipe.varied) tools::VaryField(frame, vary);
    for (const std::vector<std::string>& names : recipe.crossed) frame.Cross(names);
    return frame;
}

template <class Weight>
std::vector<std::pair<CompiledTemplate, Weight>> CompiledParts(const Recipe& recipe)
{
    std::vector<std::pair<CompiledTemplate, Weight>> parts;
    for (const auto& [part, weight] : recipe.parts) {
        parts.emplace_back(part.compiled, static_cast<Weight>(std::min<std::uint64_t>(weight, Weight(-1))));
    }
    return parts;
}

Template Make(Recipe recipe)
{
    const auto compile = [&recipe]() -> CompiledTemplate {
        switch (recipe.kind) {
        case Recipe::Kind::Text:
            recipe.source = MakeSource(recipe.text, recipe.settings);
            return CompileText(*recipe.source, recipe);
        case Recipe::Kind::Mix: return Mix(CompiledParts<std::uint32_t>(recipe));
        case Recipe::Kind::Joined: return Joined(CompiledParts<std::uint64_t>(recipe));
        case Recipe::Kind::Shuffled:
            return Shuffled(recipe.parts.at(0).first.compiled, IndexOrder(recipe.orderSize, recipe.orderSeed));
        default: recipe.frame = MakeFrame(recipe); return recipe.frame->Compile();
        }
    };
    const CompiledTemplate compiled = compile();
    return {compiled, std::make_shared<const Recipe>(std::move(recipe))};
}

// From Python to recipes.

std::string TextOf(const py::handle& object)
{
    if (py::isinstance<py::str>(object) || py::isinstance<py::bytes>(object)) return object.cast<std::string>();
    return py::str(object);
}

Counter ReadCounter(const py::handle& object, const char* what, std::uint64_t limit)
{
    if (PyIndex_Check(object.ptr()) != 0) return {ReadUnsigned(object, what, limit)};
    const auto numbers = py::reinterpret_borrow<py::object>(object).cast<std::vector<py::object>>();
    if (numbers.empty() || numbers.size() > 4) {
        throw py::value_error(std::string(what) + " must be start, count, step and repeat");
    }
    Counter counter;
    std::uint64_t* const places[] = {&counter.start, &counter.count, &counter.step, &counter.repeat};
    for (std::size_t i = 0; i < numbers.size(); ++i) *places[i] = ReadUnsigned(numbers[i], what, limit);
    return counter;
}

std::string ReadMacBytes(const py::handle& object)
{
    const py::object address = py::module_::import("zor_common").attr("MacAddress")(object);
    return address.attr("packed").cast<std::string>();
}

MacCounter ReadMac(const py::object& object)
{
    MacCounter mac{std::string(6, '\0'), std::string("\0\0\0\0\0\1", 6), std::string(6, '\xff')};
    const bool isOne =
        py::isinstance<py::str>(object) || py::isinstance<py::bytes>(object) || !py::isinstance<py::sequence>(object);
    const py::tuple parts = isOne ? py::make_tuple(object) : py::tuple(object);
    if (parts.empty() || parts.size() > 4) throw py::value_error("mac must be address, step, mask and repeat");
    mac.address = ReadMacBytes(parts[0]);
    if (parts.size() > 1) mac.step = ReadMacBytes(parts[1]);
    if (parts.size() > 2) mac.mask = ReadMacBytes(parts[2]);
    if (parts.size() > 3) mac.repeat = ReadUnsigned(parts[3], "the repeat of mac", kMost32);
    return mac;
}

Template FromText(const std::string& text, const std::string& marker, const py::object& variables, bool hasChecksums,
                  const py::object& mac, const py::iterable& vlan, const py::object& vpi, const py::object& vci,
                  const py::object& base, const py::object& secondBase)
{
    Recipe recipe;
    recipe.text = text;
    TextSettings& settings = recipe.settings;
    if (marker.size() != 1) throw py::value_error("the marker must be one character");
    settings.marker = marker;
    if (!variables.is_none()) {
        for (const py::handle& name : variables) {
            settings.variables.emplace_back(TextOf(name), TextOf(variables[name]));
        }
    }
    settings.hasChecksums = hasChecksums;
    if (!mac.is_none()) settings.mac = ReadMac(mac);
    for (const py::handle& tag : vlan) settings.vlan.push_back(ReadCounter(tag, "a VLAN tag", kMost32));
    if (settings.vlan.size() > 255) throw py::value_error("there are at most 255 VLAN tags");
    if (!vpi.is_none()) settings.vpi = ReadCounter(vpi, "vpi", 65535);
    if (!vci.is_none()) settings.vci = ReadCounter(vci, "vci", 65535);
    settings.base = ReadUnsigned(base, "base", kMost32);
    settings.secondBase = ReadUnsigned(secondBase, "second_base", kMost32);
    return Make(std::move(recipe));
}

Template FromLayers(const std::string& layers)
{
    Recipe recipe;
    recipe.kind = Recipe::Kind::Frame;
    recipe.text = layers;
    return Make(std::move(recipe));
}

Template FromPacket(const py::object& packet)
{
    Recipe recipe;
    recipe.kind = Recipe::Kind::Packet;
    const BufferView bytes = BufferView::Read(packet);
    recipe.text.assign(reinterpret_cast<const char*>(bytes.GetBytes()), bytes.GetSize());
    return Make(std::move(recipe));
}

/// A copy of the recipe of a frame, to be changed.
Recipe CopyOfFrame(const Template& of)
{
    if (!of.recipe->frame) throw py::value_error("only frames have fields to vary: Template.frame(), from_packet()");
    return *of.recipe;
}

/// Values as the notation of frames has them: a text, a range, or one value or several.
std::string ValuesText(const py::object& values)
{
    if (py::isinstance(values, py::module_::import("builtins").attr("range"))) {
        if (py::len(values) == 0) throw py::value_error("a range without values");
        const py::object step = values.attr("step");
        const bool isDown = step < py::int_(0);
        return TextOf(values[py::int_(0)]) + ".." + TextOf(values[py::int_(-1)]) + "+" + TextOf(isDown ? -step : step);
    }
    const bool isMany = py::isinstance<py::list>(values) || py::isinstance<py::tuple>(values);
    if (!isMany) return TextOf(values);
    std::string text;
    for (const py::handle& value : values) text += (text.empty() ? "" : "|") + TextOf(value);
    return text;
}

Template Varied(const Template& of, const py::object& field, const py::object& values)
{
    Recipe recipe = CopyOfFrame(of);
    std::string name;
    if (py::isinstance<py::str>(field)) {
        name = field.cast<std::string>();
    } else {
        const auto [offset, size] = field.cast<std::pair<Unsigned, Unsigned>>();
        name = std::to_string(offset.number) + ":" + std::to_string(size.number);
    }
    if (name.find('=') != std::string::npos) throw py::value_error("\"" + name + "\" is no name of a field");
    recipe.varied.push_back(name + "=" + ValuesText(values));
    return Make(std::move(recipe));
}

Template Crossed(const Template& of, const py::args& names)
{
    Recipe recipe = CopyOfFrame(of);
    recipe.crossed.push_back(names.cast<std::vector<std::string>>());
    return Make(std::move(recipe));
}

Template FromParts(Recipe::Kind kind, const py::iterable& parts)
{
    Recipe recipe;
    recipe.kind = kind;
    for (const py::handle& part : parts) {
        const auto [of, weight] = part.cast<std::pair<Template, Unsigned>>();
        recipe.parts.emplace_back(of, weight);
    }
    return Make(std::move(recipe));
}

Template ShuffledBy(const Template& of, const SeededOrder& order)
{
    Recipe recipe;
    recipe.kind = Recipe::Kind::Shuffled;
    recipe.parts.emplace_back(of, 1);
    recipe.orderSize = order.order.GetSize();
    recipe.orderSeed = order.seed;
    return Make(std::move(recipe));
}

// Recipes as what pickle takes, and back.

py::tuple CounterState(const Counter& counter)
{
    return py::make_tuple(counter.start, counter.count, counter.step, counter.repeat);
}

py::object CounterState(const std::optional<Counter>& counter)
{
    return counter ? py::object(CounterState(*counter)) : py::none();
}

py::tuple SettingsState(const TextSettings& settings)
{
    py::dict variables;
    for (const auto& [name, value] : settings.variables) variables[ToBytes(name)] = ToBytes(value);
    py::list vlan;
    for (const Counter& tag : settings.vlan) vlan.append(CounterState(tag));
    py::object mac = py::none();
    if (settings.mac) {
        mac = py::make_tuple(ToBytes(settings.mac->address), ToBytes(settings.mac->step), ToBytes(settings.mac->mask),
                             settings.mac->repeat);
    }
    return py::make_tuple(ToBytes(settings.marker), variables, settings.hasChecksums, mac, vlan,
                          CounterState(settings.vpi), CounterState(settings.vci), settings.base, settings.secondBase);
}

py::tuple GetState(const Template& of)
{
    const Recipe& recipe = *of.recipe;
    py::list varied;
    for (const std::string& vary : recipe.varied) varied.append(ToBytes(vary));
    py::list crossed;
    for (const std::vector<std::string>& names : recipe.crossed) {
        py::list list;
        for (const std::string& name : names) list.append(ToBytes(name));
        crossed.append(list);
    }
    py::list parts;
    for (const auto& [part, weight] : recipe.parts) parts.append(py::make_tuple(py::cast(part), weight));
    return py::make_tuple(static_cast<int>(recipe.kind), ToBytes(recipe.text), SettingsState(recipe.settings), varied,
                          crossed, parts, py::make_tuple(recipe.orderSize, recipe.orderSeed));
}

Template SetState(const py::tuple& state)
{
    const auto kind = state[0].cast<int>();
    if (kind < 0 || kind > static_cast<int>(Recipe::Kind::Shuffled)) throw py::value_error("no pickle of a Template");
    if (kind == static_cast<int>(Recipe::Kind::Text)) {
        const py::tuple settings = state[2];
        return FromText(state[1].cast<std::string>(), settings[0].cast<std::string>(), settings[1],
                        settings[2].cast<bool>(), settings[3], settings[4], settings[5], settings[6], settings[7],
                        settings[8]);
    }
    Recipe recipe;
    recipe.kind = static_cast<Recipe::Kind>(kind);
    recipe.text = state[1].cast<std::string>();
    for (const py::handle& vary : state[3]) recipe.varied.push_back(vary.cast<std::string>());
    for (const py::handle& names : state[4]) {
        std::vector<std::string>& list = recipe.crossed.emplace_back();
        for (const py::handle& name : names) list.push_back(name.cast<std::string>());
    }
    for (const py::handle& part : state[5]) {
        const auto [of, weight] = part.cast<std::pair<Template, Unsigned>>();
        recipe.parts.emplace_back(of, weight);
    }
    const py::tuple order = state[6];
    recipe.orderSize = order[0].cast<std::uint64_t>();
    recipe.orderSeed = order[1].cast<std::uint64_t>();
    return Make(std::move(recipe));
}

// What a template shows.

py::bytes ValueAt(const Template& of, std::uint64_t index)
{
    const CompiledTemplate& compiled = of.compiled;
    const std::size_t size = compiled.IsFixedSize() ? compiled.GetMaxSize() : compiled.Render(index, nullptr, 0);
    auto value = py::reinterpret_steal<py::bytes>(PyBytes_FromStringAndSize(nullptr, static_cast<py::ssize_t>(size)));
    if (!value) throw py::error_already_set();
    auto* const bytes = reinterpret_cast<unsigned char*>(PyBytes_AS_STRING(value.ptr()));
    const py::gil_scoped_release released; // nobody else has the new object yet
    compiled.Render(index, bytes, size);
    return value;
}

Frames FramesOf(const Template& of, const IndexRange& range)
{
    return {of.compiled, range, range.count};
}

Frames SliceOf(const Template& of, const py::slice& slice)
{
    const py::object stepObject = slice.attr("step");
    const bool hasStep = !stepObject.is_none();
    const bool isDown = hasStep && stepObject < py::int_(0);
    const py::object distance = isDown ? -stepObject : stepObject;
    const std::uint64_t step = hasStep ? ReadUnsigned(distance, "the step of a slice") : 1;
    if (step == 0) throw py::value_error("the step of a slice cannot be 0");
    const py::object startObject = slice.attr("start");
    const py::object stopObject = slice.attr("stop");
    if (isDown ? startObject.is_none() : stopObject.is_none()) {
        throw py::value_error("a template has no end, so a slice of it needs one");
    }
    const std::uint64_t start = startObject.is_none() ? 0 : ReadUnsigned(startObject, "the start of a slice");
    if (isDown) {
        const bool hasStop = !stopObject.is_none();
        const std::uint64_t stop = hasStop ? ReadUnsigned(stopObject, "the end of a slice") : 0;
        if (hasStop && stop >= start) return FramesOf(of, {});
        const std::uint64_t length = start - stop - (hasStop ? 1 : 0);
        return FramesOf(of, {start, length / step + 1, ~step + 1});
    }
    const std::uint64_t stop = ReadUnsigned(stopObject, "the end of a slice");
    return FramesOf(of, stop > start ? IndexRange{start, (stop - start - 1) / step + 1, step} : IndexRange{});
}

Frames FramesAt(const Template& of, const py::object& indexes)
{
    const BufferView view = ViewIntegers(indexes, "indexes", sizeof(std::uint64_t), false);
    const std::size_t count = view.GetSize() / sizeof(std::uint64_t);
    return {of.compiled, IndexList(reinterpret_cast<const std::uint64_t*>(view.GetBytes()), count), count};
}

std::optional<std::uint64_t> Find(const Template& of, const py::object& packet, std::uint64_t start)
{
    const BufferView bytes = BufferView::Read(packet);
    const py::gil_scoped_release released;
    return of.compiled.FindIndex(bytes.GetBytes(), bytes.GetSize(), start);
}

std::vector<TemplateDiagnostic> Diagnose(const Template& of)
{
    const py::gil_scoped_release released;
    std::vector<TemplateDiagnostic> found;
    if (of.recipe->source) found = CheckTemplate(*of.recipe->source);
    for (TemplateDiagnostic& note : CheckTemplate(of.compiled)) found.push_back(std::move(note));
    return found;
}

std::string ReprOf(const Template& of)
{
    static constexpr const char* kKinds[] = {"Template(", "Template.frame(", "Template.from_packet(",
                                             "mix of ",   "joined of ",      "shuffled "};
    const Recipe& recipe = *of.recipe;
    std::string text = kKinds[static_cast<std::size_t>(recipe.kind)];
    if (recipe.kind <= Recipe::Kind::Packet) {
        const py::object shown = recipe.kind == Recipe::Kind::Packet ? py::object(ToBytes(recipe.text))
                                                                     : ToBytes(recipe.text).attr("decode")("latin-1");
        text += std::string(py::repr(shown)) + ")";
        if (!recipe.varied.empty()) text += " varied in " + std::to_string(recipe.varied.size()) + " fields";
    } else if (recipe.kind == Recipe::Kind::Shuffled) {
        text += ReprOf(recipe.parts[0].first);
    } else {
        text += std::to_string(recipe.parts.size()) + " templates";
    }
    return "<" + text + ">";
}

template <class Value>
py::list ListOf(const std::vector<Value>& values)
{
    py::list list;
    for (const Value& value : values) list.append(py::cast(value));
    return list;
}

std::string LatinText(const TemplateField& field)
{
    return std::string(field.kind == 0 ? 0 : 1, field.kind);
}

void AddFields(py::module_& module)
{
    py::class_<TemplateField> field(module, "Field", "One expression of a template.");
    Publish(field);
    field.def_readonly("pos", &TemplateField::pos, "Offset of its first byte in the text of the template.");
    field.def_readonly("len", &TemplateField::len, "Its size in bytes there.");
    field.def_property_readonly("kind", &LatinText, "The kind character.");
    field.def_readonly("offset", &TemplateField::offset, "Offset of what it shows in value 0, in bytes.");
    field.def_readonly("is_offset_fixed", &TemplateField::isOffsetFixed, "Whether every value has it at this offset.");
    field.def_readonly("min_size", &TemplateField::minSize, "Least size of what it shows, in bytes.");
    field.def_readonly("max_size", &TemplateField::maxSize, "Greatest size of what it shows, in bytes.");
    field.def_property_readonly(
        "first", [](const TemplateField& of) { return ToBytes(of.first); }, "What it shows at index 0.");
    field.def_property_readonly(
        "second", [](const TemplateField& of) { return ToBytes(of.second); },
        "What it shows after its first change, the same as first if it never changes; a length, at index 1.");
    field.def_property_readonly(
        "last", [](const TemplateField& of) { return ToBytes(of.last); }, "What it shows before it starts again.");
    field.def_readonly("period", &TemplateField::period,
                       "The number of indexes after which it starts again; 0 for 2^64 and more.");
    field.def_property_readonly(
        "name", [](const TemplateField& of) { return ToStr(of.name); },
        "The name of a field of a frame, such as \"ipv4.src\".");
    field.def("__repr__", [](const TemplateField& of) {
        return "<Field " + std::string(py::repr(ToStr(of.name.empty() ? LatinText(of) : of.name))) + " at byte " +
               std::to_string(of.offset) + ", period " + std::to_string(of.period) + ">";
    });

    py::class_<TemplateDiagnostic> diagnostic(module, "Diagnostic",
                                              "Something that a template does and that its writer should know.");
    Publish(diagnostic);
    diagnostic.def_readonly("code", &TemplateDiagnostic::code, "The number after ZT.");
    diagnostic.def_property_readonly(
        "severity",
        [](const TemplateDiagnostic& of) {
            static constexpr const char* kNames[] = {"note", "warning", "error"};
            return kNames[static_cast<std::size_t>(of.severity)];
        },
        "\"note\", \"warning\" or \"error\".");
    diagnostic.def_readonly("pos", &TemplateDiagnostic::pos, "Offset of the first byte concerned, in the text.");
    diagnostic.def_readonly("len", &TemplateDiagnostic::len, "The number of bytes concerned.");
    diagnostic.def_property_readonly(
        "message", [](const TemplateDiagnostic& of) { return ToStr(of.message); }, "What the template does.");
    diagnostic.def_property_readonly(
        "hint", [](const TemplateDiagnostic& of) { return ToStr(of.hint); },
        "What to write instead of these bytes; may be empty.");
    diagnostic.def(
        "show",
        [](const TemplateDiagnostic& of, const std::string& text, const std::string& name) {
            return ToStr(ToText(of, text, name));
        },
        py::arg("text"), py::arg("name") = "", "The diagnostic as a compiler shows it, with the line of the text.");
    diagnostic.def("__repr__", [](const TemplateDiagnostic& of) {
        const std::string code = std::to_string(of.code);
        return ToStr("<Diagnostic ZT" + std::string(code.size() < 3 ? 3 - code.size() : 0, '0') + code + ": " +
                     of.message + ">");
    });
    module.def(
        "check",
        [](const std::string& text, const std::string& marker) {
            const auto found = [&] {
                const py::gil_scoped_release released;
                return CheckTemplate(text, marker);
            }();
            return ListOf(found);
        },
        py::arg("text"), py::arg("marker") = "@", "The diagnostics of a text, also if it does not compile.");
}

void AddMakers(py::module_& module, py::class_<Template>& type)
{
    type.def(py::init(&FromText), py::arg("text"), py::kw_only(), py::arg("marker") = "@",
             py::arg("variables") = py::none(), py::arg("checksums") = false, py::arg("mac") = py::none(),
             py::arg("vlan") = py::tuple(), py::arg("vpi") = py::none(), py::arg("vci") = py::none(),
             py::arg("base") = 0, py::arg("second_base") = 0,
             "Compiles the text of a template. A ValueError says what is wrong and where.\n\n"
             "variables: values by name. checksums: whether to fill in the checksums of IP, UDP, TCP and ICMP.\n"
             "mac: address, step, mask and repeat. vlan: start, count, step and repeat of each tag; vpi and vci: the\n"
             "same of one counter. base: the number of kind b. second_base: the start of kind s.");
    type.def_static(
        "frame", &FromLayers, py::arg("layers"),
        "Makes a frame from its layers: \"eth / ipv4(src=10.0.0.1..10.0.0.250) / udp(dport=53) / number(4)\".");
    type.def_static("from_packet", &FromPacket, py::arg("packet"),
                    "Takes apart an Ethernet frame, as bytes or as a Scapy packet. Wrong checksums are corrected.");
    type.def("vary", &Varied, py::arg("field"), py::arg("values"),
             "Returns the frame with other values of a field, given by its name or as (offset, size).\n\n"
             "values: a text such as \"10.0.0.1..10.0.0.250\", \"0..\" or \"53|123\", a range, a value, or a list of "
             "values.");
    type.def("cross", &Crossed,
             "Returns the frame with fields that count like the digits of an odometer, the first one fastest.");
    type.def("shuffled", &ShuffledBy, py::arg("order"), "Returns a template with the same values in another order.");
    module.def(
        "mix", [](const py::iterable& parts) { return FromParts(Recipe::Kind::Mix, parts); }, py::arg("parts"),
        "Mixes templates by weight, given as pairs (template, weight): smooth weighted round robin.");
    module.def(
        "joined", [](const py::iterable& parts) { return FromParts(Recipe::Kind::Joined, parts); }, py::arg("parts"),
        "Joins templates, given as pairs (template, count): so many values of the first, then of the next.");
    type.def(py::pickle(&GetState, &SetState));
}

void AddValues(py::class_<Template>& type)
{
    type.def(
        "__getitem__",
        [](const Template& of, const py::object& index) -> py::object {
            if (py::isinstance<py::slice>(index)) return py::cast(SliceOf(of, index));
            if (index < py::int_(0)) throw py::index_error("a template has no end to count from");
            return ValueAt(of, ReadUnsigned(index, "the index"));
        },
        py::arg("index"), "The value at an index as bytes; for a slice, Frames.");
    type.def("__iter__",
             [](const py::object& self) { return py::reinterpret_steal<py::object>(PySeqIter_New(self.ptr())); });
    type.def(
        "frames",
        [](const Template& of, const Unsigned& first, const Unsigned& count, const Unsigned& every) {
            return FramesOf(of, {first, count, every});
        },
        py::arg("first"), py::arg("count"), py::kw_only(), py::arg("every") = Unsigned{1},
        "Renders count values, those at first, first + every and so on, into new memory.");
    type.def("frames_at", &FramesAt, py::arg("indexes"),
             "Renders the values at indexes, a buffer of 64-bit integers, into new memory.");
    type.def(
        "render_into",
        [](const Template& of, const py::object& buffer, const Unsigned& first, const py::object& count,
           const Unsigned& every,
           const py::object& sizes) { return RenderInto(of.compiled, buffer, first, count, every, sizes); },
        py::arg("buffer"), py::arg("first") = Unsigned{}, py::arg("count") = py::none(), py::kw_only(),
        py::arg("every") = Unsigned{1}, py::arg("sizes") = py::none(),
        "Renders frames into an existing buffer: one after the other, or one in each row of two dimensions.\n\n"
        "count: by default as many as fit. sizes: a buffer of 32-bit integers for the size of each value, required\n"
        "for values of varying size. Returns how many were written.");
    type.def(
        "patch_into",
        [](const Template& of, const py::object& buffer, const Unsigned& first, const py::object& count,
           const Unsigned& every) { return PatchInto(of.compiled, buffer, first, count, every); },
        py::arg("buffer"), py::arg("first") = Unsigned{}, py::arg("count") = py::none(), py::kw_only(),
        py::arg("every") = Unsigned{1},
        "The same for a buffer that already holds frames of this template: writes only bytes that change.");
    type.def(
        "index",
        [](const Template& of, const py::object& packet, const Unsigned& start) {
            const std::optional<std::uint64_t> index = Find(of, packet, start);
            if (!index) throw py::value_error("the packet is no value of the template");
            return *index;
        },
        py::arg("packet"), py::arg("start") = Unsigned{},
        "The least index from start on whose value has these bytes. Raises a ValueError if there is none.");
    type.def(
        "find",
        [](const Template& of, const py::object& packet, const Unsigned& start) -> py::object {
            const std::optional<std::uint64_t> index = Find(of, packet, start);
            return index ? py::object(py::int_(*index)) : py::none();
        },
        py::arg("packet"), py::arg("start") = Unsigned{}, "The same, but returns None if there is none.");
}

void AddFacts(py::class_<Template>& type)
{
    type.def_property_readonly(
        "period", [](const Template& of) { return of.compiled.GetPeriod(); },
        "The number of indexes after which the values start again; 0 for 2^64 and more, and for never.");
    type.def_property_readonly(
        "max_size", [](const Template& of) { return of.compiled.GetMaxSize(); },
        "A size in bytes that no value exceeds.");
    type.def_property_readonly(
        "is_fixed_size", [](const Template& of) { return of.compiled.IsFixedSize(); },
        "Whether all values have one size.");
    type.def_property_readonly(
        "steps_alike", [](const Template& of) { return of.compiled.StepsAlike(); },
        "Whether stepping in C++ gives the same numbers.");
    type.def_property_readonly(
        "is_readable", [](const Template& of) { return of.compiled.IsReadable(); },
        "Whether index() finds every index.");
    type.def_property_readonly(
        "readable_count", [](const Template& of) { return of.compiled.GetReadableCount(); },
        "index() finds every index below this one; 2^64 - 1 stands for all.");
    type.def_property_readonly(
        "fields", [](const Template& of) { return ListOf(of.compiled.GetFields()); },
        "The expressions, in the order of the text.");
    type.def_property_readonly(
        "diagnostics", [](const Template& of) { return ListOf(Diagnose(of)); },
        "The diagnostics of the template: errors, warnings and notes.");
    type.def_property_readonly(
        "changing_spans",
        [](const Template& of) {
            py::list spans;
            for (const ByteSpan& span : of.compiled.GetChangingSpans()) {
                spans.append(py::make_tuple(span.offset, span.size));
            }
            return spans;
        },
        "Offset and size of the bytes that differ between frames.");
    type.def_property_readonly(
        "flow_count",
        [](const Template& of) -> py::object {
            return of.recipe->frame ? py::object(py::int_(of.recipe->frame->GetFlowCount())) : py::none();
        },
        "The number of flows; 0 for 2^64 and more. None if the template is not a frame with named fields.");
    type.def(
        "span",
        [](const Template& of, const std::string& name) {
            if (!of.recipe->frame) throw py::value_error("only fields of frames have names");
            const ByteSpan span = of.recipe->frame->GetSpan(name);
            return py::make_tuple(span.offset, span.size);
        },
        py::arg("name"), "Offset and size of a field of a frame.");
    type.def(
        "diagram",
        [](const Template& of, const std::string& style) {
            if (style != "rfc" && style != "svg" && style != "json") {
                throw py::value_error("a diagram is rfc, svg or json");
            }
            return ToStr(Diagram(of.compiled, style == "rfc"   ? DiagramStyle::Rfc
                                              : style == "svg" ? DiagramStyle::Svg
                                                               : DiagramStyle::Json));
        },
        py::arg("style") = "rfc", "A picture of value 0 with its fields, in the style rfc, svg or json.");
    type.def(
        "__eq__", [](const Template& left, const Template& right) { return left.compiled == right.compiled; },
        py::is_operator());
    type.def("__hash__", [](const Template& of) {
        return py::hash(py::make_tuple(of.compiled.GetMaxSize(), of.compiled.GetPeriod(), ValueAt(of, 0)));
    });
    type.def("__repr__", &ReprOf);
}

} // namespace

void AddTemplate(py::module_& module)
{
    AddFields(module);
    py::class_<Template> type(
        module, "Template",
        "A compiled template, which never changes: it renders the value at each index from 0 to 2^64 - 1.\n\n"
        "Any number of threads may share one object.");
    Publish(type);
    AddMakers(module, type);
    AddValues(type);
    AddFacts(type);
}

} // namespace zor::python
