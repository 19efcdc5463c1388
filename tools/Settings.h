#ifndef ZOR_COMMON_TOOLS_SETTINGS_H
#define ZOR_COMMON_TOOLS_SETTINGS_H

/// \file
/// The settings that determine each byte of a capture, as texts by the names of their options, and the recipe: the same
/// as one text.

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
    /// The sources: one of these describes the packets.
    static constexpr std::string_view kSources[] = {"template", "frame", "packet", "stream"};
    static constexpr std::string_view kNames[] = {
        "template", "marker", "frame",       "packet",    "vary", "cross", "stream", "set",   "mac",  "vlan", "vpi",
        "vci",      "base",   "second-base", "checksums", "link", "from",  "count",  "every", "seed", "gap",  "start"};

    /// The settings of a template text, without any options.
    static Settings OfTemplate(std::string text);

    /// Adds a setting, after others of the same name.
    void Add(std::string_view name, std::string value);

    /// The value of a setting; the last one if there are several.
    std::optional<std::string> Find(std::string_view name) const;

    /// All values of a setting.
    std::vector<std::string> FindAll(std::string_view name) const;

    /// The number of kinds of sources.
    std::size_t CountSources() const;

    /// Whether there is a source.
    bool HasSource() const;

    /// Adds the settings of \a others, which replace those of the same name. A source replaces all settings that
    /// describe the packets.
    void Override(const Settings& others);

    /// The recipe: a line for the version of the format, then a line for each setting, in ASCII.
    std::string GetRecipe() const;

    /// Whether a text starts like a recipe.
    static bool IsRecipe(std::string_view text);

    /// Reads a recipe; an InputError says what is wrong with it.
    /// \param name  the name of its file, for messages.
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
