#include "CommandLine.h"

#include "Errors.h"
#include "Packets.h"

#include <common/Version.h>

#include <CLI/CLI.hpp>

#include <cstdlib>
#include <functional>

#include <unistd.h>

namespace zor::tools {

namespace {

/// Has options of a sub-command write into Options.
class Command {
public:
    Command(CLI::App& app, Options& options) : mApp(app), mOptions(options) {}

    /// A setting, by its name in a recipe.
    void Set(const std::string& names, const std::string& setting, const char* value, const char* help)
    {
        Add(names, value, help,
            [options = &mOptions, setting](const std::string& text) { options->settings.Add(setting, text); });
    }

    /// A setting that may be given several times.
    void SetEach(const std::string& names, const std::string& setting, const char* value, const char* help)
    {
        mApp.add_option_function<std::vector<std::string>>(
                names,
                [options = &mOptions, setting](const std::vector<std::string>& texts) {
                    for (const std::string& text : texts) options->settings.Add(setting, text);
                },
                help)
            ->type_name(value)
            ->allow_extra_args(false);
    }

    void Add(const std::string& names, const char* value, const char* help, std::optional<std::string>& to)
    {
        Add(names, value, help, [&to](const std::string& text) { to = text; });
    }

    void AddEach(const std::string& names, const char* value, const char* help, std::vector<std::string>& to)
    {
        mApp.add_option(names, to, help)->type_name(value)->allow_extra_args(false);
    }

    void AddFlag(const std::string& names, const char* help, bool& to) { mApp.add_flag(names, to, help); }

    void AddFiles(const char* name, const std::string& help)
    {
        mApp.add_option(name, mOptions.files, help)->type_name("");
    }

    /// One of several words.
    void AddChoice(const std::string& names, const std::vector<std::string>& words, const char* help,
                   std::function<void(const std::string&)> take)
    {
        std::string value;
        for (const std::string& word : words) value += (value.empty() ? "" : "|") + word;
        Add(names, value.c_str(), help, [names, words, value, take](const std::string& text) {
            if (std::find(words.begin(), words.end(), text) == words.end()) {
                throw InputError(names + " must be " + value + ", not \"" + text + "\"");
            }
            take(text);
        });
    }

    /// What says which packets there are.
    void AddSource(const char* name = "TEMPLATE", const std::string& others = "")
    {
        AddFiles(name, "a template, a recipe or a pcapng file of make, unless an option says what packets are; - is "
                       "standard input" +
                           others);
        Set("-e,--expression", "template", "TEXT", "the template itself in place of a file");
        Set("--frame", "frame", "LAYERS",
            "layers: eth(src=...) / ipv4(src=FIRST..LAST) / udp(dport=53) / number(4) / cross(udp.sport, ipv4.src)");
        Add("--streams", "FILE", "a mix: a weight and a template or layers on each line",
            [options = &mOptions](const std::string& path) { options->settings.Override(ReadStreams(path)); });
        Set("--marker", "marker", "C", "the character that opens an expression (@)");
        SetEach("--set", "set", "NAME=VALUE", "a variable of the template; may be given several times");
        Set("--mac", "mac", "ADDRESS,STEP,MASK,REPEAT", "what @m counts; all but the address may be left out");
        SetEach("--vlan", "vlan", "START,COUNT,STEP,REPEAT", "what @v counts: the first one is tag 1, and so on");
        Set("--vpi", "vpi", "START,COUNT,STEP,REPEAT", "what @v(vpi) counts");
        Set("--vci", "vci", "START,COUNT,STEP,REPEAT", "what @v(vci) counts");
        Set("--base", "base", "N", "the number of @b (0)");
        Set("--second-base", "second-base", "N", "the start of @s (0)");
        mApp.add_flag_callback(
            "--checksums", [options = &mOptions] { options->settings.Add("checksums", ""); },
            "keep the checksums of IP, UDP, TCP and ICMP right in a template; with --frame they always are");
        Set("--link", "link", "ethernet|ip", "what packets start with (ethernet, or what --frame starts with)");
    }

    /// Which of the packets.
    void AddRange()
    {
        Set("--from", "from", "N", "the first index (0)");
        Set("--count", "count", "N", "how many packets");
        Set("--every", "every", "K", "from one index to the next (1)");
        Set("--seed", "seed", "S", "in the order of a seed, each packet once");
    }

    void AddProgress()
    {
        AddChoice("--progress", {"auto", "never"}, "on a terminal, how far the work is (auto)",
                  [options = &mOptions](const std::string& word) { options->showsProgress = word == "auto"; });
    }

    void AddJson() { AddFlag("--json", "print JSON", mOptions.isJson); }

    template <class Take>
    void Add(const std::string& names, const char* value, const char* help, Take take)
    {
        mApp.add_option_function<std::string>(names, take, help)->type_name(value);
    }

    Options& GetOptions() noexcept { return mOptions; }

private:
    CLI::App& mApp;
    Options& mOptions;
};

void AddMake(Command command)
{
    Options& options = command.GetOptions();
    command.AddSource();
    command.Add("--like", "FILE", "make a pcapng file of make again", options.like);
    command.AddRange();
    command.Add("-o,--output", "FILE", "where packets go; its ending is the format (standard output)", options.output);
    command.Add("--format", "pcap|pcapng|hex|raw|lines", "how they are written (lines)", options.format);
    command.Add("--shard", "K/N", "part K of N, counted from 1; all N may write to one FILE at once", options.shard);
    command.Set("--gap", "gap", "TIME", "from one packet to the next, such as 1us, which it is if not given");
    command.Set("--start", "start", "TIME", "of the first packet: seconds since 1970 (0), or 2026-01-31T23:59:59Z");
    command.AddProgress();
}

void AddCheck(Command command)
{
    Options& options = command.GetOptions();
    command.AddSource();
    command.Add("--rate", "RATE", "say when packets repeat at 100G, bits a second on Ethernet, or 14.88Mpps",
                options.rate);
    command.Add("--for", "TIME", "and whether they do so within 10m", options.duration);
    command.Set("--from", "from", "N", "the first index (0)");
    command.Set("--every", "every", "K", "from one index to the next (1)");
    command.AddFlag("--strict", "status 1 for warnings and for packets that repeat", options.isStrict);
    command.AddFlag("-v,--verbose", "also what the sequence of packets is like", options.isVerbose);
    command.AddChoice(
        "--color", {"auto", "always", "never"}, "on a terminal (auto)", [&options](const std::string& word) {
            options.hasColor = word == "always" ||
                               (word == "auto" && isatty(STDOUT_FILENO) == 1 && std::getenv("NO_COLOR") == nullptr);
        });
    command.AddJson();
}

void AddShow(Command command)
{
    command.AddSource();
    command.Add("--diagram", "rfc|svg", "draw the packet", command.GetOptions().diagram);
    command.AddJson();
}

void AddFind(Command command)
{
    command.AddSource("FILES",
                      "; behind it captures, or files with a packet in hex digits on each line (standard input)");
    command.AddRange();
    command.AddFlag("--text", "lines are the packets themselves, as make writes them for text",
                    command.GetOptions().isText);
    command.AddJson();
}

void AddVerify(Command command)
{
    Options& options = command.GetOptions();
    command.AddSource("FILES", "; behind it the capture, or those of several receivers");
    command.AddRange();
    command.AddEach("--ignore", "SPAN", "what devices may change: OFFSET:SIZE, or a field such as ipv4.ttl",
                    options.ignored);
    command.Add("--trailer", "N", "up to so many bytes may follow a packet: its check sequence, padding",
                options.trailer);
    command.Add("--least-size", "N", "take packets that were cut to so many bytes", options.leastSize);
    command.Add("--window", "N", "keep memory constant: what is so far behind is decided", options.window);
    command.Add("--missing", "FILE", "write the index of each missing packet, a line each", options.missing);
    command.AddJson();
    command.AddProgress();
}

void AddImport(Command command)
{
    Options& options = command.GetOptions();
    command.AddFiles("CAPTURE", "a capture file");
    command.Add("--packet", "N", "which packet, from 1 on (1)", options.packet);
    command.AddEach("--vary", "FIELD=VALUES", "count: ipv4.src=10.0.0.1..10.0.0.9, or bytes by OFFSET:SIZE=...",
                    options.varied);
    command.Add("--cross", "FIELDS", "show all combinations: udp.sport,ipv4.src, the first one fastest",
                [&options](const std::string& text) { options.crossed = {text}; });
    command.AddFlag("--text", "write the text of a template, which make needs --checksums for", options.isText);
    command.Add("-o,--output", "FILE", "where the recipe goes (standard output)", options.output);
}

void AddInspect(Command command)
{
    command.AddFiles("CAPTURE", "a capture file");
    command.Set("--count", "count", "N", "how many packets (3)");
    command.AddJson();
}

void AddEncode(Command command)
{
    command.AddFiles("SCHEMA",
                     "a schema file, a message in it, and NAME=VALUE for its fields; a repeated field is given "
                     "once for each of its values");
    command.AddFlag("--raw", "write the bytes themselves and nothing else", command.GetOptions().isRaw);
}

void AddMacro(Command command)
{
    command.AddFiles("EXPRESSION", "a file with the expression; - is standard input");
    command.Set("-e,--expression", "template", "TEXT", "the expression itself in place of a file");
    command.SetEach("--set", "set", "NAME=VALUE", "a variable; may be given several times");
    command.Set("--count", "count", "N", "how often it is expanded (1): $(number) of $(total), $(left) to go");
}

struct Entry {
    const char* name;
    const char* help;
    void (*add)(Command);
    int (*run)(Options&);
};

constexpr Entry kEntries[] = {
    {"make", "make packets and captures", AddMake, Make},
    {"check", "say what is doubtful in a template", AddCheck, Check},
    {"show", "show the fields of a template", AddShow, Show},
    {"find", "tell which packets these are", AddFind, Find},
    {"verify", "say what is missing, late, doubled or changed in a capture", AddVerify, Verify},
    {"import", "make a recipe of a captured packet", AddImport, Import},
    {"inspect", "print header fields of the first packets of a capture", AddInspect, Inspect},
    {"encode", "encode a message of a protocol-buffer schema", AddEncode, Encode},
    {"macro", "expand variables in a text", AddMacro, Macro},
};

} // namespace

int (*ReadCommandLine(int argc, char** argv, Options& options))(Options&)
{
    CLI::App app("Makes packets of templates, and tells of packets which ones they are.", "zor-packets");
    app.require_subcommand(1);
    app.set_version_flag("--version", ZOR_COMMON_VERSION_STRING);
    app.footer("Exit status: 0 done and the same, 1 differences found, 2 usage, input or output error.");
    std::vector<std::pair<CLI::App*, const Entry*>> commands;
    for (const Entry& entry : kEntries) {
        CLI::App* const command = app.add_subcommand(entry.name, entry.help);
        entry.add(Command(*command, options));
        commands.emplace_back(command, &entry);
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        Print(app.help());
        return nullptr;
    } catch (const CLI::CallForVersion& version) {
        Print(std::string("zor-packets ") + version.what() + "\n");
        return nullptr;
    } catch (const CLI::RequiredError& error) {
        if (argc > 1) throw InputError("\"" + std::string(argv[1]) + "\" is no sub-command (see --help)");
        throw InputError(std::string(error.what()) + " (see --help)");
    } catch (const CLI::ParseError& error) {
        throw InputError(std::string(error.what()) + " (see --help)");
    }
    for (const auto& [command, entry] : commands) {
        if (command->parsed()) return entry->run;
    }
    return nullptr;
}

} // namespace zor::tools
