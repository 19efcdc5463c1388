/// \file
/// Runs the rows of all families in random order and ends with their tables: the medians of each operation of the library
/// and of the best of the others, and their ratio, which is what counts: the times depend on the machine.

#include "Families.h"
#include "Rows.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <optional>

namespace zor::common::bench {

namespace {

/// The greatest ratio to another library that a row should have, whatever its own aim, and the greatest mean of these
/// ratios.
constexpr double kMost = 1.3;
constexpr double kMostOnAverage = 0.4;

struct RowInfo {
    std::string name;
    double atMost;
    std::vector<std::pair<std::string, PeerKind>> peers = {};
    std::string reason = {}; ///< Why it does more than the libraries.
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
    /// The medians of an operation and of its best peer.
    struct Medians {
        double ours;
        std::pair<std::string, double> best;

        double Ratio() const { return std::round(100 * ours / best.second) / 100; } // as it is printed
    };

    /// None where the row was not measured, or has no peer of that kind.
    std::optional<Medians> MediansOf(const RowInfo& row, PeerKind kind) const
    {
        const auto ours = mMedians.find(row.name + "/ours");
        if (ours == mMedians.end()) return std::nullopt;
        std::optional<Medians> medians;
        for (const auto& [name, peerKind] : row.peers) {
            const auto peer = mMedians.find(row.name + '/' + name);
            if (peerKind != kind || peer == mMedians.end()) continue;
            if (!medians || peer->second < medians->best.second) medians = {ours->second, {name, peer->second}};
        }
        return medians;
    }

    void PrintRows() const
    {
        double logarithms = 0;
        std::vector<std::pair<const RowInfo*, double>> ratios; // to libraries
        for (const PeerKind kind : {PeerKind::Library, PeerKind::Baseline}) {
            const char* const peers = kind == PeerKind::Library ? "library" : "baseline";
            std::printf("\n| row | ours | best %s | ratio | at most |\n|---|---|---|---|---|\n", peers);
            for (const RowInfo& row : rows) {
                const auto medians = MediansOf(row, kind);
                if (!medians) continue;
                const double ratio = medians->Ratio();
                std::printf("| %s | %s | %s %s | %.2f | %.2f%s |\n", row.name.c_str(), Time(medians->ours).c_str(),
                            Time(medians->best.second).c_str(), medians->best.first.c_str(), ratio, row.atMost,
                            ratio > row.atMost ? " (above)" : "");
                if (kind == PeerKind::Baseline) continue;
                logarithms += std::log(ratio);
                ratios.emplace_back(&row, ratio);
            }
            if (kind == PeerKind::Baseline || ratios.empty()) continue;
            const double mean = std::exp(logarithms / static_cast<double>(ratios.size()));
            const auto above =
                std::count_if(ratios.begin(), ratios.end(), [](auto& row) { return row.second > kMost; });
            std::printf("\n%zu rows beside another library: geometric mean %.2f, at most %.2f%s; %td above %.2f%s\n",
                        ratios.size(), mean, kMostOnAverage, mean > kMostOnAverage ? " (above)" : "", above, kMost,
                        above == 0 ? "." : ":\n");
            for (const auto& [row, ratio] : ratios) {
                if (ratio <= kMost) continue;
                const char* const reason = row->reason.empty() ? "No reason is known." : row->reason.c_str();
                std::printf("- %s, %.2f: %s\n", row->name.c_str(), ratio, reason);
            }
        }
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

std::size_t AddRow(const std::string& row, double atMost)
{
    rows.push_back({row, atMost});
    return rows.size() - 1;
}

void AddPeer(std::size_t row, const char* peer, PeerKind kind)
{
    rows[row].peers.emplace_back(peer, kind);
}

void AddReason(std::size_t row, const char* reason)
{
    rows[row].reason = reason;
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
