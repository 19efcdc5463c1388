#ifndef ZOR_COMMON_WILDCARDS_H
#define ZOR_COMMON_WILDCARDS_H

/// \file
/// Wildcards, the expander of packet templates with counters.

#include "Export.h"
#include "Hexfield.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace zor::common {

class CompiledTemplate;
struct TemplateDiagnostic;

/// Expands a template that holds counters and variables into its successive values, by step or by index.
/// \code
/// Wildcards hosts("host-@x(1,3,1,2) @$(0A000001,4,00000001,ipv4)", "@");
/// std::string value;
/// hosts.GetValue(value);             // value is "host-01 10.0.0.1"
/// hosts.GetNextValue(value);         // value is "host-02 10.0.0.2"
/// hosts.GetValueAt(5, value, false); // value is "host-03 10.0.0.2"
/// \endcode
///
/// An expression is the marker, one kind character and, for most kinds, an argument list in parentheses directly after
/// it. Everything else is literal text, including a marker with an unknown kind. The template is parsed by the first
/// call that asks for a value.
///
/// | kind | value | arguments, with their defaults |
/// |---|---|---|
/// | `x` | decimal counter | start (1), count (1), step (1), width (0), repeat (0), maximum (0: none) |
/// | `b` | the first base | width (0) |
/// | `s` `S` | decimal counter from the second base, without end | width (0), not used, step (1), not used, repeat (0), maximum (0: none) |
/// | `m` `M` | MAC address of SetEtherParams(), lower or upper case | layout: 0 or no list gives 00-11-22-33-44-55, others 0011.2233.4455 |
/// | `v` | VLAN tag, VPI or VCI | tag number from 1 (1 for any other word), "vpi" or "vci"; width (1) |
/// | `p` | the variable "port" | |
/// | `=` | a variable | its name |
/// | `$` | counter of any number of bytes | start (hex), count (1), step (hex, 1), format, repeat (0), mask (hex) |
/// | `_` | length in bytes; see below | placement (1), size (1), byte order (1) |
/// | the marker's first character | the marker itself | |
///
/// Arguments are separated by blanks, tabs, newlines, commas and semicolons; several separators in a row count as one.
/// One trailing separator is allowed. Two, or a list of separators only, make every call that parses throw
/// std::out_of_range, and the object stays as it was. An argument is a number if it starts with a decimal number that
/// fits 32 bits; a sign is allowed, and characters after the digits are ignored. Otherwise, and if the list is too
/// short, the argument has the default of its position: 1 for the first three positions and 0 for the others. So an
/// empty list differs from no list: "@m()" selects layout 1, "@b()" a width of 1. An argument list without ")" is
/// literal text, and so is `v` without a list.
///
/// A counter has `count` values, or no end if the count is 0, and shows each of them `repeat` + 1 times. All numbers
/// wrap modulo 2^32. With a maximum, numbers are taken modulo maximum + 1, except the start: stepping shows it as it
/// is. Numbers shorter than the width are padded with zeros. All expressions advance together at each step, and each
/// one returns to its start by its own count.
///
/// The formats of `$` are "little" (0, raw bytes, least significant first), "big" (1, most significant first), "hex"
/// (2, digits), "mac" (3, the last 6 bytes as 00-11-22-33-44-55), "ipv4" (4) and "ipv6" (5, the last 4 and 16 bytes as
/// addresses), by name or by the low 8 bits of the number; anything else is "little". The step is read only if there
/// are at least four arguments; with three it is 1. With a mask, only the bits set in it change. They count as one
/// number, so a carry passes over the bits between them.
///
/// Length fields come in pairs, matched from the end of the template. A pair measures the text between its two fields.
/// The arguments of the first one say where the length is shown (1: before that text, 0: after it), in how many bytes
/// (0: as decimal digits) and in which byte order (1: most significant first). A field without a partner shows nothing.
///
/// A template that starts with "@h" holds bytes in hexadecimal: "@h 08 00 @$(01,9,1,big) ff". The text between
/// expressions is read as hex digits, and any other character ends a byte; expressions are not changed. The marker of
/// such a template is "@".
///
/// Distinct objects may be used from distinct threads. The const members, Expand() and GetVar(), write nothing, so
/// several threads may call them on one object at once as long as no other member runs. All other members need the
/// object to themselves, also those that read a value, as they may parse.
///
/// If an exception escapes, the object is as it was before the call, and the string to be written is valid but
/// unspecified. GetValue(), GetNextValue() and Expand() allocate nothing if they are given the same string again and it
/// is large enough, unless there was a second parse. Their time is proportional to the length of the template and its
/// number of expressions, and so is that of parsing.
class ZOR_COMMON_API Wildcards {
public:
    /// A counter that callers define beside the template.
    struct VarDefUint32 {
        unsigned int start = 0;             ///< The first value.
        unsigned int step = 0;              ///< The increment, modulo 2^32.
        unsigned int repeat = 0;            ///< How often each value is repeated before the next one.
        unsigned int count = 0;             ///< The number of values; 0 means without end.
        unsigned int modulus = 0xffffffffu; ///< Values are taken modulo this number; 0 means no modulus.
    };

    /// One expression of a parsed template, as a plain record of its arguments and its value. The library keeps
    /// expressions in another form, and neither fills nor reads this record.
    struct SubsExpr {
        std::size_t pos = 0;             ///< Offset of its marker in the template.
        std::size_t len = 0;             ///< Its number of characters in the template.
        unsigned int start = 1;          ///< The first value.
        unsigned int count = 1;          ///< The number of values before the start comes back; 0 means without end.
        unsigned int step = 1;           ///< The increment.
        unsigned int repeat = 0;         ///< How often each value is repeated before the next one.
        unsigned int current = 1;        ///< The value; of a MAC address the upper 24 bits.
        unsigned int modulus = 0;        ///< Values are taken modulo this number; 0 means no modulus.
        unsigned int currentLow = 0;     ///< The lower 24 bits of a MAC address.
        unsigned int holdLeft = 0;       ///< How often the value will be repeated.
        unsigned char width = 0;         ///< Decimal width; format of a hex counter; layout of a MAC address.
        char kind = 0;                   ///< The kind character.
        std::vector<Hexfield> hexValues; ///< Hex counter: value, start and step; with a mask also the mask, and
                                         ///< start AND NOT mask.
        std::string text;                ///< The name of a variable, in lower case.
    };

    /// \name Construction and copying
    /// \{

    /// \param text     the template. The first call that asks for a value parses it.
    /// \param opening  the marker that opens an expression: one character, normally "@". In a longer marker, the kind
    ///                 is the character after its first one. With an empty marker there are no expressions.
    Wildcards(const std::string& text, std::string opening);

    Wildcards(const Wildcards& other);                ///< The copy is independent and continues from the same value.
    Wildcards(Wildcards&& other) noexcept;            ///< The source may only be assigned to or destroyed.
    Wildcards& operator=(const Wildcards& other);     ///< As the copy constructor.
    Wildcards& operator=(Wildcards&& other) noexcept; ///< The source may only be assigned to or destroyed.
    ~Wildcards();                                     ///< Releases the memory of the object.

    /// \}
    /// \name Values
    /// \{

    /// The current value, at first that of index 0, without advancing.
    void GetValue(std::string& out);

    /// Advances by one step, then returns the value: the first call returns the value of index 1.
    void GetNextValue(std::string& out);

    /// Advances by one step. There is no end: counters start again or wrap.
    void NextValue();

    /// Returns the value at an index, computed from the template and the parameters and not by stepping.
    ///
    /// It is the value after that many steps from the start, with these exceptions. A MAC address starts from the
    /// address that SetCurrentMac() last set, and only the bits of its step within the mask are used. A hex counter
    /// multiplies its step by the number of steps at the width of the step, and above four bytes without carries
    /// between 32-bit words (Hexfield::operator*). So give the step as many digits as the start:
    /// `@$(0A000001,0,1,ipv4)` is 10.0.0.1 again at index 256. A hex counter with a mask multiplies as
    /// Hexfield::MaskMultiply does, so the value is ahead of stepping by one step or more, and it is at least as wide
    /// as step and mask. With a maximum, the product of step and turns wraps at 2^32 before it is taken modulo maximum
    /// + 1, and a start above the maximum is also taken modulo maximum + 1, even for kind `b`. CompiledTemplate has
    /// none of these exceptions.
    ///
    /// \param newIndex  taken modulo 2^32 as an unsigned number.
    /// \param commit    whether the object moves to the index. The repeats that were still to come do not change then;
    ///                  SetReadCursor() sets them too.
    void GetValueAt(int newIndex, std::string& out, bool commit);

    /// Moves to an index, so that GetValue() and GetNextValue() continue from there, also in the middle of repeats.
    void SetReadCursor(int newIndex);

    /// Renders the current values into the template without parsing it. If nothing has been parsed, the result is the
    /// template itself.
    void Expand(std::string& out) const;

    /// Parses the template unless this has been done; all operations above except Expand() call it. A parse after
    /// SetEtherParams() adds its expressions to those of the first parse. Then both are rendered, one expression after
    /// the other from the last to the first, each at its position in the text as it is by then; the time grows with the
    /// square of the size of the template, and a position beyond the end of the text throws std::out_of_range. So set
    /// the parameters before the first call that asks for a value.
    void ParseExpr();

    /// \}
    /// \name Hex templates
    /// \{

    /// Rewrites a template that starts with "@h" to the bytes that its digits stand for; other texts are not changed.
    /// Expressions ("@" and a kind, with a closed argument list) are copied. A marker among the bytes is escaped by its
    /// first character; after the last expression, "@" is escaped instead. If the last character is "@", the bytes
    /// since the last expression appear twice.
    static void ConvertHexWildcardExpr(std::string& text, std::string opening);

    /// Reads runs of hex digits as bytes. A run with an odd number of digits gets a zero in front; all other characters
    /// only end a run.
    static void ConvertAsciiHexToBin(const std::string& in, std::string& out);

    /// \}
    /// \name Variables
    /// Names are compared without regard to case (ASCII). A new value is shown from the next rendering on. The variable
    /// "port" is "Default_Port" until it is set; a missing variable shows nothing.
    /// \{

    void AddVar(const std::string& name, const std::string& value); ///< Sets a variable or replaces its value.

    /// Reads a variable into \a value: "" if it is missing or \a name is empty. \return whether it was found.
    bool GetVar(const std::string& name, std::string& value) const;

    /// Sets variables from texts of the form name=value, split at the first "="; texts without "=" are skipped.
    void AddVarList(const std::vector<std::string>& list);

    /// Sets variables from name=value pairs, joined by commas. Blanks, tabs and newlines before a name are skipped, and
    /// elsewhere they belong to the name or value; "\," in a value is a comma; a name without "=" at the end is
    /// ignored.
    void AddVarList(const std::string& list);

    /// \}
    /// \name Packet context
    /// All of these except SetCurrentMac() affect only a later parse, so call them before the first value is asked for.
    /// \{

    /// Sets the sequence of addresses of the kinds `m` and `M`, and causes the template to be parsed again.
    ///
    /// \param mac     six bytes, the first address; initially zero.
    /// \param step    six bytes, added at each step; initially 1.
    /// \param mask    six bytes: the bits that may change, which count as one number; a carry passes over the bits
    ///                between them. Initially all bits are set.
    /// \param repeat  how often each address is repeated before the next one.
    void SetEtherParams(const unsigned char* mac, const unsigned char* step, const unsigned char* mask,
                        unsigned int repeat);

    /// Sets the current address of all MAC expressions, parsed already or later. When the address changes next, bits
    /// outside the mask are again those of the address of SetEtherParams().
    void SetCurrentMac(const unsigned char* mac) noexcept;

    /// Sets the number of VLAN tags; new tags are {0, 0, 0, 0, 0xffffffff}.
    void SetVlanTagCount(unsigned char tags);

    /// Defines the counter of a VLAN tag, modulo 65535. Tags are numbered from 1; for 0 and beyond the count, nothing
    /// is done.
    void SetVlanParams(unsigned char tag, unsigned int start, unsigned int step, unsigned int repeat,
                       unsigned int count) noexcept;

    /// Defines the VPI counter, modulo 65535.
    void SetVpiParams(unsigned short start, unsigned short step, unsigned short repeat, unsigned short count) noexcept;

    /// Defines the VCI counter, modulo 65535.
    void SetVciParams(unsigned short start, unsigned short step, unsigned short repeat, unsigned short count) noexcept;

    void SetFirstBase(unsigned int base) noexcept;  ///< The number of kind `b`; 0 at first.
    void SetSecondBase(unsigned int base) noexcept; ///< The start of `s` and `S`; 0 at first.

    /// \}

private:
    friend class CompiledTemplate;
    friend ZOR_COMMON_API std::vector<TemplateDiagnostic> CheckTemplate(const Wildcards& source);
    class Impl;

    std::unique_ptr<Impl> mImpl;
};

} // namespace zor::common

#endif // ZOR_COMMON_WILDCARDS_H
