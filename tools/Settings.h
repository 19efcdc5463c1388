#ifndef ZOR_COMMON_TOOLS_SETTINGS_H
#define ZOR_COMMON_TOOLS_SETTINGS_H

/// \file
/// What decides each byte of a capture, as texts by the names of their options, and its recipe: the same as one text.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zor::tools {

/// The settings that make the packets, from the options of a sub-command or from a recipe.
///
/// Names are those of kNames, which is also their order in a recipe, so equal settings have equal recipes.
class Settings {
public:
    /// One of these says what the packets are.
    static constexpr std::string_view kSources[] = {"template", "frame", "packet", "stream"};
    static constexpr std::string_view kNames[] = {
        "template", "marker", "frame",       "packet",    "vary", "cross", "stream", "set",   "mac",  "vlan", "vpi",
        "vci",      "base",   "second-base", "checksums", "link", "from",  "count",  "every", "seed", "gap",  "start"};

    /// Those of a template and nothing else.
    static Settings OfTemplate(std::string text);

    /// Adds a setting, behind others of that name.
    void Add(std::string_view name, std::string value);

    /// The value of a setting; the last one if there are several.
    std::optional<std::string> Find(std::string_view name) const;

    /// All values of a setting.
    std::vector<std::string> FindAll(std::string_view name) const;

    /// How many kinds of sources there are.
    std::size_t CountSources() const;

    /// Whether there is a source.
    bool HasSource() const;

    /// Takes the settings of \a others, with theirs in place of those of the same name. A source takes the place of
    /// all that says what the packets are.
    void Override(const Settings& others);

    /// A recipe: a line for the form, then one for each setting, in ASCII.
    std::string GetRecipe() const;

    /// Whether a text starts as a recipe does.
    static bool IsRecipe(std::string_view text);

    /// Reads a recipe; an InputError says what is wrong with it.
    /// \param name  where it stands, for messages.
    static Settings ReadRecipe(std::string_view text, const std::string& name);

private:
    struct Setting {
        std::string name, value;
    };

    void Remove(std::string_view name);

    std::vector<Setting> mSettings;
};

} // namespace zor::tools

#endif // ZOR_COMMON_TOOLS_SETTINGS_H
