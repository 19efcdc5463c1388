#include "Frames.h"
#include "Template.h"

#include <common/SequenceAudit.h>

#include <mutex>
#include <optional>
#include <vector>

namespace zor::python {

using namespace common;

namespace {

using Counts = SequenceAudit::Counts;

/// An audit that threads of Python may share. The lock is taken without the GIL and never held while waiting for it.
class SharedAudit {
public:
    SharedAudit(Template of, const IndexRange& expected, AuditOptions options)
        : mOf(std::move(of)), mRange(expected), mOptions(std::move(options)), mAudit(mOf.compiled, mRange, mOptions)
    {
    }

    /// Runs what works on the audit, one thread at a time.
    template <class Work>
    auto Use(Work work)
    {
        const py::gil_scoped_release released;
        const std::lock_guard<std::mutex> locked(mMutex);
        return work(mAudit);
    }

    bool Merge(SharedAudit& other)
    {
        if (this == &other) return false;
        const py::gil_scoped_release released;
        const std::scoped_lock locked(mMutex, other.mMutex);
        return mAudit.Merge(other.mAudit);
    }

    const Template& GetTemplate() const noexcept { return mOf; }
    const IndexRange& GetRange() const noexcept { return mRange; }
    const AuditOptions& GetOptions() const noexcept { return mOptions; }

private:
    Template mOf;
    IndexRange mRange;
    AuditOptions mOptions;
    std::mutex mMutex;
    SequenceAudit mAudit;
};

/// The members of the enumeration, in the order of the library; they live as long as the process.
constexpr const char* kVerdicts[] = {"IN_ORDER", "LATE", "DUPLICATE", "CHANGED", "FOREIGN", "TOO_OLD"};
PyObject* gVerdicts[std::size(kVerdicts)] = {};

void AddVerdict(py::module_& module)
{
    py::list names;
    for (const char* const name : kVerdicts) names.append(py::make_tuple(name, py::str(name).attr("lower")()));
    py::object type = py::module_::import("enum").attr("Enum")("Verdict", names, py::arg("module") = "zor_common");
    type.attr("__doc__") = "What a received packet was found to be.";
    for (std::size_t i = 0; i < std::size(kVerdicts); ++i) {
        gVerdicts[i] = py::object(type.attr(kVerdicts[i])).release().ptr();
    }
    module.attr("Verdict") = type;
}

std::vector<ByteSpan> ReadSpans(const Template& of, const py::iterable& ignored)
{
    std::vector<ByteSpan> spans;
    for (const py::handle& span : ignored) {
        if (py::isinstance<py::str>(span)) {
            if (!of.recipe->frame) throw py::value_error("only fields of frames have names");
            spans.push_back(of.recipe->frame->GetSpan(span.cast<std::string>()));
        } else {
            const auto [offset, size] = span.cast<std::pair<Unsigned, Unsigned>>();
            spans.push_back({offset, size});
        }
    }
    return spans;
}

std::unique_ptr<SharedAudit> MakeAudit(const Template& of, std::uint64_t first, std::uint64_t count,
                                       std::uint64_t every, const py::iterable& ignored, std::uint64_t leastSize,
                                       std::uint64_t trailer, std::uint64_t window)
{
    AuditOptions options;
    options.ignored = ReadSpans(of, ignored);
    options.leastSize = leastSize;
    options.trailer = trailer;
    options.window = window;
    return std::make_unique<SharedAudit>(of, IndexRange{first, count, every}, std::move(options));
}

py::tuple Add(SharedAudit& audit, const py::object& packet)
{
    const BufferView bytes = BufferView::Read(packet);
    std::uint64_t index = 0;
    const SequenceAudit::Verdict verdict =
        audit.Use([&](SequenceAudit& of) { return of.Add(bytes.GetBytes(), bytes.GetSize(), &index); });
    const bool hasIndex = verdict != SequenceAudit::Verdict::Foreign;
    return py::make_tuple(py::handle(gVerdicts[static_cast<std::size_t>(verdict)]),
                          hasIndex ? py::object(py::int_(index)) : py::none());
}

/// Takes the rows of two dimensions.
bool AddRows(SharedAudit& audit, const py::object& packets)
{
    if (PyObject_CheckBuffer(packets.ptr()) == 0) return false;
    const BufferView view = BufferView::Layout(packets, false);
    const Py_buffer& layout = view.Get();
    if (layout.ndim != 2 || layout.itemsize != 1 || (layout.shape[1] > 1 && layout.strides[1] != 1)) {
        throw py::value_error("packets must be bytes in rows of two dimensions, or bytes each");
    }
    audit.Use([&](SequenceAudit& of) {
        for (py::ssize_t row = 0; row < layout.shape[0]; ++row) {
            of.Add(view.GetBytes() + row * layout.strides[0], static_cast<std::size_t>(layout.shape[1]));
        }
    });
    return true;
}

void AddAll(SharedAudit& audit, const py::object& packets)
{
    if (py::isinstance<Frames>(packets)) {
        const auto& frames = packets.cast<const Frames&>();
        audit.Use([&](SequenceAudit& of) {
            for (std::size_t k = 0; k < frames.GetCount(); ++k) {
                of.Add(frames.GetBytes() + frames.GetOffset(k), frames.GetOffset(k + 1) - frames.GetOffset(k));
            }
        });
        return;
    }
    if (AddRows(audit, packets)) return;
    constexpr std::size_t kMost = 256; // held at once
    std::vector<BufferView> views;
    const auto take = [&] {
        audit.Use([&](SequenceAudit& of) {
            for (const BufferView& view : views) of.Add(view.GetBytes(), view.GetSize());
        });
        views.clear();
    };
    for (const py::handle& packet : packets) {
        views.push_back(BufferView::Read(packet));
        if (views.size() == kMost) take();
    }
    take();
}

void AddAt(SharedAudit& audit, const py::object& buffer, const py::object& offsets, const py::object& sizes)
{
    const BufferView bytes = BufferView::Read(buffer);
    const BufferView starts = ViewIntegers(offsets, "offsets", sizeof(std::uint64_t), false);
    const BufferView lengths = ViewIntegers(sizes, "sizes", sizeof(std::uint64_t), false);
    if (starts.GetSize() != lengths.GetSize()) throw py::value_error("there must be as many sizes as offsets");
    const std::size_t count = starts.GetSize() / sizeof(std::uint64_t);
    const auto* const at = reinterpret_cast<const std::uint64_t*>(starts.GetBytes());
    const auto* const size = reinterpret_cast<const std::uint64_t*>(lengths.GetBytes());
    for (std::size_t k = 0; k < count; ++k) {
        if (at[k] > bytes.GetSize() || size[k] > bytes.GetSize() - at[k]) {
            throw py::value_error("packet " + std::to_string(k) + " reaches beyond the buffer");
        }
    }
    audit.Use([&](SequenceAudit& of) {
        for (std::size_t k = 0; k < count; ++k) of.Add(bytes.GetBytes() + at[k], size[k]);
    });
}

py::list Missing(SharedAudit& audit, const Unsigned& most)
{
    const std::vector<IndexRange> runs = audit.Use([&](SequenceAudit& of) { return of.GetMissing(most); });
    const py::object range = py::module_::import("builtins").attr("range");
    py::list list;
    for (const IndexRange& run : runs) {
        const py::int_ first(run.first);
        list.append(range(first, first + py::int_(run.every) * py::int_(run.count), py::int_(run.every)));
    }
    return list;
}

py::tuple GetState(SharedAudit& audit)
{
    py::list ignored;
    for (const ByteSpan& span : audit.GetOptions().ignored) ignored.append(py::make_tuple(span.offset, span.size));
    const AuditOptions& options = audit.GetOptions();
    const IndexRange& range = audit.GetRange();
    return py::make_tuple(py::cast(audit.GetTemplate()), range.first, range.count, range.every, ignored,
                          options.leastSize, options.trailer, options.window,
                          ToBytes(audit.Use([](SequenceAudit& of) { return of.Save(); })));
}

std::unique_ptr<SharedAudit> SetState(const py::tuple& state)
{
    const auto number = [&state](std::size_t k) { return state[k].cast<std::uint64_t>(); };
    auto audit = MakeAudit(state[0].cast<Template>(), number(1), number(2), number(3), state[4], number(5), number(6),
                           number(7));
    const auto saved = state[8].cast<std::string>();
    if (!audit->Use([&saved](SequenceAudit& of) { return of.Restore(saved); })) {
        throw py::value_error("no pickle of this Audit");
    }
    return audit;
}

void AddCounts(py::module_& module)
{
    py::class_<Counts> type(module, "Counts", "The number of packets with each verdict.");
    Publish(type);
    struct Member {
        const char* name;
        std::uint64_t Counts::*place;
        const char* about;
    };
    static constexpr Member kMembers[] = {
        {"received", &Counts::received, "All packets."},
        {"in_order", &Counts::inOrder, "Packets above all positions seen before."},
        {"late", &Counts::late, "Packets below the greatest position seen, and not seen before."},
        {"duplicate", &Counts::duplicate, "Packets that were seen before."},
        {"changed", &Counts::changed, "Packets whose fields are those of an index, but another byte differs."},
        {"foreign", &Counts::foreign, "Packets that are not of the expected range."},
        {"too_old", &Counts::tooOld, "Packets further behind than the window."},
        {"missing", &Counts::missing, "Indexes that were never seen."},
        {"missing_below", &Counts::missingBelow, "Missing indexes below the greatest one seen."},
        {"max_lateness", &Counts::maxLateness, "The largest distance of a late packet, in positions."}};
    const auto asDict = [](const Counts& counts) {
        py::dict numbers;
        for (const Member& member : kMembers) numbers[member.name] = counts.*member.place;
        return numbers;
    };
    for (const Member& member : kMembers) type.def_readonly(member.name, member.place, member.about);
    type.def("as_dict", asDict, "The counts as a dict by name.");
    type.def(
        "__eq__", [asDict](const Counts& left, const Counts& right) { return asDict(left).equal(asDict(right)); },
        py::is_operator());
    type.def("__repr__",
             [asDict](const Counts& counts) { return "Counts(" + std::string(py::str(asDict(counts))) + ")"; });
}

} // namespace

void AddAudit(py::module_& module)
{
    AddVerdict(module);
    AddCounts(module);
    py::class_<SharedAudit> type(
        module, "Audit",
        "Identifies each received packet as a value of a template, and finds out which ones are missing.\n\n"
        "Threads may share one object, which then takes one packet at a time.");
    Publish(type);
    type.def(
        py::init([](const Template& of, const Unsigned& first, const Unsigned& count, const Unsigned& every,
                    const py::iterable& ignored, const Unsigned& leastSize, const Unsigned& trailer,
                    const Unsigned& window) {
            return MakeAudit(of, first, count, every, ignored, leastSize, trailer, window);
        }),
        py::arg("template"), py::arg("first"), py::arg("count"), py::kw_only(), py::arg("every") = Unsigned{1},
        py::arg("ignored") = py::tuple(), py::arg("least_size") = Unsigned{}, py::arg("trailer") = Unsigned{},
        py::arg("window") = Unsigned{},
        "Expects count values: those at first, first + every and so on.\n\n"
        "ignored: bytes that may change on the way, as field names or (offset, size). least_size: the least size\n"
        "of a packet that was cut. trailer: how many bytes may follow. window: how many positions are kept, 0 for\n"
        "all.");
    type.def("add", &Add, py::arg("packet"),
             "Adds a packet. Returns its Verdict and its index, which is None for a foreign packet.");
    type.def("add_all", &AddAll, py::arg("packets"),
             "Adds packets: Frames, an array with a packet in each row, or an iterable of bytes.");
    type.def(
        "add_at", &AddAt, py::arg("buffer"), py::arg("offsets"), py::arg("sizes"),
        "Adds packets from places in a buffer, such as a capture. offsets and sizes are buffers of 64-bit integers.");
    type.def(
        "merge",
        [](SharedAudit& audit, SharedAudit& other) {
            if (!audit.Merge(other)) {
                throw py::value_error("the other audit is this one, is of another run, or has a window");
            }
        },
        py::arg("other"), "Adds what another audit of the same run has seen.");
    type.def_property_readonly(
        "counts", [](SharedAudit& audit) { return audit.Use([](SequenceAudit& of) { return of.GetCounts(); }); },
        "The counts of all packets so far.");
    type.def("missing", &Missing, py::arg("most") = Unsigned{~std::uint64_t{0}},
             "Indexes that were never seen, as at most so many ascending ranges.");
    type.def_property_readonly(
        "is_certain", [](SharedAudit& audit) { return audit.Use([](SequenceAudit& of) { return of.IsCertain(); }); },
        "Whether each expected value occurs only once, so that verdicts are certain.");
    type.def("__repr__", [](SharedAudit& audit) {
        const Counts counts = audit.Use([](SequenceAudit& of) { return of.GetCounts(); });
        return "<Audit of " + std::to_string(counts.received) + " packets, " + std::to_string(counts.missing) +
               " missing>";
    });
    type.def(py::pickle(&GetState, &SetState));
}

} // namespace zor::python
