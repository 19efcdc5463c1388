#include "MacroExpander.h"

#include <algorithm>
#include <string_view>
#include <typeinfo>

namespace zor::common {

CMacroVarResolver::~CMacroVarResolver() = default;

CMacroVarMapResolver::~CMacroVarMapResolver() = default;

bool CMacroVarMapResolver::GetVarNames(std::vector<std::string>& names)
{
    std::vector<std::string> listed;
    listed.reserve(mValues.size());
    for (const auto& variable : mValues) listed.push_back(variable.first);
    names.swap(listed);
    return true;
}

bool CMacroVarMapResolver::GetValue(const std::string& name, std::string& value)
{
    const auto found = mValues.find(name);
    if (found == mValues.end()) {
        value.clear();
        return false;
    }
    value = found->second;
    return true;
}

void CMacroVarMapResolver::SetValue(const std::string& name, const std::string& value)
{
    mValues.insert_or_assign(name, value);
}

CMacroExpanderToken::~CMacroExpanderToken() = default;

CMacroString::CMacroString(CMacroExpander* expander, const std::string& text) : mExpander(expander), mText(text) {}

CMacroString::~CMacroString() = default;

bool CMacroString::GetValue(std::string& value)
{
    value = mText;
    return true;
}

CMacroVar::CMacroVar(CMacroExpander* expander, const std::string& name) : mExpander(expander), mName(name) {}

CMacroVar::~CMacroVar() = default;

bool CMacroVar::GetValue(std::string& value)
{
    CMacroVarResolver* const resolver = mExpander ? mExpander->GetResolver() : nullptr;
    return resolver && resolver->GetValue(mName, value);
}

namespace {

/// What the scanner is gathering, which is also the kind of token to make of it.
enum ParserState { kBetweenTokens = 0, kLiteral = 1, kVariable = 2 };

/// A new token of the kind, null between tokens.
std::unique_ptr<CMacroExpanderToken> MakeToken(CMacroExpander* expander, ParserState kind, const std::string& text)
{
    switch (kind) {
    case kLiteral: return std::make_unique<CMacroString>(expander, text);
    case kVariable: return std::make_unique<CMacroVar>(expander, text);
    default: return nullptr;
    }
}

/// isspace of the "C" locale, for any byte.
bool IsSpace(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

/// Splits an expression into tokens.
class Scanner {
public:
    using Tokens = std::vector<std::unique_ptr<CMacroExpanderToken>>;

    Scanner(CMacroExpander* expander, std::string_view expr, Tokens& tokens)
        : mExpander(expander), mExpr(expr), mTokens(tokens)
    {
    }

    /// Scans all of the expression and returns null, or stops at a fault and returns its message.
    const char* Scan()
    {
        while (mNext < mExpr.size()) {
            if (mState != kVariable) {
                ScanText();
            } else if (const char* message = ScanName()) {
                return message;
            }
        }
        if (mParenthesis) return "Missing closing parenthesis.";
        Emit();
        return nullptr;
    }

private:
    /// Gathers literal text up to the next "$" and decides what that is.
    void ScanText()
    {
        const std::size_t dollar = std::min(mExpr.find('$', mNext), mExpr.size());
        if (dollar > mNext) Gather(kLiteral, dollar);
        if (dollar == mExpr.size()) return;
        // The text counts as closed by a NUL, which is neither white space nor "$".
        const char second = dollar + 2 < mExpr.size() ? mExpr[dollar + 2] : '\0';
        if (dollar + 1 == mExpr.size() || IsSpace(second)) {
            Gather(kLiteral, dollar + 1);
        } else if (second == '$') {
            Gather(kLiteral, dollar + 1);
            mNext = dollar + 2;
        } else {
            Emit();
            mState = kVariable;
            mNext = dollar + 1;
        }
    }

    /// Gathers a variable's name up to a character with a meaning, and acts on that.
    const char* ScanName()
    {
        std::size_t end = mNext;
        while (end < mExpr.size() && !EndsName(mExpr[end])) ++end;
        Gather(kVariable, end);
        if (end == mExpr.size()) return nullptr;
        if (mExpr[end] == '(') {
            if (mParenthesis) return "Can not nest variable parenthesis.";
            mParenthesis = true;
            ++mNext;
        } else if (mExpr[end] == ')') {
            if (!mParenthesis) return "Mismatched closing parenthesis before opening parenthesis.";
            mParenthesis = false;
            Emit();
            ++mNext;
        } else {
            Emit(); // white space or "$", which starts the next token
        }
        return nullptr;
    }

    bool EndsName(char c) const { return c == '(' || c == ')' || (!mParenthesis && (c == '$' || IsSpace(c))); }

    void Gather(ParserState state, std::size_t end)
    {
        mState = state;
        mText.append(mExpr, mNext, end - mNext);
        mNext = end;
    }

    /// Makes a token of what is gathered; between tokens there is nothing to make.
    void Emit()
    {
        if (auto token = MakeToken(mExpander, mState, mText)) mTokens.push_back(std::move(token));
        mText.clear();
        mState = kBetweenTokens;
    }

    CMacroExpander* mExpander;
    std::string_view mExpr;
    Tokens& mTokens;
    std::size_t mNext = 0;
    ParserState mState = kBetweenTokens;
    bool mParenthesis = false;
    std::string mText;
};

} // namespace

CMacroExpander::CMacroExpander(CMacroVarResolver* resolver) : mResolver(resolver) {}

CMacroExpander::~CMacroExpander()
{
    ClearTokens();
}

/// Parses and checks, with the outcome in \a tokens and \a error alone. \a error may be \a expr.
bool CMacroExpander::Parse(const std::string& expr, std::string& error, Tokens& tokens)
{
    if (const char* message = Scanner(this, expr, tokens).Scan()) {
        error = message;
        return false;
    }

    std::vector<std::string> names;
    if (mResolver && !mResolver->GetVarNames(names)) names.clear();
    if (!std::is_sorted(names.begin(), names.end())) std::sort(names.begin(), names.end());

    std::string messages;
    for (const auto& token : tokens) {
        const CMacroExpanderToken& piece = *token;
        if (typeid(piece) != typeid(CMacroVar)) continue;
        const std::string& name = static_cast<const CMacroVar&>(piece).GetName();
        if (std::binary_search(names.begin(), names.end(), name)) continue;
        if (!error.empty() || !messages.empty()) messages += '\n';
        messages += "Variable \"";
        messages += name;
        messages += "\" is not supported.";
    }
    error += messages;
    return error.empty();
}

bool CMacroExpander::ParseExpr(const std::string& expr, std::string& error)
{
    Tokens tokens;
    const bool valid = Parse(expr, error, tokens);
    mTokens.swap(tokens);
    return valid;
}

/// Parses an expression into \a tokens. If that fails, the expander's tokens become once more those of the expression
/// that was accepted last.
bool CMacroExpander::ParseOrGoBack(const std::string& expr, std::string& error, Tokens& tokens)
{
    std::string messages = error; // a copy, because the caller's text may be the expression to go back to
    if (Parse(expr, messages, tokens)) return true;
    tokens.clear();
    std::string discarded;
    Parse(mExpr, discarded, tokens);
    mTokens.swap(tokens);
    error.swap(messages);
    return false;
}

bool CMacroExpander::SetExpr(const std::string& expr, std::string& error)
{
    Tokens tokens;
    if (!ParseOrGoBack(expr, error, tokens)) return false;
    mExpr = expr;
    mTokens.swap(tokens);
    return true;
}

bool CMacroExpander::SetExpr(const std::string& expr)
{
    std::string discarded;
    return SetExpr(expr, discarded);
}

void CMacroExpander::GetValue(std::string& value)
{
    value.clear();
    std::string fresh;
    for (const auto& token : mTokens) {
        CMacroExpanderToken& piece = *token;
        if (typeid(piece) == typeid(CMacroString)) {
            value += static_cast<CMacroString&>(piece).GetText(); // saves the way through a text of its own
            continue;
        }
        fresh.clear();
        if (piece.GetValue(fresh)) value += fresh;
    }
}

bool CMacroExpander::EvalExpr(const std::string& expr, std::string& value, std::string& error)
{
    Tokens tokens;
    if (!ParseOrGoBack(expr, error, tokens)) return false;
    std::string other = expr; // the new expression, then the one before it
    std::string expansion;
    mExpr.swap(other);
    mTokens.swap(tokens);
    try {
        GetValue(expansion);
    } catch (...) {
        mExpr.swap(other);
        mTokens.swap(tokens);
        throw;
    }
    value.swap(expansion);
    return true;
}

void CMacroExpander::ClearTokens()
{
    mTokens.clear();
}

} // namespace zor::common
