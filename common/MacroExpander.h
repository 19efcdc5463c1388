#ifndef ZOR_COMMON_MACRO_EXPANDER_H
#define ZOR_COMMON_MACRO_EXPANDER_H

/// \file
/// CMacroExpander, which replaces "$" variables in a text, the tokens it makes and the resolvers it asks.

#include "Export.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace zor::common {

class CMacroExpander;

/// Where a CMacroExpander gets its variables from: derive from it to supply one's own.
///
/// A resolver belongs to the caller, who keeps it alive as long as an expander may ask it. While it answers it
/// must not change the tokens of the expander that asks; to nest macros, expand values with a second expander.
class ZOR_COMMON_API CMacroVarResolver {
public:
    virtual ~CMacroVarResolver();

    /// Lists the names that expressions may use.
    ///
    /// \param names  comes in empty from an expander; the order and duplicates do not matter.
    /// \return       false to have no name known at all, whatever \a names holds.
    virtual bool GetVarNames(std::vector<std::string>& names) = 0;

    /// Gives the value of one variable.
    ///
    /// \param value  comes in empty from an expander.
    /// \return       false to have the variable contribute nothing, whatever \a value holds.
    virtual bool GetValue(const std::string& name, std::string& value) = 0;

protected:
    CMacroVarResolver() = default;
    CMacroVarResolver(const CMacroVarResolver&) = default;
    CMacroVarResolver& operator=(const CMacroVarResolver&) = default;
};

/// A resolver that holds names and values itself. Names and values are any bytes, NUL included.
class ZOR_COMMON_API CMacroVarMapResolver : public CMacroVarResolver {
public:
    CMacroVarMapResolver() = default;
    CMacroVarMapResolver(const CMacroVarMapResolver&) = default;
    /// Takes all or, where memory runs out, nothing.
    CMacroVarMapResolver& operator=(const CMacroVarMapResolver& other);
    ~CMacroVarMapResolver() override;

    /// Replaces \a names by all names, in ascending order of their bytes as unsigned numbers. Always true.
    bool GetVarNames(std::vector<std::string>& names) override;

    /// Sets \a value to that of \a name; an unknown name empties it and gives false.
    bool GetValue(const std::string& name, std::string& value) override;

    /// Adds a variable, or gives a known one another value.
    void SetValue(const std::string& name, const std::string& value);

private:
    friend class CMacroVar;

    /// A number that no other resolver has or had, and that an assignment changes: as long as it is the same, each
    /// value stays in its place, as variables are never taken out.
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

    ZOR_COMMON_LOCAL const std::string* Find(const std::string& name) const;

    Identity mIdentity;
    std::map<std::string, std::string> mValues;
};

/// Something that is wrong with a macro expression.
struct MacroDiagnostic {
    std::size_t pos = 0; ///< The first byte that is meant.
    std::size_t len = 0; ///< How many bytes are meant.
    std::string message; ///< What is so.
    std::string hint;    ///< What to write instead of these bytes, ready to paste; empty if only the writer knows.
};

/// Says all that is wrong with an expression, and where, and not what is wrong first alone: what CMacroExpander refuses,
/// in its words, and a "$" that is literal although a variable of the resolver has the name behind it, or that makes the
/// character behind it disappear. Of "$$$", which is how a literal "$$" is written, nothing is said. An expression without an
/// entry is accepted.
///
/// \param resolver  asked for its names once; null knows none.
/// \return          in the order of their places.
ZOR_COMMON_API std::vector<MacroDiagnostic> CheckMacro(const std::string& expr, CMacroVarResolver* resolver);

/// A piece of a parsed expression.
class ZOR_COMMON_API CMacroExpanderToken {
public:
    virtual ~CMacroExpanderToken();

    /// Sets \a value to what this piece expands to; false says that it has no value.
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
    /// \param expander  the one that makes the token; not owned, may be null.
    CMacroString(CMacroExpander* expander, std::string text);
    CMacroString(const CMacroString&) = default;
    CMacroString& operator=(const CMacroString&) = default;
    ~CMacroString() override;

    /// Sets \a value to the text. Always true.
    bool GetValue(std::string& value) override;

    CMacroExpander* GetExpander() const noexcept { return mExpander; } ///< As given to the constructor.
    const std::string& GetText() const noexcept { return mText; }      ///< What it expands to.

private:
    friend class CMacroExpander;

    CMacroExpander* mExpander;
    std::string mText;
};

/// A reference to a variable.
class ZOR_COMMON_API CMacroVar : public CMacroExpanderToken {
public:
    /// \param expander  the one whose resolver is asked; not owned, may be null.
    CMacroVar(CMacroExpander* expander, std::string name);
    CMacroVar(const CMacroVar&) = default;
    CMacroVar& operator=(const CMacroVar&) = default;
    ~CMacroVar() override;

    /// Passes on what the expander's resolver of the moment answers. Without an expander, or without a resolver,
    /// false, and \a value stays as it is.
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
/// An expression is parsed and checked once and can then be expanded any number of times, each time with the
/// values that the resolver gives at that moment.
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
/// A "(" inside a bare name opens a part that is joined to it, up to the ")": `$ab(cd)` names abcd. A ")" outside
/// of a variable is plain text. White space is blank, `\t`, `\n`, `\v`, `\f` and `\r`, whatever the locale. All
/// other bytes, NUL and those above 127 included, have no meaning of their own.
///
/// Whether a "$" starts a variable is decided by the character two places after it, not by the one that follows:
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
/// Every variable must be among the names that the resolver lists when the expression is parsed. What can go
/// wrong, and what the error text then says:
///
/// | message | when |
/// |---|---|
/// | `Mismatched closing parenthesis before opening parenthesis.` | ")" inside a bare name |
/// | `Can not nest variable parenthesis.` | "(" inside a name in parentheses |
/// | `Missing closing parenthesis.` | the text ends inside a name in parentheses |
/// | `Variable "NAME" is not supported.` | the resolver does not list NAME; a line for each reference, joined by `\n` |
///
/// The first three replace the error text. The last is appended to what the error text already holds, after a
/// `\n`, and a parse succeeds exactly when the error text is empty after it: a text that is not empty before the
/// call makes it fail, so pass an empty one.
///
/// Parsing is linear in the expression, checking takes n log n steps for n names and references. A parse uses the
/// memory of the tokens before the current ones again, so that alike expressions, accepted one after the other, soon
/// need no more; ClearTokens() gives it back. The texts of one call may be one object: EvalExpr(s, s, error)
/// replaces s by its expansion. An expander is used by one thread at a time. It is not copied, because its tokens
/// point back at it. If an exception escapes from an operation (std::bad_alloc, or one of the resolver's own), the
/// expander is as it was before the call.
class ZOR_COMMON_API CMacroExpander {
public:
    /// An expander with an empty expression, which expands to an empty text.
    ///
    /// \param resolver  not owned; null knows no variable.
    CMacroExpander(CMacroVarResolver* resolver);
    CMacroExpander(const CMacroExpander&) = delete;
    CMacroExpander& operator=(const CMacroExpander&) = delete;
    ~CMacroExpander();

    /// Replaces the resolver. The tokens stay and are not checked again; the next GetValue() asks the new one.
    void SetResolver(CMacroVarResolver* resolver) { mResolver = resolver; }
    CMacroVarResolver* GetResolver() { return mResolver; } ///< Null if there is none.

    /// The expression that SetExpr() accepted last. Changing it changes no token, but it is what a failing
    /// SetExpr() goes back to.
    std::string& GetExpr() { return mExpr; }

    /// Parses and checks an expression whose tokens take the place of the current ones, also where it fails: after
    /// an unknown variable all of them, after a parenthesis in the wrong place those before it. GetExpr() stays.
    ///
    /// \param error  see the class comment; not emptied first.
    /// \return       whether \a error is empty after the call.
    bool ParseExpr(const std::string& expr, std::string& error);

    /// Parses and checks an expression and keeps it. On failure GetExpr() stays, and it is parsed again, so that
    /// the tokens are its own once more.
    ///
    /// \param error  see the class comment; not emptied first.
    bool SetExpr(const std::string& expr, std::string& error);

    /// The same for callers that need no reason.
    bool SetExpr(const std::string& expr);

    /// Replaces \a value by the expansion of the tokens. A variable for which the resolver has no value
    /// contributes nothing. \a value keeps its capacity, so literals and the values of a CMacroVarMapResolver go into
    /// a string used again without an allocation; if the resolver throws, it holds the expansion up to there.
    void GetValue(std::string& value);

    /// SetExpr() and, if that succeeds, GetValue(); otherwise \a value stays as it is.
    bool EvalExpr(const std::string& expr, std::string& value, std::string& error);

    /// Drops all tokens, so that GetValue() gives an empty text. GetExpr() stays.
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
    Tokens mUsed; ///< The tokens before the current ones, for the next parse to use again.
};

} // namespace zor::common

#endif // ZOR_COMMON_MACRO_EXPANDER_H
