#include "Commands.h"
#include "Errors.h"
#include "Output.h"
#include "Packets.h"
#include "Progress.h"
#include "Quantities.h"
#include "Records.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <numeric>
#include <vector>

namespace zor::tools {

using namespace common;

namespace {

/// Bytes that are rendered before they are written: large enough for the kernel, small enough for the cache.
constexpr std::size_t kBufferSize = 256 * 1024;

Format ReadFormat(const Options& options)
{
    struct Name {
        const char* name;
        Format format;
    };
    static constexpr std::array<Name, 5> kNames = {{{"pcap", Format::Pcap},
                                                    {"pcapng", Format::Pcapng},
                                                    {"hex", Format::Hex},
                                                    {"raw", Format::Raw},
                                                    {"lines", Format::Lines}}};
    std::string wanted;
    if (options.format) {
        wanted = *options.format;
    } else if (options.output) {
        const std::size_t dot = options.output->rfind('.');
        if (dot != std::string::npos) wanted = options.output->substr(dot + 1);
    }
    for (const Name& name : kNames) {
        if (wanted == name.name) return name.format;
    }
    if (options.format) {
        throw InputError("--format must be pcap, pcapng, hex, raw or lines, not \"" + wanted + "\"");
    }
    return options.like ? Format::Pcapng : Format::Lines;
}

std::optional<Shard> ReadShard(const std::optional<std::string>& text)
{
    if (!text) return std::nullopt;
    const std::vector<std::string_view> parts = SplitAt('/', *text);
    if (parts.size() != 2) throw InputError("--shard must be K/N, not \"" + *text + "\"");
    Shard shard;
    shard.count = ReadNumber("--shard: N", parts[1], 1000000);
    shard.place = ReadNumber("--shard: K", parts[0]) - 1;
    if (shard.place >= shard.count) throw InputError("--shard must be K/N with K from 1 to N, not \"" + *text + "\"");
    return shard;
}

/// What is made: packets, their times and their place in a file.
struct Job {
    const CompiledTemplate& packets;
    const Run& run;
    const Records& records;
    IndexOrder order;
    IndexRange positions; // of this process

    std::uint64_t GetTimeAt(std::uint64_t position) const { return run.start + position * run.gap; }
};

/// Fails before anything is written where the last packet would have no time.
void CheckTimes(const Run& run, const Records& records)
{
    const std::uint64_t last = records.GetLastTime();
    if (run.range.count == 0 || !records.HasTimes()) return;
    if (run.start > last || (run.gap > 0 && (last - run.start) / run.gap < run.range.count - 1)) {
        throw InputError("the last packet would have a time that the format cannot say");
    }
}

void GetIndexes(const Job& job, std::uint64_t first, std::size_t count, std::vector<std::uint64_t>& indexes)
{
    indexes.resize(count);
    if (job.run.seed) {
        job.order.GetIndexesAt(IndexRange{first, count}, indexes.data());
    } else {
        std::iota(indexes.begin(), indexes.end(), first);
    }
    for (std::uint64_t& index : indexes) index = job.run.range.first + job.run.range.every * index;
}

/// Packets of one size in a binary format: rendered where they are written from, and patched there later.
void WriteFrames(const Job& job, Output& output, Progress& progress)
{
    const std::size_t size = job.packets.GetMaxSize();
    const std::size_t recordSize = job.records.GetRecordSize(size);
    const std::size_t most = std::max<std::size_t>(1, kBufferSize / std::max<std::size_t>(1, recordSize));
    std::vector<unsigned char> buffer(most * recordSize);
    for (std::size_t i = 0; i < most; ++i) job.records.WriteFrame(buffer.data() + i * recordSize, size);
    const FrameBuffers frames(buffer.data() + job.records.GetPacketPlace(), recordSize);
    std::vector<std::uint64_t> indexes;
    std::size_t rendered = 0; // so many buffers hold frames already
    for (std::uint64_t done = 0; done < job.positions.count;) {
        const std::size_t count = std::min<std::uint64_t>(most, job.positions.count - done);
        const std::uint64_t first = job.positions.first + done;
        if (job.run.seed || job.records.HasIndexes()) GetIndexes(job, first, count, indexes);
        const std::uint64_t every = job.run.range.every;
        const IndexList list = job.run.seed ? IndexList(indexes.data(), count)
                                            : IndexList(IndexRange{job.run.range.first + every * first, count, every});
        if (rendered < count) {
            job.packets.RenderFrames(list, frames);
            rendered = count;
        } else {
            job.packets.PatchFrames(list, frames);
        }
        job.records.WriteStamps(buffer.data(), recordSize, size, count, job.GetTimeAt(first), job.run.gap,
                                indexes.data());
        output.Write(buffer.data(), count * recordSize);
        done += count;
        progress.Update(done, static_cast<double>(done) / static_cast<double>(job.positions.count));
    }
}

/// Packets of any size, in any format, one after the other.
void WriteEach(const Job& job, Format format, Output& output, Progress& progress)
{
    std::vector<unsigned char> buffer(kBufferSize);
    std::size_t filled = 0;
    std::string packet;
    for (std::uint64_t done = 0; done < job.positions.count; ++done) {
        const std::uint64_t position = job.positions.first + done;
        const std::uint64_t index = job.run.GetIndexAt(position, job.order);
        job.packets.GetValueAt(index, packet);
        if (packet.size() > kLongestPacket && format != Format::Lines && format != Format::Raw) {
            throw InputError("packet " + std::to_string(position + 1) + " is longer than 262144 bytes");
        }
        const std::size_t size = job.records.GetRecordSize(packet.size());
        if (size > buffer.size() - filled) {
            output.Write(buffer.data(), filled);
            filled = 0;
            progress.Update(done, static_cast<double>(done) / static_cast<double>(job.positions.count));
            if (size > buffer.size()) buffer.resize(size);
        }
        unsigned char* const record = buffer.data() + filled;
        const std::uint64_t time = job.GetTimeAt(position);
        if (job.records.IsBinary()) {
            std::copy(packet.begin(), packet.end(), record + job.records.GetPacketPlace());
            job.records.WriteFrame(record, packet.size());
            job.records.WriteStamps(record, size, packet.size(), 1, time, 0, &index);
        } else {
            job.records.WriteText(record, packet, time);
        }
        filled += size;
    }
    output.Write(buffer.data(), filled);
}

/// The size of the file of all shards.
std::uint64_t WholeSize(const Job& job, const CompiledTemplate& packets)
{
    const std::uint64_t header = job.records.GetHeader().size();
    const std::uint64_t record = job.records.GetRecordSize(packets.GetMaxSize());
    constexpr std::uint64_t kMost = std::uint64_t{1} << 62;
    if (record > 0 && job.run.range.count > (kMost - header) / record) {
        throw InputError("the file would have 2^62 bytes and more");
    }
    return header + job.run.range.count * record;
}

} // namespace

int Make(Options& options)
{
    if (options.like) options.files.insert(options.files.begin(), *options.like);
    Settings settings = ResolveSource(options.settings, options.files);
    if (!options.files.empty()) throw InputError("\"" + options.files.front() + "\" is one template too many");
    const Format format = ReadFormat(options);
    const std::optional<Shard> shard = ReadShard(options.shard);
    constexpr std::uint64_t kUsualCount = 1000;
    if (!settings.Find("count")) settings.Add("count", std::to_string(kUsualCount));
    const Run run = ReadRun(settings, std::nullopt);
    const Packets packets = CompilePackets(settings, true);
    const std::string recipe = settings.GetRecipe();
    const Records records(format, packets.isText, packets.isIp, recipe);
    CheckTimes(run, records);
    const bool isFixed = packets.compiled.IsFixedSize();
    if (isFixed && packets.compiled.GetMaxSize() > kLongestPacket && format != Format::Lines && format != Format::Raw) {
        throw InputError("packets of " + std::to_string(packets.compiled.GetMaxSize()) +
                         " bytes are longer than 262144, which no capture can hold");
    }
    const Shard part = shard.value_or(Shard());
    const Job job{packets.compiled, run, records, IndexOrder(run.range.count, run.seed.value_or(0)),
                  Block({0, run.range.count}, part.place, part.count)};

    const bool isShared = shard && options.output && *options.output != "-";
    if (isShared && !isFixed) {
        throw InputError("shards can share a file only if all packets have one size: write them to standard output");
    }
    std::optional<Output> output;
    if (isShared) {
        output.emplace(*options.output, part, recipe + "format " + std::to_string(static_cast<int>(format)) + "\n",
                       WholeSize(job, packets.compiled));
        if (output->IsWritten()) {
            output->Close();
            return 0;
        }
    } else {
        output.emplace(options.output);
    }
    const std::string& header = records.GetHeader();
    if (!isShared || part.place == 0)
        output->Write(reinterpret_cast<const unsigned char*>(header.data()), header.size());
    if (isShared) {
        output->MoveTo(header.size() + job.positions.first * records.GetRecordSize(packets.compiled.GetMaxSize()));
    }
    Progress progress(options.showsProgress);
    if (isFixed && records.IsBinary()) {
        WriteFrames(job, *output, progress);
    } else {
        WriteEach(job, format, *output, progress);
    }
    output->Close();
    return 0;
}

} // namespace zor::tools
