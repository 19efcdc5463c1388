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
        AddFiles(name, "a template, a recipe or a pcapng file of make, unless an option describes the packets; - is "
                       "standard input" +
                           others);
        Set("-e,--expression", "template", "TEXT", "the text of a template, instead of a file");
        Set("--frame", "frame", "LAYERS",
            "layers: eth(src=...) / ipv4(src=FIRST..LAST) / udp(dport=53) / number(4) / cross(udp.sport, ipv4.src)");
        Add("--streams", "FILE", "a mix: a weight and a template or layers on each line",
            [options = &mOptions](const std::string& path) { options->settings.Override(ReadStreams(path)); });
        Set("--marker", "marker", "C", "the character that opens an expression (@)");
        SetEach("--set", "set", "NAME=VALUE", "a variable of the template; may be given several times");
        Set("--mac", "mac", "ADDRESS,STEP,MASK,REPEAT", "the counter of @m; only the address is required");
        SetEach("--vlan", "vlan", "START,COUNT,STEP,REPEAT", "the counter of @v: the first option is tag 1, and so on");
        Set("--vpi", "vpi", "START,COUNT,STEP,REPEAT", "the counter of @v(vpi)");
        Set("--vci", "vci", "START,COUNT,STEP,REPEAT", "the counter of @v(vci)");
        Set("--base", "base", "N", "the number of @b (0)");
        Set("--second-base", "second-base", "N", "the start of @s (0)");
        mApp.add_flag_callback(
            "--checksums", [options = &mOptions] { options->settings.Add("checksums", ""); },
            "fill in the checksums of IP, UDP, TCP and ICMP in a template; with --frame this is always done");
        Set("--link", "link", "ethernet|ip", "the first header of the packets (ethernet, or that of --frame)");
    }

    /// Which of the packets.
    void AddRange()
    {
        Set("--from", "from", "N", "the first index (0)");
        Set("--count", "count", "N", "the number of packets");
        Set("--every", "every", "K", "the distance from one index to the next (1)");
        Set("--seed", "seed", "S", "take the packets in the order of a seed, each one once");
    }

    void AddProgress()
    {
        AddChoice("--progress", {"auto", "never"}, "show the progress if standard error is a terminal (auto)",
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
    command.Add("--like", "FILE", "make the packets of a pcapng file of make again", options.like);
    command.AddRange();
    command.Add("-o,--output", "FILE", "the file to write; its ending chooses the format (standard output)",
                options.output);
    command.Add("--format", "pcap|pcapng|hex|raw|lines", "the format (lines)", options.format);
    command.Add("--shard", "K/N", "make part K of N, from 1 on; all N may write to one FILE at once", options.shard);
    command.Set("--gap", "gap", "TIME", "the time from one packet to the next (1us)");
    command.Set("--start", "start", "TIME",
                "the time of the first packet: seconds since 1970 (0), or 2026-01-31T23:59:59Z");
    command.AddProgress();
}

void AddCheck(Command command)
{
    Options& options = command.GetOptions();
    command.AddSource();
    command.Add("--rate", "RATE", "report when packets repeat at a rate: 100G, bits a second on Ethernet, or 14.88Mpps",
                options.rate);
    command.Add("--for", "TIME", "and whether they repeat within a time, such as 10m", options.duration);
    command.Set("--from", "from", "N", "the first index (0)");
    command.Set("--every", "every", "K", "the distance from one index to the next (1)");
    command.AddFlag("--strict", "exit status 1 for warnings and for packets that repeat", options.isStrict);
    command.AddFlag("-v,--verbose", "also report on the sequence: flows, and whether packets give their index",
                    options.isVerbose);
    command.AddChoice(
        "--color", {"auto", "always", "never"}, "colour severities (auto)", [&options](const std::string& word) {
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
    command.AddSource("FILES", "; then captures, or files with a packet in hex digits on each line (standard input)");
    command.AddRange();
    command.AddFlag("--text", "lines are the packets themselves, as make writes those of text templates",
                    command.GetOptions().isText);
    command.AddJson();
}

void AddVerify(Command command)
{
    Options& options = command.GetOptions();
    command.AddSource("FILES", "; then the capture, or the captures of several receivers");
    command.AddRange();
    command.AddEach("--ignore", "SPAN", "bytes that devices may change: OFFSET:SIZE, or a field such as ipv4.ttl",
                    options.ignored);
    command.Add("--trailer", "N", "up to N bytes may follow a packet: frame check sequence, padding", options.trailer);
    command.Add("--least-size", "N", "accept packets that were cut, from N bytes on", options.leastSize);
    command.Add("--window", "N", "keep N packets behind the last one; older ones are too old (all)", options.window);
    command.Add("--missing", "FILE", "write the index of each missing packet on a line", options.missing);
    command.AddJson();
    command.AddProgress();
}

void AddImport(Command command)
{
    Options& options = command.GetOptions();
    command.AddFiles("CAPTURE", "a capture file");
    command.Add("--packet", "N", "the number of the packet in the capture, from 1 on (1)", options.packet);
    command.AddEach("--vary", "FIELD=VALUES",
                    "let a field count: ipv4.src=10.0.0.1..10.0.0.9, or bytes by OFFSET:SIZE=...", options.varied);
    command.Add("--cross", "FIELDS", "show all combinations of fields: udp.sport,ipv4.src, the first one fastest",
                [&options](const std::string& text) { options.crossed = {text}; });
    command.AddFlag("--text", "write the text of a template; give make --checksums with it", options.isText);
    command.Add("-o,--output", "FILE", "the file to write (standard output)", options.output);
}

void AddInspect(Command command)
{
    command.AddFiles("CAPTURE", "a capture file");
    command.Set("--count", "count", "N", "the number of packets (3)");
    command.AddJson();
}

void AddEncode(Command command)
{
    command.AddFiles("SCHEMA",
                     "a schema file, a message in it, and NAME=VALUE for its fields; a repeated field is given "
                     "once for each of its values");
    command.AddFlag("--raw", "write only the bytes", command.GetOptions().isRaw);
}

void AddMacro(Command command)
{
    command.AddFiles("EXPRESSION", "a file with the expression; - is standard input");
    command.Set("-e,--expression", "template", "TEXT", "the text of the expression, instead of a file");
    command.SetEach("--set", "set", "NAME=VALUE", "a variable; may be given several times");
    command.Set("--count", "count", "N", "the number of expansions (1): $(number) of $(total), $(left) to go");
}

struct Entry {
    const char* name;
    const char* help;
    void (*add)(Command);
    int (*run)(Options&);
};

constexpr Entry kEntries[] = {
    {"make", "make packets and captures", AddMake, Make},
    {"check", "report what is probably wrong in a template", AddCheck, Check},
    {"show", "show the fields of a template", AddShow, Show},
    {"find", "find the indexes of packets", AddFind, Find},
    {"verify", "report which packets are missing, late, duplicated or changed in a capture", AddVerify, Verify},
    {"import", "make a recipe of a captured packet", AddImport, Import},
    {"inspect", "print header fields of the first packets of a capture", AddInspect, Inspect},
    {"encode", "encode a message of a protocol-buffer schema", AddEncode, Encode},
    {"macro", "expand variables in a text", AddMacro, Macro},
};

} // namespace

int (*ReadCommandLine(int argc, char** argv, Options& options))(Options&)
{
    CLI::App app("Makes packets from templates, and finds the index of any packet.", "zor-packets");
    app.require_subcommand(1);
    app.set_version_flag("--version", ZOR_COMMON_VERSION_STRING);
    app.footer("Exit status: 0 done and nothing differs, 1 differences found, 2 usage, input or output error.");
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
