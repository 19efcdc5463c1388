#ifndef ZOR_COMMON_EXAMPLES_COMMAND_LINE_H
#define ZOR_COMMON_EXAMPLES_COMMAND_LINE_H

/// \file
/// Common code of the example programs: numbers and files from the command line, and one way to report a mistake.

#include <common/GoogleProtoBufParser.h>

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace examples {

/// A mistake in the arguments: one line on standard error and exit status 2.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A mistake in the input of a program: the same without a hint to the help.
class InputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A decimal number of up to 32 bits, with no other characters before or after it.
inline std::uint32_t ReadNumber(const char* what, std::string_view text)
{
    std::uint32_t number = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number);
    if (result.ec != std::errc() || result.ptr != end) {
        throw UsageError(std::string(what) + " must be a number from 0 to 4294967295, not \"" + std::string(text) +
                         "\"");
    }
    return number;
}

/// All bytes of a file.
inline std::string ReadFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::string content;
    char buffer[65536];
    while (in.read(buffer, sizeof buffer), in.gcount() > 0) {
        content.append(buffer, static_cast<std::size_t>(in.gcount()));
    }
    // A directory opens, but reading it fails; the end of a file is a failure of another kind.
    if (!in.is_open() || in.bad()) throw UsageError("cannot read \"" + path + "\"");
    return content;
}

/// A template from a file, without the newline that ends the file.
inline std::string ReadTemplate(const std::string& path)
{
    std::string text = ReadFile(path);
    if (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
}

/// Prints the diagnostics of a schema file as compilers do.
/// \param path  the name of the file.
inline void PrintSchemaDiagnostic(std::ostream& out, const zor::common::SchemaDiagnostic& found,
                                  const std::string& path)
{
    static constexpr const char* kSeverities[] = {"note", "warning", "error"};
    out << path << ':' << found.line << ':' << found.column << ": " << kSeverities[static_cast<int>(found.severity)]
        << ": " << found.message << '\n';
    if (!found.hint.empty()) out << "  instead: " << found.hint << '\n';
}

/// An error text in one line, whatever text it quotes.
inline void Report(const char* program, std::string message)
{
    for (char& c : message) {
        if (static_cast<unsigned char>(c) < ' ') c = '?';
    }
    std::cerr << program << ": " << message << '\n';
}

/// Runs the body of a main() and converts its exceptions to an exit status.
template <class Body>
int Run(const char* program, Body body)
{
    try {
        body();
        if (!std::cout.flush() || std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
            throw std::runtime_error("cannot write the output");
        }
        return 0;
    } catch (const UsageError& error) {
        Report(program, std::string(error.what()) + " (see --help)");
        return 2;
    } catch (const InputError& error) {
        std::fflush(stdout);
        Report(program, error.what());
        return 2;
    } catch (const std::exception& error) {
        Report(program, error.what());
        return 1;
    }
}

} // namespace examples

#endif // ZOR_COMMON_EXAMPLES_COMMAND_LINE_H
