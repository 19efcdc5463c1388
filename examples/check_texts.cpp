// Checks files of templates and schema files, and reports what is probably wrong.

#include "CommandLine.h"

#include <common/TemplateCheck.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using namespace zor::common;

constexpr const char* kHelp =
    "Usage: check-texts FILE...\n"
    "\n"
    "Says of each file what is doubtful in it. A file whose name ends in \".proto\" is a schema, one in \".hex\" a\n"
    "template, and of any other file each line is a template of its own.\n"
    "\n"
    "  -h, --help  show this text\n";

void CheckSchema(const std::string& path)
{
    std::vector<CGoogleProtoBufMessageInfo> messages;
    std::vector<SchemaDiagnostic> found;
    CGoogleProtoBufParser().readProtoFile(path, messages, found);
    std::cout << path << ": " << messages.size() << (messages.size() == 1 ? " message\n" : " messages\n");
    for (const SchemaDiagnostic& each : found) examples::PrintSchemaDiagnostic(std::cout, each, path);
}

void CheckOne(const std::string& text, const std::string& name)
{
    const std::vector<TemplateDiagnostic> found = CheckTemplate(text);
    if (found.empty()) std::cout << name << ": no findings\n";
    for (const TemplateDiagnostic& each : found) std::cout << ToText(each, text, name);
}

void Check(const std::string& path)
{
    const auto endsIn = [&path](const std::string& end) {
        return path.size() >= end.size() && path.compare(path.size() - end.size(), end.size(), end) == 0;
    };
    if (endsIn(".proto")) return CheckSchema(path);
    const std::string content = examples::ReadTemplate(path);
    if (endsIn(".hex")) return CheckOne(content, path);
    std::size_t line = 0;
    for (std::size_t from = 0; from <= content.size();) {
        const std::size_t end = std::min(content.find('\n', from), content.size());
        CheckOne(content.substr(from, end - from), path + " line " + std::to_string(++line));
        from = end + 1;
    }
}

} // namespace

int main(int argc, char** argv)
{
    return examples::Run("check-texts", [&] {
        if (argc == 2 && (argv[1] == std::string("-h") || argv[1] == std::string("--help"))) {
            std::cout << kHelp;
            return;
        }
        if (argc < 2) throw examples::UsageError("no file is given");
        for (int i = 1; i < argc; ++i) Check(argv[i]);
    });
}
