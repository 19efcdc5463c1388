#ifndef ZOR_COMMON_MACRO_EXPANDER_H
#define ZOR_COMMON_MACRO_EXPANDER_H

/// \file
/// CMacroExpander, which replaces "$" variables in a text, its tokens and its resolvers.

#include "Export.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace zor::common {

class CMacroExpander;

/// Supplies a CMacroExpander with variables. Derive from it to supply your own.
///
/// A resolver belongs to the caller, who keeps it alive as long as an expander uses it. During a call it must not
/// change the tokens of the expander that calls; to nest macros, expand values with a second expander.
class ZOR_COMMON_API CMacroVarResolver {
public:
    virtual ~CMacroVarResolver();

    /// Lists the names that expressions may use.
    ///
    /// \param names  passed in empty by an expander; the order and duplicates do not matter.
    /// \return       false if there are no names, whatever \a names contains.
    virtual bool GetVarNames(std::vector<std::string>& names) = 0;

    /// Reads the value of a variable.
    ///
    /// \param value  passed in empty by an expander.
    /// \return       false if the variable has no value, whatever \a value contains; it is then expanded to nothing.
    virtual bool GetValue(const std::string& name, std::string& value) = 0;

protected:
    CMacroVarResolver() = default;
    CMacroVarResolver(const CMacroVarResolver&) = default;
    CMacroVarResolver& operator=(const CMacroVarResolver&) = default;
};

/// A resolver that stores names and values. Both may contain any bytes, NUL included.
class ZOR_COMMON_API CMacroVarMapResolver : public CMacroVarResolver {
public:
    CMacroVarMapResolver() = default;
    CMacroVarMapResolver(const CMacroVarMapResolver& other); ///< Copies all variables.
    /// Copies all variables; if an allocation fails, nothing changes.
    CMacroVarMapResolver& operator=(const CMacroVarMapResolver& other);
    ~CMacroVarMapResolver() override;

    /// Replaces \a names by all names, in ascending order of their bytes as unsigned numbers. Always true.
    bool GetVarNames(std::vector<std::string>& names) override;

    /// Sets \a value to that of \a name. For an unknown name, clears it and returns false.
    bool GetValue(const std::string& name, std::string& value) override;

    /// Adds a variable, or replaces its value.
    void SetValue(const std::string& name, const std::string& value);

private:
    friend class CMacroVar;

    /// Unique per resolver and renewed by assignment. While it is unchanged, pointers to values stay valid, as
    /// variables are never removed.
    class ZOR_COMMON_API Identity {
    public:
        Identity() noexcept : mNumber(NextNumber()) {}
        Identity(const Identity&) noexcept : Identity() {}
        Identity& operator=(const Identity&) = delete;
        void Renew() noexcept { mNumber = NextNumber(); }
        std::uint64_t Number() const noexcept { return mNumber; }

    private:
        static std::uint64_t NextNumber() noexcept;

        std::uint64_t mNumber;
    };

    using Variable = std::pair<const std::string, std::string>;
    using Places = std::vector<const Variable*>;

    ZOR_COMMON_LOCAL static void Place(Places& places, const Variable& variable) noexcept;
    ZOR_COMMON_LOCAL static Places PlacesOf(const std::map<std::string, std::string>& values, std::size_t room);
    ZOR_COMMON_LOCAL const std::string* Find(const std::string& name) const noexcept;

    Identity mIdentity;
    std::map<std::string, std::string> mValues;
    Places mPlaces; ///< A hash table over the map, with at least one null; its size is 0 or a power of two.
};

/// A fault of a macro expression.
struct MacroDiagnostic {
    std::size_t pos = 0; ///< Offset of the first byte concerned.
    std::size_t len = 0; ///< The number of bytes concerned.
    std::string message; ///< What is wrong, in one or more sentences.
    std::string hint;    ///< A replacement for these bytes, ready to paste; empty if only the writer knows.
};

/// Finds all faults of an expression with their places, and not only the first one: everything that CMacroExpander
/// refuses, in its words; a "$" that is literal although the name of a variable follows it; and a "$" after which a
/// character disappears. "$$$" is accepted, as it is the way to write a literal "$$". CMacroExpander accepts an
/// expression for which nothing is returned.
///
/// \param resolver  asked once for its names; null has no names.
/// \return          the faults in the order of their places.
ZOR_COMMON_API std::vector<MacroDiagnostic> CheckMacro(const std::string& expr, CMacroVarResolver* resolver);

/// A piece of a parsed expression.
class ZOR_COMMON_API CMacroExpanderToken {
public:
    virtual ~CMacroExpanderToken();

    /// Sets \a value to the expansion of this piece; false if it has no value.
    virtual bool GetValue(std::string& value) = 0;

protected:
    CMacroExpanderToken() = default;
    CMacroExpanderToken(const CMacroExpanderToken&) = default;
    CMacroExpanderToken& operator=(const CMacroExpanderToken&) = default;

private:
    friend class CMacroExpander;
    friend class CMacroString;
    friend class CMacroVar;

    enum class Kind : unsigned char { Other, Literal, Variable };

    explicit CMacroExpanderToken(Kind kind) noexcept : mKind(kind) {}

    Kind mKind = Kind::Other;
};

/// Literal text.
class ZOR_COMMON_API CMacroString : public CMacroExpanderToken {
public:
    /// \param expander  the expander that makes the token; not owned, may be null.
    CMacroString(CMacroExpander* expander, std::string text);
    CMacroString(const CMacroString&) = default;
    CMacroString& operator=(const CMacroString&) = default;
    ~CMacroString() override;

    /// Sets \a value to the text. Always true.
    bool GetValue(std::string& value) override;

    CMacroExpander* GetExpander() const noexcept { return mExpander; } ///< As given to the constructor.
    const std::string& GetText() const noexcept { return mText; }      ///< Its expansion.

private:
    friend class CMacroExpander;

    CMacroExpander* mExpander;
    std::string mText;
};

/// A reference to a variable.
class ZOR_COMMON_API CMacroVar : public CMacroExpanderToken {
public:
    /// \param expander  the expander whose resolver is asked; not owned, may be null.
    CMacroVar(CMacroExpander* expander, std::string name);
    CMacroVar(const CMacroVar&) = default;
    CMacroVar& operator=(const CMacroVar&) = default;
    ~CMacroVar() override;

    /// Asks the present resolver of the expander. Without an expander or a resolver it returns false, and \a value
    /// stays as it is.
    bool GetValue(std::string& value) override;

    CMacroExpander* GetExpander() const noexcept { return mExpander; } ///< As given to the constructor.
    const std::string& GetName() const noexcept { return mName; }      ///< Without "$" and parentheses.

private:
    friend class CMacroExpander;

    ZOR_COMMON_LOCAL const std::string* HeldBy(const CMacroVarMapResolver& resolver);

    CMacroExpander* mExpander;
    std::string mName;
    const std::string* mHeld = nullptr; ///< Where the resolver of number mHolder holds the value.
    std::uint64_t mHolder = 0;
};

/// Expands macro expressions: texts in which "$" starts a variable, whose value a resolver supplies.
///
/// An expression is parsed and checked once. Then it can be expanded any number of times, each time with the present
/// values of the resolver.
/// \code
/// CMacroVarMapResolver variables;
/// variables.SetValue("host", "10.0.0.1");
/// variables.SetValue("port", "80");
/// CMacroExpander expander(&variables);
/// std::string text, error;
/// if (!expander.SetExpr("http://$(host):$port /index", error)) { /* error says why */ }
/// expander.GetValue(text);                // text is "http://10.0.0.1:80 /index"
/// variables.SetValue("port", "8080");
/// expander.GetValue(text);                // text is "http://10.0.0.1:8080 /index"
/// \endcode
///
/// A variable is written in one of two ways:
///
/// | written | names | ends |
/// |---|---|---|
/// | `$name` | name | before white space, before the next "$", or at the end of the text |
/// | `$(any name)` | any name | after the ")"; the name may hold white space and "$", but no "(" |
///
/// A "(" inside a bare name opens a part that is joined to the name, up to the ")": `$ab(cd)` names abcd. A ")" outside
/// of a variable is plain text. White space is blank, `\t`, `\n`, `\v`, `\f` and `\r`, whatever the locale. All other
/// bytes, NUL and those above 127 included, have no special meaning.
///
/// The character two places after a "$" decides whether it starts a variable, and not the character directly after it:
///
/// | the "$" | is |
/// |---|---|
/// | the last character of the expression | literal |
/// | with white space two places after it | literal: `a$b c` is plain text, `$(b) c` has a variable |
/// | with a "$" two places after it | literal, and the character between the two is dropped: `$$$` is the text `$$`, `$a$b` is "$" and the variable b |
/// | any other | the start of a variable, possibly with an empty name: `$$x` is the variable "" and the variable x |
///
/// Existing expressions rely on exactly this. Names of one letter are safest in parentheses.
///
/// Every variable must be among the names that the resolver lists when the expression is parsed. These are the error
/// texts:
///
/// | message | when |
/// |---|---|
/// | `Mismatched closing parenthesis before opening parenthesis.` | ")" inside a bare name |
/// | `Can not nest variable parenthesis.` | "(" inside a name in parentheses |
/// | `Missing closing parenthesis.` | the text ends inside a name in parentheses |
/// | `Variable "NAME" is not supported.` | the resolver does not list NAME; a line for each reference, joined by `\n` |
///
/// The first three replace the error text. The last is appended to it after a `\n`. A parse succeeds if the error text
/// is empty at its end, so a text that is not empty before the call makes the parse fail: pass an empty one.
///
/// Parsing is linear in the size of the expression; checking takes n log n steps for n names and references, and with a
/// CMacroVarMapResolver a look-up by hash for each reference. A parse reuses the memory of earlier tokens, so similar
/// expressions soon need no allocations; ClearTokens() frees it. The texts of one call may be the same object:
/// EvalExpr(s, s, error) replaces s by its expansion. Use an expander in one thread at a time. It cannot be copied,
/// because its tokens point to it. If an exception escapes from an operation (std::bad_alloc, or an exception of the
/// resolver), the expander is as it was before the call.
class ZOR_COMMON_API CMacroExpander {
public:
    /// An expander with an empty expression, which expands to an empty text.
    ///
    /// \param resolver  not owned; null has no variables.
    CMacroExpander(CMacroVarResolver* resolver);
    CMacroExpander(const CMacroExpander&) = delete;
    CMacroExpander& operator=(const CMacroExpander&) = delete;
    ~CMacroExpander();

    /// Replaces the resolver. The tokens stay and are not checked again; the next GetValue() asks the new one.
    void SetResolver(CMacroVarResolver* resolver) { mResolver = resolver; }
    CMacroVarResolver* GetResolver() { return mResolver; } ///< Null if there is none.

    /// The last expression that SetExpr() accepted. Writing to it does not change the tokens, but a SetExpr() that
    /// fails restores the expression that is here.
    std::string& GetExpr() { return mExpr; }

    /// Parses and checks an expression. Its tokens replace the present ones even if it fails: all of them after an
    /// unknown variable, those before the fault after a wrong parenthesis. GetExpr() stays.
    ///
    /// \param error  see the class comment; not emptied first.
    /// \return       whether \a error is empty after the call.
    bool ParseExpr(const std::string& expr, std::string& error);

    /// Parses and checks an expression and keeps it. On failure GetExpr() stays, and it is parsed again to restore its
    /// tokens.
    ///
    /// \param error  see the class comment; not emptied first.
    bool SetExpr(const std::string& expr, std::string& error);

    /// The same without an error text.
    bool SetExpr(const std::string& expr);

    /// Replaces \a value by the expansion of the tokens. A variable without a value expands to nothing. \a value keeps
    /// its capacity, so with a CMacroVarMapResolver and a string that is large enough nothing is allocated. If the
    /// resolver throws, \a value has the expansion up to that point.
    void GetValue(std::string& value);

    /// Calls SetExpr() and, if that succeeds, GetValue(); otherwise \a value stays as it is.
    bool EvalExpr(const std::string& expr, std::string& value, std::string& error);

    /// Drops all tokens, so GetValue() returns an empty text. GetExpr() stays.
    void ClearTokens();

private:
    friend ZOR_COMMON_API std::vector<MacroDiagnostic> CheckMacro(const std::string& expr, CMacroVarResolver* resolver);
    class Scanner;
    using Tokens = std::vector<std::unique_ptr<CMacroExpanderToken>>;

    ZOR_COMMON_LOCAL bool Parse(const std::string& expr, std::string& error, Tokens& tokens);
    ZOR_COMMON_LOCAL bool ParseOrGoBack(const std::string& expr, std::string& error, Tokens& tokens);

    CMacroVarResolver* mResolver;
    Tokens mTokens;
    std::string mExpr;
    Tokens mUsed; ///< The previous tokens, whose memory the next parse reuses.
};

} // namespace zor::common

#endif // ZOR_COMMON_MACRO_EXPANDER_H
