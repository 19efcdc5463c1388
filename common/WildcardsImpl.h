#ifndef ZOR_COMMON_WILDCARDS_IMPL_H
#define ZOR_COMMON_WILDCARDS_IMPL_H

/// \file
/// Internal: what Wildcards keeps, and how its calls parse, step and render.

#include "TemplateCompiler.h"
#include "TemplateOverlay.h"
#include "TemplateRender.h"
#include "Wildcards.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace zor::common {

namespace detail {

/// The parsed template and its position.
struct Parsed {
    Layer top;                ///< Of the last parse; without a program before the first one.
    std::vector<Layer> below; ///< Of earlier parses, the first one first; none unless SetEtherParams() led to another.
    std::uint32_t index = 0;
    bool isCurrent = false;   ///< Whether the next value needs no further parse.
    VariableValues variables; ///< Of a single layer.
    std::size_t room = 0;     ///< Of a single layer: how many bytes rendering touches.

    bool IsSingle() const noexcept { return below.empty(); }
};

template <class Visit>
void VisitLayers(Parsed& parsed, Visit visit)
{
    for (Layer& layer : parsed.below) visit(layer);
    if (parsed.top.program) visit(parsed.top);
}

inline void MoveTo(Parsed& parsed, std::uint32_t index) noexcept
{
    parsed.index = index;
    VisitLayers(parsed, [index](Layer& layer) { layer.state.MoveTo(*layer.program, index); });
}

/// Prepares a step. Where the index wraps from 2^32 - 1 to 0, all changes are counted from the beginning again.
inline void PrepareIndex(Parsed& parsed) noexcept
{
    if (parsed.index + 1 == 0) MoveTo(parsed, parsed.index);
}

/// A short value of varying size is written to a buffer first. Otherwise the string would grow and shrink for each
/// value, which took a third of the time of an IPv4 address.
constexpr std::size_t kShort = 256;

/// Renders the single layer. \a write writes to the address it gets and returns the end. From it on nothing fails.
template <class Write>
[[gnu::always_inline]] inline void RenderSingle(const Parsed& parsed, std::string& out, Write write)
{
    if (!parsed.top.program->isFixedSize && parsed.room <= kShort) {
        if (out.capacity() < parsed.room) out.reserve(parsed.room);
        char text[kShort];
        const auto size = static_cast<std::size_t>(write(text) - text);
        if (out.size() < size) {
            out.assign(text, size);
        } else {
            std::memcpy(out.data(), text, size);
            out.resize(size);
        }
    } else {
        if (out.size() < parsed.room) out.resize(parsed.room);
        const auto size = static_cast<std::size_t>(write(out.data()) - out.data());
        if (out.size() != size) out.resize(size);
    }
}

} // namespace detail

/// The settings, the variables and the parsed template. A call that fails leaves it as it was.
class Wildcards::Impl {
    using Layer = detail::Layer;
    using Parsed = detail::Parsed;
    using Program = detail::Program;

public:
    Impl(const std::string& text, std::string opening) : mText(text), mMarker(std::move(opening)) {}

    Impl(const Impl& other)
        : mText(other.mText), mMarker(other.mMarker), mContext(other.mContext), mVariables(other.mVariables),
          mParsed(other.mParsed)
    {
        Bind(mParsed);
    }

    Impl& operator=(const Impl&) = delete;
    ~Impl() = default;

    void GetValue(std::string& out)
    {
        if (mParsed.isCurrent) return Render(mParsed, out);
        ParseFor([this, &out](Parsed& parsed) { Render(parsed, out); });
    }

    void GetNextValue(std::string& out)
    {
        if (mParsed.isCurrent) return GetNextValue(mParsed, out);
        ParseFor([this, &out](Parsed& parsed) { GetNextValue(parsed, out); });
    }

    void NextValue()
    {
        if (mParsed.isCurrent) return Step(mParsed);
        ParseFor([this](Parsed& parsed) { Step(parsed); });
    }

    void GetValueAt(std::uint32_t index, std::string& out, bool commit)
    {
        if (mParsed.isCurrent) return GetValueAt(mParsed, index, out, commit);
        ParseFor([this, index, &out, commit](Parsed& parsed) { GetValueAt(parsed, index, out, commit); });
    }

    void SetReadCursor(std::uint32_t index)
    {
        if (mParsed.isCurrent) return SetReadCursor(mParsed, index);
        ParseFor([this, index](Parsed& parsed) { SetReadCursor(parsed, index); });
    }

    void ParseExpr()
    {
        if (!mParsed.isCurrent) ParseFor([](Parsed&) {});
    }

    void Expand(std::string& out) const { Render(mParsed, out); }

    // ---- settings

    const std::string& GetText() const noexcept { return mText; }
    const std::string& GetMarker() const noexcept { return mMarker; }
    const detail::PacketContext& GetContext() const noexcept { return mContext; }
    const detail::Variables& GetVariables() const noexcept { return mVariables; }

    detail::PacketContext& Context() noexcept { return mContext; }

    void SetMac(const detail::MacDefinition& mac, std::uint32_t repeat) noexcept
    {
        mContext.mac = mac;
        mContext.macRepeat = repeat;
        mParsed.isCurrent = false;
    }

    void SetCurrentMac(std::uint64_t mac) noexcept
    {
        mContext.mac.first = mac;
        VisitLayers(mParsed, [mac](Layer& layer) { layer.state.SetMac(mac); });
    }

    // ---- variables

    const std::string* FindVariable(const std::string& name) const
    {
        return detail::FindVariable(mVariables, detail::LowerCase(name));
    }

    void SetVariable(std::string name, std::string value)
    {
        const auto [position, isNew] = mVariables.try_emplace(std::move(name));
        ReplaceVariable(*position, value);
    }

    /// Sets variables, all or none.
    void SetVariables(detail::Variables& added) noexcept
    {
        auto next = mVariables.begin(); // where a variable goes that comes behind the one before
        while (!added.empty()) {
            auto node = added.extract(added.begin());
            std::string value;
            value.swap(node.mapped());
            const auto position = mVariables.insert(next, std::move(node));
            ReplaceVariable(*position, value);
            next = std::next(position);
        }
    }

    // ---- debuggers

    /// For debuggers, which call it in the program: where an object stands, its template and its expressions with their
    /// values. Empty if that fails.
    [[gnu::used]] friend ZOR_COMMON_API const char* DumpForDebugger(const Wildcards& wildcards) noexcept
    {
        return Impl::Dump(wildcards);
    }

private:
    ZOR_COMMON_LOCAL static const char* Dump(const Wildcards& wildcards) noexcept
    {
        static thread_local std::string text;
        try {
            text = wildcards.mImpl ? wildcards.mImpl->Dump() : "";
        } catch (...) {
            text.clear();
        }
        return text.c_str();
    }

    std::string Dump() const
    {
        const Program* const program = mParsed.top.program.get();
        std::string text = program ? "at index " + std::to_string(mParsed.index) : "not yet parsed";
        if (program && !mParsed.isCurrent) text += ", to be parsed again";
        text += " = {template = " + detail::Quoted(program ? program->text : mText);
        text += ", marker = " + detail::Quoted(mMarker);
        for (const Layer& layer : mParsed.below) text += detail::DumpValues(layer, mVariables);
        if (program) text += detail::DumpValues(mParsed.top, mVariables);
        return text + "}";
    }

    /// Parses, and makes a call with the result. If the call fails, the object stays as it was before the parse.
    template <class Call>
    [[gnu::noinline]] void ParseFor(Call call)
    {
        Parsed next = Parse();
        call(next);
        mParsed = std::move(next);
    }

    void Render(const Parsed& parsed, std::string& out) const
    {
        if (!parsed.top.program) {
            out = mText;
        } else if (parsed.IsSingle()) {
            RenderSingle(parsed, out, [&parsed](char* text) {
                return detail::Render(*parsed.top.program, parsed.top.state.GetValues(), parsed.variables, text);
            });
        } else {
            RenderOverlaid(parsed.below, parsed.top, mVariables, out);
        }
    }

    void GetNextValue(Parsed& parsed, std::string& out) const
    {
        if (!parsed.IsSingle()) return RenderMoved(parsed, out, true, [this](Parsed& moved) { Step(moved); });
        const Program& program = *parsed.top.program;
        detail::State& state = parsed.top.state;
        PrepareIndex(parsed);
        state.PrepareStep(program);
        RenderSingle(parsed, out, [&](char* text) {
            state.StepOthers(program, mContext.mac);
            return detail::RenderNext(program, state, parsed.variables, text);
        });
        ++parsed.index;
    }

    void GetValueAt(Parsed& parsed, std::uint32_t index, std::string& out, bool commit)
    {
        if (!parsed.IsSingle()) {
            return RenderMoved(parsed, out, commit, [this, index](Parsed& moved) { TakeValuesAt(moved, index); });
        }
        const Program& program = *parsed.top.program;
        mAt.MoveTo(program, mContext.mac, index);
        RenderSingle(parsed, out, [&](char* text) { return RenderAt(program, mAt, parsed.variables, text); });
        if (!commit) return;
        parsed.top.state.Take(mAt.MakeAll(program));
        MoveTo(parsed, index);
    }

    void SetReadCursor(Parsed& parsed, std::uint32_t index)
    {
        if (parsed.IsSingle()) {
            TakeValuesAt(parsed, index);
        } else { // rendered, so that an index whose value does not fit raises an exception
            std::string value;
            RenderMoved(parsed, value, true, [this, index](Parsed& moved) { TakeValuesAt(moved, index); });
        }
        VisitLayers(parsed, [index](Layer& layer) { layer.state.SetRepeats(*layer.program, index); });
        MoveTo(parsed, index);
    }

    void Step(Parsed& parsed) const
    {
        PrepareIndex(parsed);
        VisitLayers(parsed, [](Layer& layer) { layer.state.PrepareStep(*layer.program); });
        VisitLayers(parsed, [this](Layer& layer) { layer.state.Step(*layer.program, mContext.mac); });
        ++parsed.index;
    }

    /// Moves a copy and renders it: with several layers, rendering can fail at any expression.
    template <class Move>
    [[gnu::noinline]] void RenderMoved(Parsed& parsed, std::string& out, bool commit, Move move) const
    {
        Parsed moved(parsed);
        move(moved);
        Render(moved, out);
        if (commit) parsed = std::move(moved);
    }

    Parsed Parse() const
    {
        const Layer& last = mParsed.top;
        Parsed next;
        next.top.program = detail::CompileTemplate(last.program ? last.program->text : mText, mMarker, mContext);
        next.top.state = detail::State(*next.top.program, mContext.mac.first);
        if (last.program && !(mParsed.IsSingle() && last.program->parts.empty())) {
            next.below.reserve(mParsed.below.size() + 1);
            next.below = mParsed.below;
            next.below.push_back(last);
        }
        for (Layer& layer : next.below) layer.state.MoveTo(*layer.program, 0);
        next.isCurrent = true;
        Bind(next);
        return next;
    }

    void TakeValuesAt(Parsed& parsed, std::uint32_t index)
    {
        VisitLayers(parsed, [&](Layer& layer) {
            mAt.MoveTo(*layer.program, mContext.mac, index);
            layer.state.Take(mAt.MakeAll(*layer.program));
        });
        MoveTo(parsed, index);
    }

    /// Looks up the variables of a single layer, and adds up the room that its values take.
    void Bind(Parsed& parsed) const
    {
        if (!parsed.top.program || !parsed.IsSingle()) return;
        const Program& program = *parsed.top.program;
        parsed.variables.assign(program.variables.size(), nullptr);
        parsed.room = program.room;
        for (const auto& [name, use] : program.variables) {
            const std::string* const value = detail::FindVariable(mVariables, name);
            parsed.variables[use.item] = value;
            if (value) parsed.room += use.places * value->size();
        }
    }

    /// Sets a variable, and updates what the single layer keeps of it.
    void ReplaceVariable(detail::Variables::value_type& variable, std::string& value) noexcept
    {
        const std::size_t oldSize = variable.second.size();
        variable.second.swap(value);
        if (!mParsed.top.program || !mParsed.IsSingle() || variable.first.empty()) return;
        const Program& program = *mParsed.top.program;
        const auto found = program.variables.find(variable.first);
        if (found == program.variables.end()) return;
        mParsed.variables[found->second.item] = &variable.second;
        mParsed.room += found->second.places * (variable.second.size() - oldSize);
    }

    std::string mText; ///< As it was given.
    std::string mMarker;
    detail::PacketContext mContext;
    detail::Variables mVariables = {{"port", "Default_Port"}};
    Parsed mParsed;
    detail::IndexedValues mAt; ///< Scratch memory, kept from call to call.
};

} // namespace zor::common

#endif // ZOR_COMMON_WILDCARDS_IMPL_H
