#include "Settings.h"

#include "Errors.h"
#include "Quantities.h"

#include <algorithm>
#include <charconv>

namespace zor::tools {

namespace {

constexpr std::string_view kFirstLine = "zor-packets recipe 1\n";

/// A value as printable ASCII.
std::string Escaped(const std::string& value)
{
    std::string text;
    for (const char c : value) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\\') {
            text += "\\\\";
        } else if (byte >= ' ' && byte < 0x7f) {
            text += c;
        } else {
            text += "\\x";
            text += "0123456789abcdef"[byte >> 4];
            text += "0123456789abcdef"[byte & 15];
        }
    }
    return text;
}

/// The value again; nothing if an escape is none.
std::optional<std::string> Unescaped(std::string_view text)
{
    std::string value;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            value += text[i];
        } else if (text.substr(i + 1, 1) == "\\") {
            value += '\\';
            ++i;
        } else {
            unsigned char byte = 0;
            const std::string_view digits = text.substr(std::min(i + 2, text.size()), 2);
            const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
            if (text.substr(i + 1, 1) != "x" || digits.size() != 2 || error != std::errc() ||
                end != digits.data() + 2) {
                return std::nullopt;
            }
            value += static_cast<char>(byte);
            i += 3;
        }
    }
    return value;
}

} // namespace

Settings Settings::OfTemplate(std::string text)
{
    Settings settings;
    settings.Add("template", std::move(text));
    return settings;
}

void Settings::Add(std::string_view name, std::string value)
{
    mSettings.push_back({std::string(name), std::move(value)});
}

void Settings::Remove(std::string_view name)
{
    std::erase_if(mSettings, [name](const Setting& setting) { return setting.name == name; });
}

std::optional<std::string> Settings::Find(std::string_view name) const
{
    for (std::size_t i = mSettings.size(); i-- > 0;) {
        if (mSettings[i].name == name) return mSettings[i].value;
    }
    return std::nullopt;
}

std::vector<std::string> Settings::FindAll(std::string_view name) const
{
    std::vector<std::string> values;
    for (const Setting& setting : mSettings) {
        if (setting.name == name) values.push_back(setting.value);
    }
    return values;
}

std::size_t Settings::CountSources() const
{
    return static_cast<std::size_t>(std::count_if(std::begin(kSources), std::end(kSources),
                                                  [this](std::string_view name) { return Find(name).has_value(); }));
}

bool Settings::HasSource() const
{
    return CountSources() > 0;
}

void Settings::Override(const Settings& others)
{
    if (others.HasSource()) {
        for (const std::string_view name : {"template", "marker", "frame", "packet", "vary", "cross", "stream"}) {
            Remove(name);
        }
    }
    for (const Setting& setting : others.mSettings) Remove(setting.name);
    mSettings.insert(mSettings.end(), others.mSettings.begin(), others.mSettings.end());
}

std::string Settings::GetRecipe() const
{
    std::string text(kFirstLine);
    for (const std::string_view name : kNames) {
        for (const std::string& value : FindAll(name)) {
            text += name;
            if (!value.empty()) text += ' ' + Escaped(value);
            text += '\n';
        }
    }
    return text;
}

bool Settings::IsRecipe(std::string_view text)
{
    return text.substr(0, kFirstLine.size()) == kFirstLine;
}

Settings Settings::ReadRecipe(std::string_view text, const std::string& name)
{
    Settings settings;
    std::size_t number = 1;
    text.remove_prefix(std::min(kFirstLine.size(), text.size()));
    if (!text.empty() && text.back() == '\n') text.remove_suffix(1);
    for (const std::string_view line : SplitAt('\n', text)) {
        ++number;
        if (line.empty() || line.front() == '#') continue;
        const std::size_t blank = std::min(line.find(' '), line.size());
        const std::string_view setting = line.substr(0, blank);
        const std::optional<std::string> value = Unescaped(line.substr(std::min(blank + 1, line.size())));
        if (std::find(std::begin(kNames), std::end(kNames), setting) == std::end(kNames) || !value) {
            throw InputError(name + " line " + std::to_string(number) +
                             " is no setting of a recipe: " + std::string(line.substr(0, 60)));
        }
        settings.Add(setting, *value);
    }
    if (!settings.HasSource()) throw InputError(name + " is a recipe without packets");
    return settings;
}

} // namespace zor::tools
