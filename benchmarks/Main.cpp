/// \file
/// Runs the rows of all families in random order and ends with one table: the medians of each operation of the library
/// and of the best of the others, and their ratio, which is what counts: the times depend on the machine.

#include "Families.h"
#include "Rows.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>

namespace zor::common::bench {

namespace {

struct RowInfo {
    std::string name;
    double atMost;
};

std::vector<RowInfo> rows;
std::vector<std::pair<std::string, std::vector<std::size_t>>> growths;

std::string Time(double nanoseconds)
{
    char text[32];
    if (nanoseconds < 1e4) {
        std::snprintf(text, sizeof text, "%.1f ns", nanoseconds);
    } else {
        std::snprintf(text, sizeof text, "%.1f us", nanoseconds / 1e3);
    }
    return text;
}

/// Collects the medians of all repetitions.
class Table : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }

    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Aggregate || run.aggregate_name != "median") continue;
            mMedians[run.run_name.function_name] = run.GetAdjustedCPUTime();
            std::fprintf(stderr, "%-72s %s\n", run.run_name.function_name.c_str(),
                         Time(run.GetAdjustedCPUTime()).c_str());
        }
    }

    void Finalize() override
    {
        PrintRows();
        PrintGrowths();
    }

private:
    void PrintRows() const
    {
        std::puts("\n| row | ours | best peer | ratio | at most |\n|---|---|---|---|---|");
        double logarithms = 0;
        int count = 0;
        for (const RowInfo& row : rows) {
            const auto ours = mMedians.find(row.name + "/ours");
            if (ours == mMedians.end()) continue;
            auto best = mMedians.end();
            const std::string prefix = row.name + '/';
            for (auto peer = mMedians.lower_bound(prefix);
                 peer != mMedians.end() && peer->first.compare(0, prefix.size(), prefix) == 0; ++peer) {
                if (peer != ours && (best == mMedians.end() || peer->second < best->second)) best = peer;
            }
            if (best == mMedians.end()) continue;
            const double ratio = std::round(100 * ours->second / best->second) / 100; // as it is printed
            std::printf("| %s | %s | %s %s | %.2f | %.2f%s |\n", row.name.c_str(), Time(ours->second).c_str(),
                        Time(best->second).c_str(), best->first.c_str() + prefix.size(), ratio, row.atMost,
                        ratio > row.atMost ? " (above)" : "");
            logarithms += std::log(ratio);
            ++count;
        }
        if (count > 0) std::printf("\nGeometric mean of %d rows: %.2f\n", count, std::exp(logarithms / count));
    }

    /// The exponent is the slope of a line through the logarithms.
    void PrintGrowths() const
    {
        std::puts("\n| growth | sizes | times | exponent |\n|---|---|---|---|");
        for (const auto& [name, sizes] : growths) {
            double n = 0;
            double x = 0;
            double y = 0;
            double xx = 0;
            double xy = 0;
            std::string times;
            for (const std::size_t size : sizes) {
                const auto median = mMedians.find(name + '/' + std::to_string(size));
                if (median == mMedians.end()) continue;
                const double logSize = std::log(static_cast<double>(size));
                const double logTime = std::log(median->second);
                n += 1;
                x += logSize;
                y += logTime;
                xx += logSize * logSize;
                xy += logSize * logTime;
                times += (times.empty() ? "" : ", ") + Time(median->second);
            }
            if (n < 2) continue;
            const double exponent = (n * xy - x * y) / (n * xx - x * x);
            std::printf("| %s | %zu to %zu | %s | %.2f%s |\n", name.c_str(), sizes.front(), sizes.back(), times.c_str(),
                        exponent, exponent > 1.1 ? " (above 1.1)" : "");
        }
    }

    std::map<std::string, double> mMedians;
};

} // namespace

void AddRow(const std::string& row, double atMost)
{
    rows.push_back({row, atMost});
}

void AddGrowth(const std::string& name, std::size_t size)
{
    if (growths.empty() || growths.back().first != name) growths.push_back({name, {}});
    growths.back().second.push_back(size);
}

void ReportMissing(const std::string& row, const char* peer)
{
    std::printf("%s: not compared with %s, which is not installed\n", row.c_str(), peer);
}

void ReportSkipped(const std::string& row)
{
    std::printf("%s: skipped, as no peer is installed\n", row.c_str());
}

void ReportDifference(const std::string& row, const char* peer, std::size_t input)
{
    std::fprintf(stderr, "%s: %s gives another result for input %zu\n", row.c_str(), peer, input);
    std::exit(EXIT_FAILURE);
}

} // namespace zor::common::bench

int main(int argc, char** argv)
{
    using namespace zor::common::bench;

    IpAddressRows();
    Ipv6AddressRows();
    MacAddressRows();
    AddressTextRows();
    AddressRangeRows();
    HexfieldRows();
    FieldExtractorRows();
    WildcardsRows();
    IndexOrderRows();
    CompiledTemplateRows();
    FrameBuilderRows();
    SequenceAuditRows();
    GoogleProtoBufRows();
    MacroExpanderRows();

    // What the command line says comes later and holds.
    std::vector<std::string> arguments = {argv[0], "--benchmark_repetitions=5",
                                          "--benchmark_enable_random_interleaving=true", "--benchmark_min_time=0.02"};
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    std::vector<char*> pointers(arguments.size() + 1);
    for (std::size_t i = 0; i < arguments.size(); ++i) pointers[i] = arguments[i].data();
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, pointers.data());
    if (benchmark::ReportUnrecognizedArguments(count, pointers.data())) return EXIT_FAILURE;
    Table table;
    benchmark::RunSpecifiedBenchmarks(&table);
    return EXIT_SUCCESS;
}
