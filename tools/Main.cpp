// zor-packets: the library on the command line.

#include "CommandLine.h"
#include "Errors.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>

#include <unistd.h>

namespace zor::tools {

void Print(const std::string& text)
{
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) {
        throw InputError(std::string("cannot write standard output: ") + std::strerror(errno));
    }
}

std::string ShowTable(const std::vector<std::vector<std::string>>& rows)
{
    std::vector<std::size_t> widths;
    for (const auto& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
    }
    std::string table;
    for (const auto& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            line += row[i];
            line.append(widths[i] - row[i].size() + 2, ' ');
        }
        line.erase(line.find_last_not_of(' ') + 1);
        table += line + '\n';
    }
    return table;
}

} // namespace zor::tools

namespace {

/// Says in one line what was wrong, whatever bytes it quotes.
int Report(std::string message)
{
    for (char& c : message) {
        if (static_cast<unsigned char>(c) < ' ') c = '?';
    }
    std::fputs(("zor-packets: " + message + "\n").c_str(), stderr);
    return 2;
}

int Run(int argc, char** argv)
{
    zor::tools::Options options;
    const auto command = zor::tools::ReadCommandLine(argc, argv, options);
    const int status = command == nullptr ? 0 : command(options);
    if (std::fflush(stdout) != 0) {
        throw zor::tools::InputError(std::string("cannot write standard output: ") + std::strerror(errno));
    }
    return status;
}

} // namespace

int main(int argc, char** argv)
{
    std::signal(SIGPIPE, SIG_IGN); // a pipe that was closed is an error like others, and none that kills in silence
    int status = 2;
    try {
        status = Run(argc, argv);
    } catch (const zor::tools::PlacedError& error) {
        std::fflush(stdout);
        status = Report(error.what());
        std::fputs(error.Show().c_str(), stderr);
    } catch (const std::bad_alloc&) {
        status = Report("out of memory");
    } catch (const std::exception& error) {
        std::fflush(stdout);
        status = Report(error.what());
    }
    return status;
}
