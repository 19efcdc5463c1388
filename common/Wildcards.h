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
/// An expression is the marker, one kind character and, for most kinds, a list of arguments in parentheses that
/// follows directly. Everything else is literal text, an unknown kind with its marker too. The template is parsed
/// when the first value is drawn.
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
/// Arguments are separated by blanks, tabs, newlines, commas and semicolons, any number of them between two. One
/// trailing separator is allowed. Two, or a list of separators only, make every call that parses throw
/// std::out_of_range, and the object stays as it was. An argument is a number when it starts with one that fits 32
/// bits (a sign passes, what follows the digits does not count); otherwise, and where the list is shorter, it is its
/// position's default: 1 for the first three and 0 for the others. So the empty list is not the same as none: "@m()"
/// selects layout 1, "@b()" a width of 1. A list without ")" is literal text, and `v` without a list is too.
///
/// A counter takes `count` values, or goes on without end if that is 0, and shows each of them `repeat` + 1 times.
/// All numbers wrap modulo 2^32. Values above the maximum start again from 0: they are taken modulo maximum + 1, but
/// for the start, which is shown as it is until an index asks for it. Numbers shorter than the width get zeros in
/// front. All expressions advance together at each step and return to their starts on their own.
///
/// The formats of `$` are "little" (0, raw bytes, least significant first), "big" (1, most significant first), "hex"
/// (2, digits), "mac" (3, its last 6 bytes as 00-11-22-33-44-55), "ipv4" (4) and "ipv6" (5, the last 4 and 16 bytes
/// as addresses), by name or by the low 8 bits of the number; anything else is "little". The step needs at least four
/// arguments, with three it is 1. With a mask, only the bits set in it count, as one number: carries run across
/// the others.
///
/// Length fields come in pairs, matched from the end of the template: the second of a pair marks the end of the
/// stretch, and the first one's arguments say where the length goes (1: in front, 0: behind the stretch), in how many
/// bytes (0: as decimal digits) and in which order (1: most significant first). One left over shows nothing.
///
/// A template that starts with "@h" holds bytes in hexadecimal: "@h 08 00 @$(01,9,1,big) ff". The text between
/// expressions is read as digits, where any other character ends a byte; expressions stay as they are. The
/// marker of such a template is "@".
///
/// Distinct objects may be used from distinct threads. The const members, Expand() and GetVar(), write nothing, so
/// several threads may call them on one object at once as long as no other member runs. All other members, reading a
/// value included, need the object to themselves, as they may parse.
///
/// If an exception escapes, the object is as it was before the call, and the text it was to write into is valid but
/// unspecified. Into a string that is used again, GetValue(), GetNextValue() and Expand() allocate nothing once all is
/// large enough, unless there was a second parse. What they cost grows with the length of the template and its number
/// of expressions, and so does parsing.
class ZOR_COMMON_API Wildcards {
public:
    /// A counter that callers define beside the template.
    struct VarDefUint32 {
        unsigned int start = 0;             ///< The first value.
        unsigned int step = 0;              ///< The increment, modulo 2^32.
        unsigned int repeat = 0;            ///< How often each value is repeated before the next one.
        unsigned int count = 0;             ///< The number of values; 0 is without end.
        unsigned int modulus = 0xffffffffu; ///< Values are taken modulo this; 0 is without.
    };

    /// One expression of a parsed template, as a plain record of its arguments and its value. The library keeps
    /// expressions in a form of its own and neither fills nor reads this one.
    struct SubsExpr {
        std::size_t pos = 0;             ///< Where its marker stands in the template.
        std::size_t len = 0;             ///< How many characters of the template it takes.
        unsigned int start = 1;          ///< The first value.
        unsigned int count = 1;          ///< The number of values before the start comes again; 0 is without end.
        unsigned int step = 1;           ///< The increment.
        unsigned int repeat = 0;         ///< How often each value is repeated before the next one.
        unsigned int current = 1;        ///< The value; of a MAC address the upper 24 bits.
        unsigned int modulus = 0;        ///< Values are taken modulo this; 0 is without.
        unsigned int currentLow = 0;     ///< The lower 24 bits of a MAC address.
        unsigned int holdLeft = 0;       ///< The repeats of the value that are still to come.
        unsigned char width = 0;         ///< Decimal width; format of a hex counter; layout of a MAC address.
        char kind = 0;                   ///< The kind character.
        std::vector<Hexfield> hexValues; ///< Hex counter: value, start and step; with a mask also the mask, and
                                         ///< start AND NOT mask.
        std::string text;                ///< The name of a variable, in lower case.
    };

    /// \name Construction and copying
    /// \{

    /// \param text     the template. Nothing is parsed before the first value is drawn.
    /// \param opening  the marker that opens an expression, meant to be one character, normally "@". The kind is
    ///                 the character after its first one. An empty marker finds no expression.
    Wildcards(const std::string& text, std::string opening);

    Wildcards(const Wildcards& other);                ///< The copy is independent and goes on from the same value.
    Wildcards(Wildcards&& other) noexcept;            ///< The source may only be assigned to or destroyed.
    Wildcards& operator=(const Wildcards& other);     ///< The same as for the copy constructor.
    Wildcards& operator=(Wildcards&& other) noexcept; ///< The source may only be assigned to or destroyed.
    ~Wildcards();                                     ///< Releases all that the object holds.

    /// \}
    /// \name Values
    /// \{

    /// The current value, at first that of index 0, without advancing.
    void GetValue(std::string& out);

    /// Advances by one step, then gives the value: the first call gives the value of index 1.
    void GetNextValue(std::string& out);

    /// Advances by one step. There is no end: counters start again or wrap.
    void NextValue();

    /// Gives the value at an index, worked out from the template and the parameters and not by stepping.
    ///
    /// It is the value after so many steps from the start, with these exceptions. A MAC address starts from what
    /// SetCurrentMac() last set, and of its step only the bits in the mask count. A hex counter multiplies its step by
    /// the number of steps at the step's own width, with what that means above four bytes (Hexfield::operator*): so give
    /// the step as many digits as the start, as `@$(0A000001,0,1,ipv4)` is 10.0.0.1 again at index 256. Within a mask it
    /// multiplies as Hexfield::MaskMultiply, which leaves the step at least one step ahead, and it has the width of the
    /// step and the mask at least. With a maximum, step times turns wraps at 2^32 before it is taken modulo maximum + 1,
    /// and so is a start above the maximum, also of kind `b`.
    ///
    /// \param newIndex  taken modulo 2^32 as an unsigned number.
    /// \param commit    whether the object moves there. The repeats still to come stay as they are then;
    ///                  SetReadCursor() sets them too.
    void GetValueAt(int newIndex, std::string& out, bool commit);

    /// Moves to an index, so that GetValue() and GetNextValue() go on from there, in the middle of repeats too.
    void SetReadCursor(int newIndex);

    /// Renders the current values into the template without parsing it first: as long as nothing else has parsed,
    /// that is the template.
    void Expand(std::string& out) const;

    /// Parses the template unless that has been done; every other value operation calls this. A parse after
    /// SetEtherParams() adds its expressions behind those it finds, and both are then rendered one after the other
    /// from the last to the first, each at its position in what the text has become, in time that grows with the square
    /// of the template; a position beyond the end of the text raises std::out_of_range. So set the parameters before
    /// the first value is drawn.
    void ParseExpr();

    /// \}
    /// \name Hex templates
    /// \{

    /// Rewrites a template that starts with "@h" to the bytes it stands for; others are left alone. Expressions
    /// ("@" and a kind, with a list that is closed) are copied. A marker among the bytes is escaped by its first
    /// character; behind the last expression, "@" is. If the last character is "@", the bytes since the last expression
    /// appear twice.
    static void ConvertHexWildcardExpr(std::string& text, std::string opening);

    /// Reads runs of hex digits as bytes, an odd run with a zero in front; other characters only end a run.
    static void ConvertAsciiHexToBin(const std::string& in, std::string& out);

    /// \}
    /// \name Variables
    /// Names are the same in upper and lower case (ASCII). Values count from the next one that is rendered. The
    /// variable "port" is "Default_Port" until it is set; one that is missing renders as nothing.
    /// \{

    void AddVar(const std::string& name, const std::string& value); ///< Sets a variable, over an old value if any.

    /// Gives the value of a variable, "" where it is missing or \a name is empty. \return whether it was found.
    bool GetVar(const std::string& name, std::string& value) const;

    /// Sets variables from texts of the form name=value, split at the first "="; texts without "=" are skipped.
    void AddVarList(const std::vector<std::string>& list);

    /// Sets variables from name=value, joined by commas. Blanks, tabs and newlines before a name are skipped, others
    /// belong to the name or value; "\," in a value is a comma; a name without "=" at the end is ignored.
    void AddVarList(const std::string& list);

    /// \}
    /// \name Packet context
    /// All but SetCurrentMac() act on a parse that follows, so call them before the first value is drawn.
    /// \{

    /// Sets what the kinds `m` and `M` step through, and has the template parsed again.
    ///
    /// \param mac     six bytes, the first address; zero at first.
    /// \param step    six bytes, added at each step; 1 at first.
    /// \param mask    six bytes, the bits that may change, as one number: carries run across the others. All at first.
    /// \param repeat  how often each address is repeated before the next one.
    void SetEtherParams(const unsigned char* mac, const unsigned char* step, const unsigned char* mask,
                        unsigned int repeat);

    /// Sets the current address of expressions already parsed and of those parsed later. Bits outside the mask keep
    /// coming from the address of SetEtherParams().
    void SetCurrentMac(const unsigned char* mac) noexcept;

    /// Sets how many VLAN tags there are; new ones are {0, 0, 0, 0, 0xffffffff}.
    void SetVlanTagCount(unsigned char tags);

    /// Defines the counter of a VLAN tag from 1 on, modulo 65535; does nothing for 0 and beyond the count.
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
