#ifndef ZOR_COMMON_COMPILED_TEMPLATE_H
#define ZOR_COMMON_COMPILED_TEMPLATE_H

/// \file
/// CompiledTemplate, a template whose value at any 64-bit index is known without stepping, and batches of its values.

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

/// Which values a batch holds: those of a range, or listed ones. It points at the listed indexes, which must stay as they
/// are for the call that it is passed to.
class IndexList {
public:
    /// \param range  a count of 0 is no value.
    IndexList(const IndexRange& range) noexcept : mRange(range) {} // implicit, so that a range serves as a list

    /// \param indexes  \a count of them, in any order, also more than once; may be null if \a count is 0.
    IndexList(const std::uint64_t* indexes, std::size_t count) noexcept : mRange{0, count, 1}, mListed(indexes) {}

private:
    friend struct detail::BatchAccess;

    IndexRange mRange;
    const std::uint64_t* mListed = nullptr;
};

/// Where the frames of a batch go. It points at the buffers, which must not overlap, and at the pointers to them, which
/// must stay as they are for the call that it is passed to.
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

/// One expression of a template, for tables and pictures. Both expressions of a pair of length fields are fields: place
/// in the value, sizes and texts are those of the length and stand at the one where it is shown; the other one shows
/// nothing. An escape is literal text and no field.
struct TemplateField {
    std::size_t pos = 0;        ///< Its first byte in the text as it was given, also of a hex template.
    std::size_t len = 0;        ///< Its bytes there; 0 where a FrameBuilder has no text.
    char kind = 0;              ///< The kind character.
    std::size_t offset = 0;     ///< Of its text in the value at index 0, in bytes.
    bool isOffsetFixed = false; ///< Whether that holds for every value.
    std::size_t minSize = 0;    ///< Of its text, in bytes. Reached, but for addresses as text and lengths in digits.
    std::size_t maxSize = 0;    ///< The same.
    std::string first;          ///< Its text at turn 0, and of a length at index 0.
    std::string second;         ///< Its text at turn 1, modulo the count, and of a length at index 1.
    std::string last;           ///< Its text before it starts again; empty where the period is 0.
    std::uint64_t period = 0;   ///< In indexes, as CompiledTemplate::GetPeriod() has it.
    std::string name;           ///< Given by a FrameBuilder, such as "ipv4.src"; otherwise empty.
};

/// An immutable form of a template: the value at each index from 0 to 2^64 - 1, in any order.
/// \code
/// const CompiledTemplate packets("@h 0200000000fe @$(020000000001,0,000000000001,big)"
///                                " 88b5 @$(00000000,0,00000001,big)");
/// unsigned char frame[18];
/// packets.Render(1000000, frame, sizeof frame); // frame is 02 00 00 00 00 fe 02 00 00 0f 42 41 88 b5 00 0f 42 40
/// \endcode
///
/// Value i is what a fresh Wildcards of the same text and settings shows after i calls of NextValue(): the values that a
/// sender which steps has sent. Beyond index 2^32 - 1, where a Wildcards starts its turns anew, indexes go on in 64 bits.
/// With t the turn of index i (i / (repeat + 1), modulo the count if there is one):
/// - A decimal counter shows start + t * step modulo 2^32. With a maximum it shows the start at turn 0, and the same sum
///   modulo maximum + 1, in exact arithmetic, at all others.
/// - A hex counter shows its start at turn 0, in as many bytes as it was written with, and start + t * step at all
///   others, in as many bytes as the widest of start, step and mask has.
/// - With a mask, and for MAC addresses, turn t shows what t steps within the mask give. Bytes of the start above the
///   mask's width are 0 from turn 1 on.
///
/// Wildcards::GetValueAt() multiplies in fewer bits and gives other numbers for some templates; its docstring says which.
///
/// A frame is a value of a template whose values all have one size.
///
/// Mix(), Joined() and Shuffled() in Traffic.h make a template of others.
///
/// One object serves any number of threads at once, without locks. A copy shares the program and allocates nothing. To move
/// is to copy: the source stays as it was.
///
/// A malformed argument list raises std::out_of_range, and checksum fields that do not fit raise std::invalid_argument.
/// Apart from that nothing fails but memory.
class ZOR_COMMON_API CompiledTemplate {
public:
    /// \name Construction
    /// \{

    /// \param text    as for Wildcards.
    /// \param marker  as for Wildcards.
    explicit CompiledTemplate(const std::string& text, const std::string& marker = "@");

    /// Compiles the text that \a source was given, as if parsed once, with its settings and variables as they are now.
    /// Its position does not matter. What is set later changes nothing here.
    ///
    /// \param checksums  fields of a template of fixed size that hold the right checksum in every value, worked out in
    ///                   the order of the list: one that another covers stands before it. One that covers a later one
    ///                   sums what the template has in that one's place. What a buffer holds in a field is never read.
    ///                   std::invalid_argument is raised if the size is not fixed, a field or span reaches beyond the
    ///                   frame, two fields overlap, or a field stands over an expression, even one that never changes.
    explicit CompiledTemplate(const Wildcards& source, const std::vector<ChecksumField>& checksums = {});

    CompiledTemplate(const CompiledTemplate& other) noexcept;            ///< Shares; allocates nothing.
    CompiledTemplate& operator=(const CompiledTemplate& other) noexcept; ///< Shares; allocates nothing.
    ~CompiledTemplate();                                                 ///< The last one that shares releases memory.

    /// Whether text, marker, settings, variables and checksum fields are the same. FrameBuilder says what that is for its
    /// frames, and Traffic.h for templates of templates.
    bool operator==(const CompiledTemplate& other) const noexcept;
    bool operator!=(const CompiledTemplate& other) const noexcept { return !(*this == other); } ///< The opposite.

    /// \}
    /// \name One value
    /// \{

    /// Replaces \a out by the value at an index. Allocates nothing if the capacity is at least the value's size. If
    /// memory runs out, \a out is as it was.
    void GetValueAt(std::uint64_t index, std::string& out) const;

    /// Writes the value at an index.
    /// \param out   \a room bytes; may be null if \a room is 0.
    /// \return      the size of the value in bytes. If that is above \a room, nothing is written.
    std::size_t Render(std::uint64_t index, unsigned char* out, std::size_t room) const noexcept;

    /// A size in bytes that no value exceeds; the size of all values if they have one size.
    std::size_t GetMaxSize() const noexcept;

    /// Whether all values have one size, so that they are frames. True at least if each expression is one of these: a
    /// decimal counter that never changes, or whose width holds its largest number; a hex counter in `big`, `little` or
    /// `hex` whose step and mask are no wider than its start; one in `mac`; a MAC address; a variable; an escape; a
    /// length field of a fixed number of bytes.
    bool IsFixedSize() const noexcept;

    /// \}
    /// \name Batches
    /// A frame is written from the start of its buffer, and no byte around it is touched. Nothing is allocated, but for the
    /// offsets of RenderBatch().
    /// \{

    /// Writes one frame to each buffer.
    /// \return  true for an empty list. Otherwise false, with nothing written, for a template without fixed size and for
    ///          a stride below the size.
    bool RenderFrames(const IndexList& indexes, const FrameBuffers& frames) const noexcept;

    /// The same for buffers that hold frames of this template, of any index: writes bytes of GetChangingSpans() only.
    bool PatchFrames(const IndexList& indexes, const FrameBuffers& frames) const noexcept;

    /// Writes values of any size, one to each buffer of \a room bytes, whatever their stride. One that is larger is not
    /// written.
    ///
    /// \param sizes  gets the size of each value in bytes, also of one that is not written; 2^32 - 1 for one above that.
    /// \return       whether all values were written.
    bool RenderFrames(const IndexList& indexes, const FrameBuffers& frames, std::size_t room,
                      std::uint32_t* sizes) const noexcept;

    /// Where frames differ from one another: ascending spans that do not touch. They hold each byte that differs between
    /// two frames and no byte of literal text. For hex counters without a mask and MAC addresses of a full mask they hold
    /// nothing else. A checksum field is in them if a byte that it covers is. Empty if nothing changes or the size is not
    /// fixed.
    const std::vector<ByteSpan>& GetChangingSpans() const noexcept;

    /// Writes values one behind the other, as long as each fits into \a room bytes completely.
    /// \param offsets  is set to where each value starts and, last, where the last one ends. Its capacity is used again. If
    ///                 memory runs out, it is as it was and nothing is written.
    /// \return         how many values were written.
    std::size_t RenderBatch(const IndexList& indexes, unsigned char* out, std::size_t room,
                            std::vector<std::size_t>& offsets) const;

    /// \}
    /// \name The sequence
    /// \{

    /// Whether stepping a Wildcards surely gives the same numbers below index 2^32. False for a template with one of
    /// these, where the sums are exact here and not there, even if no value shows it:
    /// - a hex counter wider than 8 bytes, by the widest of start, step and mask, with a count other than 1, whose step
    ///   has a 32-bit word ffffffff that is neither its lowest one nor the topmost one of the counter: stepping may lose
    ///   carries;
    /// - a decimal counter with a maximum (other than 4294967295, which is none; that of a VLAN tag, VPI or VCI is 65534)
    ///   and a count other than 1, for which the larger of start and maximum plus the step reaches 2^32: stepping wraps
    ///   there before it takes the sum modulo maximum + 1.
    bool StepsAlike() const noexcept;

    /// The number of indexes after which all expressions show their numbers of index 0 and start again: the least common
    /// multiple of the periods of all numbers. It is a period of the values, the least one if each text shows its whole
    /// number. 0 where it is 2^64 or more, and where the first number of an expression without a count never comes back:
    /// a start above the maximum, narrower than step or mask, or with bits set above its mask's width; a MAC address whose
    /// bits outside the mask are not those of Wildcards::SetEtherParams().
    std::uint64_t GetPeriod() const noexcept;

    /// The same for some of the expressions alone.
    /// \param fields  places in GetFields(), from 0 on. One beyond the end never changes.
    std::uint64_t GetPeriod(const std::vector<std::size_t>& fields) const;

    /// \}
    /// \name From a value back to its index
    /// \{

    /// Whether FindIndex() finds every index.
    ///
    /// That is so if the end of each expression's text can be seen in a value, and if no more than 65,536 indexes have to
    /// be tried, which depends on the template alone. Texts of one size are told apart by their places; a decimal number
    /// or an address in text needs a character behind it that is no digit of its own, or the end of the value.
    ///
    /// What tells the index without trying: counters without repeat, joined by their residues, and expressions that count
    /// like the digits of an odometer, in which each repeat + 1 is a multiple of the period of the digit before. Others may
    /// stand beside them. Where no expression is without repeat, the indexes to try are at most the product of repeat + 1
    /// over the expressions whose period divides that of no other.
    bool IsReadable() const noexcept;

    /// FindIndex() finds every index below this one and no other.
    /// \return  2^64 - 1 stands for all; 0 for none. A sequence number of 4 bytes gives at least 2^32, whatever stands
    ///          beside it.
    std::uint64_t GetReadableCount() const noexcept;

    /// \param value  any bytes.
    /// \param from   the least index that is looked for.
    /// \return       the least index from there on whose value is exactly \a value, checksums included; nothing if there
    ///               is none, or none below GetReadableCount().
    std::optional<std::uint64_t> FindIndex(std::string_view value, std::uint64_t from = 0) const;

    /// The same for \a size bytes; \a value may be null if there are none.
    std::optional<std::uint64_t> FindIndex(const unsigned char* value, std::size_t size, std::uint64_t from = 0) const;

    /// \}
    /// \name What it says
    /// \{

    /// All expressions in the order of the text. Each one is compiled by itself, so this takes about as long as the
    /// template took.
    std::vector<TemplateField> GetFields() const;

    /// \}

private:
    friend class FrameBuilder;
    friend class SequenceAudit;
    friend class detail::TrafficPlan;
    friend ZOR_COMMON_API std::vector<TemplateDiagnostic> CheckTemplate(const CompiledTemplate& of);
    struct Impl;

    /// Takes a program that was not compiled from a text. Source and checksum fields say what it equals.
    ZOR_COMMON_LOCAL CompiledTemplate(const Wildcards& source, const std::vector<ChecksumField>& checksums,
                                      std::shared_ptr<const detail::IndexProgram> built);
    ZOR_COMMON_LOCAL explicit CompiledTemplate(std::shared_ptr<const Impl> impl) noexcept;
    ZOR_COMMON_LOCAL std::vector<TemplateField> GetBuiltFields() const;

    std::shared_ptr<const Impl> mImpl;
};

} // namespace zor::common

#endif // ZOR_COMMON_COMPILED_TEMPLATE_H
