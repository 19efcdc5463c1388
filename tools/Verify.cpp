#include "CaptureReader.h"
#include "Commands.h"
#include "Errors.h"
#include "Json.h"
#include "Output.h"
#include "Packets.h"
#include "Progress.h"
#include "Quantities.h"

#include <common/SequenceAudit.h>

#include <algorithm>
#include <utility>

namespace zor::tools {

using namespace common;

namespace {

/// What is known of the packets of one receiver. Those that were sent in a seeded order are put into that order.
class Receiver {
public:
    Receiver(const Packets& packets, const Run& run, const AuditOptions& options)
        : mAudit(packets.compiled, run.range, options), mRun(&run), mOrder(run.range.count, run.seed.value_or(0))
    {
    }

    void Take(std::string_view packet)
    {
        std::uint64_t index = 0;
        const SequenceAudit::Verdict verdict = mAudit.Add(packet, &index);
        if (!mRun->seed) return;
        const bool isNew = verdict == SequenceAudit::Verdict::InOrder || verdict == SequenceAudit::Verdict::Late;
        if (!isNew) return;
        const std::uint64_t behind = mOrder.GetPositionOf((index - mRun->range.first) / mRun->range.every) + 1;
        if (behind > mGreatest) {
            mGreatest = behind;
            ++mInOrder;
        } else {
            ++mLate;
            mLateness = std::max(mLateness, mGreatest - behind);
        }
    }

    /// Takes in what another one has received.
    void Merge(const Receiver& other)
    {
        mAudit.Merge(other.mAudit);
        mInOrder += other.mInOrder;
        mLate += other.mLate;
        mGreatest = std::max(mGreatest, other.mGreatest);
        mLateness = std::max(mLateness, other.mLateness);
    }

    SequenceAudit::Counts GetCounts() const
    {
        SequenceAudit::Counts counts = mAudit.GetCounts();
        if (!mRun->seed) return counts;
        // An index that several have received is a duplicate of the one and not late, or in order, of the other.
        const std::uint64_t seen = counts.inOrder + counts.late;
        counts.late = std::min(mLate, mLate - std::min(mLate, mInOrder + mLate - seen));
        counts.inOrder = seen - counts.late;
        counts.maxLateness = mLateness;
        counts.missingBelow = mGreatest - std::min(mGreatest, seen);
        return counts;
    }

    const SequenceAudit& GetAudit() const noexcept { return mAudit; }

private:
    SequenceAudit mAudit;
    const Run* mRun;
    IndexOrder mOrder;
    std::uint64_t mInOrder = 0, mLate = 0, mGreatest = 0, mLateness = 0;
};

AuditOptions ReadAuditOptions(const Options& options, const Packets& packets)
{
    AuditOptions audit;
    for (const std::string& span : options.ignored) audit.ignored.push_back(FindSpan(packets, span));
    const auto number = [](const char* name, const std::optional<std::string>& text) {
        return text ? ReadNumber(name, *text) : 0;
    };
    audit.trailer = number("--trailer", options.trailer);
    audit.leastSize = number("--least-size", options.leastSize);
    audit.window = number("--window", options.window);
    return audit;
}

void PrintReport(const SequenceAudit::Counts& counts, std::uint64_t sent, bool isCertain, bool isJson)
{
    if (isJson) {
        Json json;
        json.Open('{').Add("received", counts.received).Add("sent", sent).Add("certain", isCertain);
        json.Add("inOrder", counts.inOrder).Add("late", counts.late).Add("maxLateness", counts.maxLateness);
        json.Add("duplicate", counts.duplicate).Add("changed", counts.changed).Add("foreign", counts.foreign);
        json.Add("tooOld", counts.tooOld).Add("missing", counts.missing).Add("missingBelow", counts.missingBelow);
        return Print(json.Close('}').GetText() + "\n");
    }
    std::string text = std::to_string(counts.received) + " packets received; ";
    text += isCertain ? "every verdict is certain" : "values may repeat, so verdicts go by the nearest position";
    text += "\nin order  " + std::to_string(counts.inOrder) + "\nlate      " + std::to_string(counts.late);
    if (counts.late > 0) text += ", by up to " + std::to_string(counts.maxLateness) + " packets";
    text += "\nduplicate " + std::to_string(counts.duplicate) + "\nchanged   " + std::to_string(counts.changed) +
            "\nforeign   " + std::to_string(counts.foreign) + "\n";
    if (counts.tooOld > 0) text += "too old   " + std::to_string(counts.tooOld) + "\n";
    text += "missing   " + std::to_string(counts.missing) + " of " + std::to_string(sent);
    if (counts.missing > 0) text += ", " + std::to_string(counts.missingBelow) + " of them before the last one seen";
    Print(text + "\n");
}

/// Writes the index of each packet that is missing, a line each.
void WriteMissing(const SequenceAudit& audit, Output& output)
{
    std::string lines;
    const auto flush = [&] {
        output.Write(reinterpret_cast<const unsigned char*>(lines.data()), lines.size());
        lines.clear();
    };
    constexpr std::size_t kFlushed = 1 << 18;
    for (const IndexRange& run : audit.GetMissing(~std::size_t{0})) {
        for (std::uint64_t k = 0; k < run.count; ++k) {
            lines += std::to_string(run.first + k * run.every) + '\n';
            if (lines.size() >= kFlushed) flush();
        }
    }
    flush();
    output.Close();
}

} // namespace

int Verify(Options& options)
{
    const Settings settings = ResolveSource(options.settings, options.files);
    const Packets packets = CompilePackets(settings, false);
    const Run run = ReadRun(settings, std::nullopt);
    if (options.files.empty()) throw InputError("no capture is given");
    const AuditOptions audit = ReadAuditOptions(options, packets);
    if (run.range.every == 0) throw InputError("--every must not be 0");
    if (run.seed && audit.window > 0) throw InputError("--window and --seed do not go together");
    if (audit.window > 0 && options.files.size() > 1) throw InputError("--window is for one capture");
    if (!packets.compiled.IsReadable() && packets.compiled.GetReadableCount() == 0) {
        throw InputError("the index of a packet cannot be told: check --verbose says why");
    }
    std::optional<Output> missing; // opened before the work, which may last
    if (options.missing) missing.emplace(*options.missing);
    std::optional<Receiver> all;
    {
        Progress progress(options.showsProgress);
        std::uint64_t number = 0;
        for (const std::string& path : options.files) {
            std::optional<Receiver> receiver;
            try {
                receiver.emplace(packets, run, audit);
            } catch (const std::invalid_argument&) {
                if (!audit.ignored.empty() && !packets.compiled.IsFixedSize()) {
                    throw InputError("--ignore needs packets that all have one size");
                }
                throw InputError("indexes can be told below " + std::to_string(packets.compiled.GetReadableCount()) +
                                 " only, which is less than the last one that was sent");
            }
            CaptureReader capture(path, packets.isIp);
            for (std::string_view packet; capture.Next(packet);) {
                receiver->Take(packet);
                if (++number % 16384 == 0) progress.Update(number, capture.GetShare());
            }
            if (all) {
                all->Merge(*receiver);
            } else {
                all = std::move(receiver);
            }
        }
    }
    const SequenceAudit::Counts counts = all->GetCounts();
    if (missing) WriteMissing(all->GetAudit(), *missing);
    PrintReport(counts, run.range.count, all->GetAudit().IsCertain(), options.isJson);
    const bool isSame = counts.missing == 0 && counts.inOrder == counts.received;
    return isSame ? 0 : 1;
}

} // namespace zor::tools
