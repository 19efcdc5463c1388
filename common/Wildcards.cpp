#include "Wildcards.h"

#include "BigEndian.h"
#include "TemplateSyntax.h"
#include "WildcardsImpl.h"

#include <utility>

namespace zor::common {

Wildcards::Wildcards(const std::string& text, std::string opening)
    : mImpl(std::make_unique<Impl>(text, std::move(opening)))
{
}

Wildcards::Wildcards(const Wildcards& other) : mImpl(std::make_unique<Impl>(*other.mImpl)) {}

Wildcards::Wildcards(Wildcards&& other) noexcept = default;

Wildcards& Wildcards::operator=(const Wildcards& other)
{
    if (this != &other) mImpl = std::make_unique<Impl>(*other.mImpl);
    return *this;
}

Wildcards& Wildcards::operator=(Wildcards&& other) noexcept = default;

Wildcards::~Wildcards() = default;

// ---- values

void Wildcards::GetValue(std::string& out)
{
    mImpl->GetValue(out);
}

void Wildcards::GetNextValue(std::string& out)
{
    mImpl->GetNextValue(out);
}

void Wildcards::NextValue()
{
    mImpl->NextValue();
}

void Wildcards::GetValueAt(int newIndex, std::string& out, bool commit)
{
    mImpl->GetValueAt(static_cast<std::uint32_t>(newIndex), out, commit);
}

void Wildcards::SetReadCursor(int newIndex)
{
    mImpl->SetReadCursor(static_cast<std::uint32_t>(newIndex));
}

void Wildcards::Expand(std::string& out) const
{
    mImpl->Expand(out);
}

void Wildcards::ParseExpr()
{
    mImpl->ParseExpr();
}

// ---- hex templates

void Wildcards::ConvertHexWildcardExpr(std::string& text, std::string opening)
{
    if (detail::IsHexTemplate(text)) text = detail::RewriteHexTemplate(text, opening, nullptr);
}

void Wildcards::ConvertAsciiHexToBin(const std::string& in, std::string& out)
{
    std::string bytes;
    detail::AppendHexBytes(in, bytes);
    out.swap(bytes);
}

// ---- variables

void Wildcards::AddVar(const std::string& name, const std::string& value)
{
    mImpl->SetVariable(detail::LowerCase(name), value);
}

bool Wildcards::GetVar(const std::string& name, std::string& value) const
{
    const std::string* const found = mImpl->FindVariable(name);
    value = found ? *found : std::string();
    return found != nullptr;
}

void Wildcards::AddVarList(const std::vector<std::string>& list)
{
    detail::Variables added; // complete before the first one is set
    for (const std::string& element : list) {
        const std::size_t equals = element.find('=');
        if (equals == std::string::npos) continue;
        // Lists tend to be sorted, or nearly so.
        added.insert_or_assign(added.end(), detail::LowerCase(std::string_view(element).substr(0, equals)),
                               element.substr(equals + 1));
    }
    mImpl->SetVariables(added);
}

void Wildcards::AddVarList(const std::string& list)
{
    constexpr std::size_t kNone = std::string::npos;
    std::vector<std::string> pairs;
    for (std::size_t pos = 0; (pos = list.find_first_not_of(" \t\n", pos)) != kNone;) {
        const std::size_t equals = list.find('=', pos + 1);
        if (equals == kNone) break;
        std::string pair(list, pos, equals + 1 - pos);
        std::size_t from = equals + 1;
        std::size_t comma = list.find(',', from);
        while (comma != kNone && list[comma - 1] == '\\') {
            pair.append(list, from, comma - 1 - from);
            from = comma; // the comma itself is part of the value
            comma = list.find(',', comma + 1);
        }
        pair.append(list, from, comma == kNone ? kNone : comma - from);
        pairs.push_back(std::move(pair));
        if (comma == kNone) break;
        pos = comma + 1;
    }
    AddVarList(pairs);
}

// ---- packet context

void Wildcards::SetEtherParams(const unsigned char* mac, const unsigned char* step, const unsigned char* mask,
                               unsigned int repeat)
{
    detail::MacDefinition definition;
    definition.first = detail::LoadBig48(mac);
    definition.step = detail::LoadBig48(step);
    definition.mask = detail::LoadBig48(mask);
    definition.fixed = definition.first & ~definition.mask;
    mImpl->SetMac(definition, repeat);
}

void Wildcards::SetCurrentMac(const unsigned char* mac) noexcept
{
    mImpl->SetCurrentMac(detail::LoadBig48(mac));
}

void Wildcards::SetVlanTagCount(unsigned char tags)
{
    mImpl->Context().vlanTags.resize(tags);
}

void Wildcards::SetVlanParams(unsigned char tag, unsigned int start, unsigned int step, unsigned int repeat,
                              unsigned int count) noexcept
{
    std::vector<detail::CounterDefinition>& tags = mImpl->Context().vlanTags;
    if (tag != 0 && tag <= tags.size()) tags[tag - 1u] = {start, step, repeat, count, 65535};
}

void Wildcards::SetVpiParams(unsigned short start, unsigned short step, unsigned short repeat,
                             unsigned short count) noexcept
{
    mImpl->Context().vpi = {start, step, repeat, count, 65535};
}

void Wildcards::SetVciParams(unsigned short start, unsigned short step, unsigned short repeat,
                             unsigned short count) noexcept
{
    mImpl->Context().vci = {start, step, repeat, count, 65535};
}

void Wildcards::SetFirstBase(unsigned int base) noexcept
{
    mImpl->Context().firstBase = base;
}

void Wildcards::SetSecondBase(unsigned int base) noexcept
{
    mImpl->Context().secondBase = base;
}

} // namespace zor::common
