// Reads what a receiver has captured of the frames that udp-frames-to-pcap writes, and reports what is missing.

#include "Capture.h"
#include "UdpFrames.h"

#include <common/SequenceAudit.h>

using zor::common::IndexRange;
using zor::common::SequenceAudit;

int main(int argc, char** argv)
{
    return examples::Run("who-is-missing", [&] {
        if (argc < 3 || argc > 4) throw examples::UsageError("usage: who-is-missing CAPTURE-FILE COUNT [MISSING-FILE]");
        const IndexRange sent{0, examples::ReadNumber("the count", argv[2])};
        zor::common::AuditOptions options;
        options.trailer = 4; // a frame check sequence, where the capture has it
        SequenceAudit audit(UdpFrames(), sent, options);

        examples::CaptureReader capture(argv[1]);
        for (std::string packet; capture.Next(packet);) audit.Add(packet);

        const SequenceAudit::Counts counts = audit.GetCounts();
        std::cout << counts.received << " packets received; "
                  << (audit.IsCertain() ? "every verdict is certain" : "verdicts go by the nearest position") << '\n'
                  << "in order  " << counts.inOrder << '\n'
                  << "late      " << counts.late << ", by up to " << counts.maxLateness << " packets\n"
                  << "duplicate " << counts.duplicate << '\n'
                  << "changed   " << counts.changed << '\n'
                  << "foreign   " << counts.foreign << '\n'
                  << "missing   " << counts.missing << " of " << sent.count << ", " << counts.missingBelow
                  << " of them before the last one seen\n";
        if (argc < 4) return;
        std::ofstream missing(argv[3]);
        for (const IndexRange& run : audit.GetMissing(sent.count)) {
            for (std::uint64_t k = 0; k < run.count; ++k) missing << run.first + k << '\n';
        }
        if (!missing.flush()) throw std::runtime_error(std::string("cannot write \"") + argv[3] + "\"");
    });
}
