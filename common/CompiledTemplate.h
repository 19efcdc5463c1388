#ifndef ZOR_COMMON_COMPILED_TEMPLATE_H
#define ZOR_COMMON_COMPILED_TEMPLATE_H

/// \file
/// CompiledTemplate, a template that renders its value at any 64-bit index without stepping, and batches of its values.

#include "ByteSpan.h"
#include "ChecksumField.h"
#include "Export.h"
#include "IndexRange.h"
#include "Wildcards.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zor::common {

namespace detail {
struct BatchAccess;
struct IndexProgram;
class TrafficPlan;
} // namespace detail

/// The values of a batch: those of a range, or listed ones. It points at the listed indexes, which must stay unchanged
/// during the call that it is passed to.
class IndexList {
public:
    /// \param range  with a count of 0 the list is empty.
    IndexList(const IndexRange& range) noexcept : mRange(range) {} // implicit, so that a range serves as a list

    /// \param indexes  \a count indexes in any order, also several times the same; may be null if \a count is 0.
    IndexList(const std::uint64_t* indexes, std::size_t count) noexcept : mRange{0, count, 1}, mListed(indexes) {}

private:
    friend struct detail::BatchAccess;

    IndexRange mRange;
    const std::uint64_t* mListed = nullptr;
};

/// Where the frames of a batch go. It points at the buffers, which must not overlap, and at the pointers to them, which
/// must stay unchanged during the call that it is passed to.
class FrameBuffers {
public:
    /// Frame k goes to \a first + k * \a stride.
    FrameBuffers(unsigned char* first, std::size_t stride) noexcept : mFirst(first), mStride(stride) {}

    /// Frame k goes to \a each[k]: pointers gathered from packet buffers or iovecs.
    explicit FrameBuffers(unsigned char* const* each) noexcept : mEach(each) {}

private:
    friend struct detail::BatchAccess;

    unsigned char* mFirst = nullptr;
    std::size_t mStride = 0;
    unsigned char* const* mEach = nullptr;
};

/// One expression of a template, for tables and pictures. An escape is literal text and not a field. Both expressions
/// of a pair of length fields are fields: the one that shows the length has the offset, the sizes and the texts, and
/// the other one shows nothing.
struct TemplateField {
    std::size_t pos = 0;        ///< Offset of its first byte in the text as it was given, also in a hex template.
    std::size_t len = 0;        ///< Its size in bytes there; 0 if a FrameBuilder has no template text.
    char kind = 0;              ///< The kind character.
    std::size_t offset = 0;     ///< Offset of what it shows in the value at index 0, in bytes.
    bool isOffsetFixed = false; ///< Whether every value has it at this offset.
    std::size_t minSize = 0;    ///< Least size of what it shows, in bytes; only a bound for addresses as text and for
                                ///< lengths in digits.
    std::size_t maxSize = 0;    ///< Greatest size, in the same way.
    std::string first;          ///< What it shows at index 0.
    std::string second;         ///< What it shows after its first change, the same as first if it never changes; a
                                ///< length field, what it shows at index 1.
    std::string last;           ///< What it shows before it starts again; empty if the period is 0.
    std::uint64_t period = 0;   ///< In indexes, as CompiledTemplate::GetPeriod() defines it.
    std::string name;           ///< Its name in a FrameBuilder, such as "ipv4.src"; otherwise empty.
};

/// A compiled template, which never changes: it renders the value at each index from 0 to 2^64 - 1, in any order.
/// \code
/// const CompiledTemplate packets("@h 0200000000fe @$(020000000001,0,000000000001,big)"
///                                " 88b5 @$(00000000,0,00000001,big)");
/// unsigned char frame[18];
/// packets.Render(1000000, frame, sizeof frame); // frame is 02 00 00 00 00 fe 02 00 00 0f 42 41 88 b5 00 0f 42 40
/// \endcode
///
/// Value i is what a fresh Wildcards with the same text and settings shows after i calls of NextValue(): the values
/// that a sender sends which steps through the template. Above index 2^32 - 1, where the index of a Wildcards wraps,
/// indexes continue in 64 bits. Let t be the turn of index i: the number of value changes up to it, i / (repeat + 1),
/// taken modulo the count if there is one. Then
/// - a decimal counter shows start + t * step modulo 2^32. With a maximum it shows the start at turn 0, and the exact
///   sum modulo maximum + 1 at every other turn;
/// - a hex counter shows its start at turn 0, in as many bytes as it was written with, and start + t * step at every
///   other turn, in as many bytes as the widest of start, step and mask;
/// - a hex counter with a mask, and a MAC address, shows what t steps within the mask give. Bytes of the start above
///   the width of the mask are 0 from turn 1 on.
///
/// Wildcards::GetValueAt() multiplies in fewer bits and gives other numbers for some templates; its docstring says
/// which.
///
/// A frame is a value of a template whose values all have one size.
///
/// Mix(), Joined() and Shuffled() in Traffic.h combine templates.
///
/// Any number of threads may use one object at once, without locks, because it never changes. A copy shares the program
/// and allocates nothing. A move copies: the source stays as it was.
///
/// A malformed argument list throws std::out_of_range, and checksum fields that do not fit throw std::invalid_argument.
/// Otherwise only allocations can fail.
class ZOR_COMMON_API CompiledTemplate {
public:
    /// \name Construction
    /// \{

    /// \param text    as for Wildcards.
    /// \param marker  as for Wildcards.
    explicit CompiledTemplate(const std::string& text, const std::string& marker = "@");

    /// Compiles the text that \a source was given, as if parsed once, with its settings and variables as they are now.
    /// Its position does not matter, and later changes to it do not affect this object.
    ///
    /// \param checksums  fields of a template of fixed size that hold the right checksum in every value. They are
    ///                   computed in the order of the list, so a covered field must come before the one that covers it;
    ///                   otherwise the template's own bytes at its place are summed. The contents of a buffer are never
    ///                   read. std::invalid_argument is thrown if the size is not fixed, a field or span reaches beyond
    ///                   the frame, two fields overlap, or a field overlaps an expression, even one that never changes.
    explicit CompiledTemplate(const Wildcards& source, const std::vector<ChecksumField>& checksums = {});

    CompiledTemplate(const CompiledTemplate& other) noexcept;            ///< Shares the program; allocates nothing.
    CompiledTemplate& operator=(const CompiledTemplate& other) noexcept; ///< Shares the program; allocates nothing.
    ~CompiledTemplate();                                                 ///< The last copy releases the program.

    /// Whether text, marker, settings, variables and checksum fields are the same. FrameBuilder defines this for its
    /// frames, and Traffic.h for combined templates.
    bool operator==(const CompiledTemplate& other) const noexcept;
    bool operator!=(const CompiledTemplate& other) const noexcept { return !(*this == other); } ///< The opposite.

    /// \}
    /// \name One value
    /// \{

    /// Replaces \a out by the value at an index. Allocates nothing if the capacity is at least the value's size. If an
    /// allocation fails, \a out is as it was.
    void GetValueAt(std::uint64_t index, std::string& out) const;

    /// Writes the value at an index.
    /// \param out   \a room bytes; may be null if \a room is 0.
    /// \return      the size of the value in bytes. If that is above \a room, nothing is written.
    std::size_t Render(std::uint64_t index, unsigned char* out, std::size_t room) const noexcept;

    /// A size in bytes that no value exceeds. If all values have one size, this size.
    std::size_t GetMaxSize() const noexcept;

    /// Whether all values have one size, so that they are frames. True at least if each expression is one of these: a
    /// decimal counter that never changes, or whose width holds its largest number; a hex counter in `big`, `little` or
    /// `hex` whose step and mask are no wider than its start; a hex counter in `mac`; a MAC address; a variable; an
    /// escape; a length field with a fixed number of bytes.
    bool IsFixedSize() const noexcept;

    /// \}
    /// \name Batches
    /// A frame is written from the start of its buffer, and no byte around it is touched. Nothing is allocated, except
    /// for the offsets of RenderBatch().
    /// \{

    /// Writes one frame to each buffer.
    /// \return  false, with nothing written, for a template without fixed size and for a stride below the size; always
    ///          true for an empty list.
    bool RenderFrames(const IndexList& indexes, const FrameBuffers& frames) const noexcept;

    /// The same for buffers that already hold frames of this template, of any index: writes only bytes of
    /// GetChangingSpans(), which is faster for long frames.
    bool PatchFrames(const IndexList& indexes, const FrameBuffers& frames) const noexcept;

    /// Writes values of any size, one to each buffer of \a room bytes, whatever their stride. A value that does not fit
    /// its buffer is not written.
    ///
    /// \param sizes  gets the size of each value in bytes, also if the value is not written; at most 2^32 - 1.
    /// \return       whether all values were written.
    bool RenderFrames(const IndexList& indexes, const FrameBuffers& frames, std::size_t room,
                      std::uint32_t* sizes) const noexcept;

    /// Where frames differ from one another: ascending spans that do not touch. They contain each byte that differs
    /// between two frames and no byte of literal text. For hex counters without a mask and MAC addresses with a full
    /// mask they contain nothing else. A checksum field belongs to them if a byte that it covers does. Empty if nothing
    /// changes or the size is not fixed.
    const std::vector<ByteSpan>& GetChangingSpans() const noexcept;

    /// Writes values one after the other, as long as the next one fits into the rest of \a room bytes.
    /// \param offsets  is set to the start of each value, and to the end of the last one. Its capacity is reused. If an
    ///                 allocation fails, it is as it was and nothing is written.
    /// \return         how many values were written.
    std::size_t RenderBatch(const IndexList& indexes, unsigned char* out, std::size_t room,
                            std::vector<std::size_t>& offsets) const;

    /// \}
    /// \name The sequence
    /// \{

    /// Whether stepping a Wildcards is known to give the same numbers below index 2^32. False for a template with one
    /// of these expressions, whose sums are exact here but not in a Wildcards, even if no value shows the difference:
    /// - a hex counter wider than 8 bytes (the widest of start, step and mask counts) with a count other than 1, whose
    ///   step has a 32-bit word ffffffff that is neither its lowest word nor the topmost word of the counter: stepping
    ///   may lose carries;
    /// - a decimal counter with a maximum and a count other than 1, if the larger of start and maximum plus the step
    ///   reaches 2^32: stepping wraps there before it takes the sum modulo maximum + 1. The maximum of a VLAN tag, VPI
    ///   or VCI is 65534; 4294967295 means that there is none.
    bool StepsAlike() const noexcept;

    /// The number of indexes after which all expressions start again with their numbers of index 0: the least common
    /// multiple of the periods of all numbers. The values repeat after it, and not sooner if each expression shows its
    /// whole number. A counter in drawn order (`Shuffled(Counting(...))`) has the period of its count, times the indexes
    /// that a value lasts, even if its numbers wrap and so repeat sooner. 0 if it is 2^64 or more, and if the first
    /// number of an expression without a count never comes back: if the start is above the maximum, is narrower than
    /// step or mask, or has bits set above the width of its mask, and for a MAC address whose bits outside the mask are
    /// not those of Wildcards::SetEtherParams().
    std::uint64_t GetPeriod() const noexcept;

    /// The same for some of the expressions.
    /// \param fields  positions in GetFields(), from 0 on. A position beyond the end has the period 1.
    std::uint64_t GetPeriod(const std::vector<std::size_t>& fields) const;

    /// \}
    /// \name From a value back to its index
    /// \{

    /// Whether FindIndex() finds every index.
    ///
    /// This holds if the end of what each expression shows can be seen in a value, and if no more than 65,536 indexes
    /// have to be tried; both depend on the template alone. Expressions of one size are found by their places. After a
    /// decimal number or an address in text there must be a character that cannot be its next digit, or the end of the
    /// value.
    ///
    /// Two kinds of expressions give the index without trying: counters without repeat, whose residues are combined,
    /// and expressions that count like the digits of an odometer, where each repeat + 1 is a multiple of the period of
    /// the digit before. Other expressions do no harm beside them. If every expression has a repeat, the number of
    /// indexes to try is at most the product of repeat + 1 over the expressions whose period divides that of no other
    /// one.
    bool IsReadable() const noexcept;

    /// FindIndex() finds every index below this one and no other.
    /// \return  2^64 - 1 stands for all indexes, 0 for none. With a sequence number of 4 bytes it is at least 2^32,
    ///          whatever else the template has.
    std::uint64_t GetReadableCount() const noexcept;

    /// Finds the index of a value.
    /// \param value  any bytes.
    /// \param from   where the search starts.
    /// \return       the least index from there on whose value is exactly \a value, checksums included; nothing if
    ///               there is none, or none below GetReadableCount().
    std::optional<std::uint64_t> FindIndex(std::string_view value, std::uint64_t from = 0) const;

    /// The same for \a size bytes; \a value may be null if \a size is 0.
    std::optional<std::uint64_t> FindIndex(const unsigned char* value, std::size_t size, std::uint64_t from = 0) const;

    /// \}
    /// \name Description
    /// \{

    /// All expressions in the order of the text. Each one is compiled on its own, so this takes about as long as
    /// compiling the template.
    std::vector<TemplateField> GetFields() const;

    /// \}

private:
    friend class FrameBuilder;
    friend class SequenceAudit;
    friend class detail::TrafficPlan;
    friend ZOR_COMMON_API std::vector<TemplateDiagnostic> CheckTemplate(const CompiledTemplate& of);
    struct Impl;

    // Takes a program that was not compiled from a text. Source and checksum fields decide what the object equals.
    ZOR_COMMON_LOCAL CompiledTemplate(const Wildcards& source, const std::vector<ChecksumField>& checksums,
                                      std::shared_ptr<const detail::IndexProgram> built);
    ZOR_COMMON_LOCAL explicit CompiledTemplate(std::shared_ptr<const Impl> impl) noexcept;
    ZOR_COMMON_LOCAL std::vector<TemplateField> GetBuiltFields() const;

    std::shared_ptr<const Impl> mImpl;
};

} // namespace zor::common

#endif // ZOR_COMMON_COMPILED_TEMPLATE_H
