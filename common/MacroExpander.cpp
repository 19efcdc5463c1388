#include "MacroExpander.h"

#include "Characters.h"
#include "TemplateAdvice.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cassert>
#include <functional>
#include <string_view>
#include <typeinfo>
#include <utility>

namespace zor::common {

CMacroVarResolver::~CMacroVarResolver() = default;

CMacroVarMapResolver::CMacroVarMapResolver(const CMacroVarMapResolver& other)
    : CMacroVarResolver(other), mValues(other.mValues), mPlaces(PlacesOf(mValues, other.mPlaces.size()))
{
}

CMacroVarMapResolver& CMacroVarMapResolver::operator=(const CMacroVarMapResolver& other)
{
    if (this == &other) return *this;
    std::map<std::string, std::string> values = other.mValues; // what may fail comes first
    Places places = PlacesOf(values, other.mPlaces.size());
    mValues.swap(values);
    mPlaces.swap(places);
    mIdentity.Renew();
    return *this;
}

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
    const std::string* const found = Find(name);
    if (!found) {
        value.clear();
        return false;
    }
    value = *found;
    return true;
}

void CMacroVarMapResolver::SetValue(const std::string& name, const std::string& value)
{
    if (const auto known = mValues.find(name); known != mValues.end()) {
        known->second = value;
        return;
    }
    const bool isFull = 2 * (mValues.size() + 1) > mPlaces.size();
    Places places = isFull ? PlacesOf(mValues, std::max<std::size_t>(16, 2 * mPlaces.size())) : Places();
    const auto added = mValues.try_emplace(name, value).first; // the last step that can fail
    if (isFull) mPlaces.swap(places);
    Place(mPlaces, *added);
}

/// Any number but 0.
std::uint64_t CMacroVarMapResolver::Identity::NextNumber() noexcept
{
    static std::atomic<std::uint64_t> last{0};
    return ++last;
}

/// Enters a variable into a table that has room for it, at the first free place from the one of its hash on.
void CMacroVarMapResolver::Place(Places& places, const Variable& variable) noexcept
{
    std::size_t place = std::hash<std::string>()(variable.first);
    while (places[place & (places.size() - 1)]) ++place;
    places[place & (places.size() - 1)] = &variable;
}

/// A table of so many places with all variables.
CMacroVarMapResolver::Places CMacroVarMapResolver::PlacesOf(const std::map<std::string, std::string>& values,
                                                            std::size_t room)
{
    Places places(room);
    for (const Variable& variable : values) Place(places, variable);
    return places;
}

/// The value of a name, null if it is unknown. The map itself would be searched by several comparisons that no branch
/// predictor learns.
[[gnu::noinline]] const std::string* CMacroVarMapResolver::Find(const std::string& name) const noexcept
{
    if (mPlaces.empty()) return nullptr;
    for (std::size_t place = std::hash<std::string>()(name);; ++place) {
        const Variable* const variable = mPlaces[place & (mPlaces.size() - 1)];
        if (!variable) return nullptr;
        if (variable->first == name) return &variable->second;
    }
}

CMacroExpanderToken::~CMacroExpanderToken() = default;

CMacroString::CMacroString(CMacroExpander* expander, std::string text)
    : CMacroExpanderToken(Kind::Literal), mExpander(expander), mText(std::move(text))
{
}

CMacroString::~CMacroString() = default;

bool CMacroString::GetValue(std::string& value)
{
    value = mText;
    return true;
}

CMacroVar::CMacroVar(CMacroExpander* expander, std::string name)
    : CMacroExpanderToken(Kind::Variable), mExpander(expander), mName(std::move(name))
{
}

CMacroVar::~CMacroVar() = default;

bool CMacroVar::GetValue(std::string& value)
{
    CMacroVarResolver* const resolver = mExpander ? mExpander->GetResolver() : nullptr;
    return resolver && resolver->GetValue(mName, value);
}

/// The value that the resolver holds at the moment, null if it knows none. A known one is looked for once: with a search
/// for each, an expansion of ten variables takes 2.2 times as long, and with parsing it takes a sixth longer.
const std::string* CMacroVar::HeldBy(const CMacroVarMapResolver& resolver)
{
    if (!mHeld || mHolder != resolver.mIdentity.Number()) {
        mHeld = resolver.Find(mName);
        mHolder = resolver.mIdentity.Number();
    }
    return mHeld;
}

namespace {

/// What the scanner is gathering, which is also the kind of token to make of it.
enum ParserState { kBetweenTokens = 0, kLiteral = 1, kVariable = 2 };

/// A resolver that is a map and nothing derived from it, whose values need no copy; null for any other.
const CMacroVarMapResolver* AsMap(const CMacroVarResolver* resolver)
{
    return resolver && typeid(*resolver) == typeid(CMacroVarMapResolver)
               ? static_cast<const CMacroVarMapResolver*>(resolver)
               : nullptr;
}

using detail::IsSpace;

/// What each character ends.
enum : unsigned char { kEndsBareName = 1, kEndsNameInParentheses = 2 };
constexpr auto kEnds = []() {
    std::array<unsigned char, 256> ends{};
    for (std::size_t byte = 0; byte < ends.size(); ++byte) {
        const char c = static_cast<char>(byte);
        if (c == '$' || IsSpace(c)) ends[byte] = kEndsBareName;
        if (c == '(' || c == ')') ends[byte] = kEndsBareName | kEndsNameInParentheses;
    }
    return ends;
}();

/// The names that a resolver lists, null lists none.
std::vector<std::string> SortedNames(CMacroVarResolver* resolver)
{
    std::vector<std::string> names;
    if (resolver && !resolver->GetVarNames(names)) names.clear();
    if (!std::is_sorted(names.begin(), names.end())) std::sort(names.begin(), names.end());
    return names;
}

bool Contains(const std::vector<std::string>& sorted, const std::string& name)
{
    return std::binary_search(sorted.begin(), sorted.end(), name);
}

/// A new token of the kind, null between tokens.
std::unique_ptr<CMacroExpanderToken> MakeToken(CMacroExpander* expander, ParserState kind, std::string&& text)
{
    switch (kind) {
    case kLiteral: return std::make_unique<CMacroString>(expander, std::move(text));
    case kVariable: return std::make_unique<CMacroVar>(expander, std::move(text));
    default: return nullptr;
    }
}

} // namespace

/// Splits an expression into tokens.
class CMacroExpander::Scanner {
public:
    /// \param tokens  those of another expression are replaced, and used again where they are of the same kind.
    Scanner(CMacroExpander* expander, std::string_view expr, Tokens& tokens)
        : mExpander(expander), mExpr(expr), mTokens(tokens)
    {
    }

    /// A "$" with what belongs to it, or a character at which something is wrong.
    struct Place {
        std::size_t pos;
        std::size_t len;
        const char* fault;     ///< Null for a variable or a literal "$".
        bool isLiteral;        ///< Of a "$".
        std::string_view name; ///< Of a variable, or the character that might be the name behind a literal "$".
    };

    /// Scans all of the expression, goes on behind each fault, and calls \a visit for each place. A name stays for the call.
    template <class Visit>
    void VisitPlaces(Visit visit)
    {
        bool isFaulty = false; // what is wrong with its parentheses hides that a name is unknown
        std::size_t start = 0;
        std::size_t open = 0;
        const auto endVariable = [&] {
            if (!isFaulty) visit(Place{start, mNext - start, nullptr, false, mGathered});
            isFaulty = false;
            Drop();
        };
        while (mNext < mExpr.size()) {
            if (mState != kVariable) {
                Drop();
                const std::size_t dollar = mExpr.find('$', mNext);
                ScanText();
                if (mState == kLiteral && dollar != std::string_view::npos && dollar + 1 < mExpr.size()) {
                    visit(Place{dollar, mNext - dollar, nullptr, true, mExpr.substr(dollar + 1, 1)});
                }
                start = dollar;
                continue;
            }
            const bool wasInside = mParenthesis;
            const char* const fault = ScanName(false);
            if (!wasInside && mParenthesis) open = mNext - 1;
            if (fault) {
                visit(Place{mNext, 1, fault, false, {}});
                ++mNext;
                isFaulty = true;
                if (!mParenthesis) endVariable();
            } else if (mEnded) {
                endVariable();
            }
        }
        if (mParenthesis) {
            visit(Place{start, open + 1 - start, kMissing, false, mGathered});
        } else if (mState == kVariable) {
            endVariable();
        }
    }

    /// Scans all of the expression and returns null, or stops at a fault and returns its message.
    const char* Scan()
    {
        const char* const message = ScanAll();
        mTokens.resize(mCount);
        return message;
    }

private:
    static constexpr const char* kMissing = "Missing closing parenthesis.";

    const char* ScanAll()
    {
        while (mNext < mExpr.size()) {
            if (mState != kVariable) {
                ScanText();
            } else if (const char* message = ScanName()) {
                return message;
            }
        }
        if (mParenthesis) return kMissing;
        Emit();
        return nullptr;
    }

    /// Gathers literal text up to the next "$" and decides what that is. A token is made of it only where a variable
    /// starts, so no two literals follow each other.
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
    const char* ScanName(bool emit = true)
    {
        mEnded = false;
        const unsigned char ending = mParenthesis ? kEndsNameInParentheses : kEndsBareName;
        std::size_t end = mNext;
        while (end < mExpr.size() && (kEnds[static_cast<unsigned char>(mExpr[end])] & ending) == 0) ++end;
        Gather(kVariable, end);
        if (end == mExpr.size()) return nullptr;
        if (mExpr[end] == '(') {
            if (mParenthesis) return "Can not nest variable parenthesis.";
            mParenthesis = true;
            ++mNext;
        } else if (mExpr[end] == ')') {
            if (!mParenthesis) return "Mismatched closing parenthesis before opening parenthesis.";
            mParenthesis = false;
            mEnded = true;
            if (emit) Emit();
            ++mNext;
        } else {
            mEnded = true;
            if (emit) Emit(); // white space or "$", which starts the next token
        }
        return nullptr;
    }

    void Gather(ParserState state, std::size_t end)
    {
        const std::string_view piece = mExpr.substr(mNext, end - mNext);
        if (mGathered.empty()) {
            mGathered = piece;
        } else if (!piece.empty()) {
            if (mJoined.empty()) mJoined = mGathered;
            mGathered = mJoined += piece;
        }
        mState = state;
        mNext = end;
    }

    /// Makes a token of what is gathered; between tokens there is nothing to make.
    void Emit()
    {
        // Where a literal is missing between two variables, or comes first, the next token is of the kind that is needed.
        // It changes places with this one, and the tokens behind them are of use too.
        if (mCount < mTokens.size() && UseAgain(mTokens[mCount].get())) {
            ++mCount;
        } else if (mCount + 1 < mTokens.size() && UseAgain(mTokens[mCount + 1].get())) {
            mTokens[mCount].swap(mTokens[mCount + 1]);
            ++mCount;
        } else if (auto token = MakeToken(mExpander, mState, std::string(mGathered))) {
            if (mCount == mTokens.size()) mTokens.emplace_back();
            mTokens[mCount++] = std::move(token);
        }
        Drop();
    }

    /// Forgets what is gathered.
    void Drop()
    {
        mGathered = {};
        mJoined.clear();
        mState = kBetweenTokens;
    }

    /// Gives what is gathered to a token of that kind, which has room for it.
    bool UseAgain(CMacroExpanderToken* token) const
    {
        using Kind = CMacroExpanderToken::Kind;
        if (mState == kLiteral && token->mKind == Kind::Literal) {
            static_cast<CMacroString*>(token)->mText = mGathered;
            return true;
        }
        if (mState == kVariable && token->mKind == Kind::Variable) {
            static_cast<CMacroVar*>(token)->mName = mGathered;
            static_cast<CMacroVar*>(token)->mHeld = nullptr;
            return true;
        }
        return false;
    }

    CMacroExpander* mExpander;
    std::string_view mExpr;
    Tokens& mTokens;
    std::size_t mCount = 0; ///< Of the tokens that are made.
    std::size_t mNext = 0;
    ParserState mState = kBetweenTokens;
    bool mParenthesis = false;
    bool mEnded = false;        ///< Whether the last piece of a name ended it.
    std::string_view mGathered; ///< A piece of the expression, or mJoined.
    std::string mJoined;        ///< Pieces that do not stand together.
};

namespace {

/// The known name that a text was probably meant to be: the longest one that it begins with, where something follows
/// that could not stand in a name.
std::string_view KnownPrefix(const std::vector<std::string>& sorted, std::string_view text)
{
    std::size_t end = 0;
    while (end < text.size() && detail::IsNameCharacter(text[end])) ++end;
    return Contains(sorted, std::string(text.substr(0, end))) ? text.substr(0, end) : std::string_view();
}

std::string InParentheses(std::string_view name)
{
    return "$(" + std::string(name) + ")";
}

} // namespace

std::vector<MacroDiagnostic> CheckMacro(const std::string& expr, CMacroVarResolver* resolver)
{
    const std::vector<std::string> names = SortedNames(resolver);
    std::vector<std::string_view> views(names.begin(), names.end());
    std::vector<MacroDiagnostic> found;
    CMacroExpander::Tokens none;
    CMacroExpander::Scanner scanner(nullptr, expr, none);
    const std::string_view text = expr;
    scanner.VisitPlaces([&](const CMacroExpander::Scanner::Place& place) {
        MacroDiagnostic each = {place.pos, place.len, {}, {}};
        if (place.fault) {
            each.message = place.fault;
            if (place.len > 1) { // an open one
                const std::string_view inside = text.substr(place.pos + place.len);
                const std::string_view known = KnownPrefix(names, inside);
                if (!known.empty()) {
                    each.len += known.size();
                    each.hint = InParentheses(known);
                }
            }
        } else if (place.isLiteral) {
            const bool isDropped = place.len > 1 && place.name != "$";
            const bool isName = Contains(names, std::string(place.name));
            if (!isDropped && !isName) return;
            each.len = 2;
            each.message = isDropped
                               ? "This \"$\" is literal, as another one stands two places after it, and the character "
                                 "between them is lost."
                               : "This \"$\" is literal, as white space stands two places after it.";
            if (isName) each.hint = InParentheses(place.name);
        } else if (!Contains(names, std::string(place.name))) {
            each.message = "Variable \"" + std::string(place.name) + "\" is not supported.";
            const std::string_view known = KnownPrefix(names, place.name);
            const std::string_view near = known.empty() ? detail::Nearest(place.name, views) : known;
            if (!near.empty()) {
                const bool isBare = text.substr(place.pos, place.len) == "$" + std::string(place.name);
                each.hint = InParentheses(near);
                if (!known.empty() && isBare) each.hint += place.name.substr(known.size());
            }
        } else {
            return;
        }
        found.push_back(std::move(each));
    });
    std::sort(found.begin(), found.end(), [](const auto& left, const auto& right) {
        return std::pair(left.pos, left.len) < std::pair(right.pos, right.len);
    });
    return found;
}

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
    const auto* const map = AsMap(mResolver); // which lists what it holds, neither more nor less
    const std::vector<std::string> names = map ? std::vector<std::string>() : SortedNames(mResolver);
    std::string messages;
    for (const auto& token : tokens) {
        if (token->mKind != CMacroExpanderToken::Kind::Variable) continue;
        auto& variable = static_cast<CMacroVar&>(*token);
        if (map ? variable.HeldBy(*map) != nullptr : Contains(names, variable.GetName())) continue;
        if (!error.empty() || !messages.empty()) messages += '\n';
        messages += "Variable \"";
        messages += variable.GetName();
        messages += "\" is not supported.";
    }
    error += messages;
    return error.empty();
}

bool CMacroExpander::ParseExpr(const std::string& expr, std::string& error)
{
    Tokens tokens(std::move(mUsed));
    const bool valid = Parse(expr, error, tokens);
    mTokens.swap(tokens);
    mUsed = std::move(tokens);
    return valid;
}

/// Parses an expression into \a tokens. If that fails, the expander's tokens are again those of the expression that
/// was accepted last.
bool CMacroExpander::ParseOrGoBack(const std::string& expr, std::string& error, Tokens& tokens)
{
    std::string messages = error; // a copy, because the caller's text may be the expression to go back to
    if (Parse(expr, messages, tokens)) return true;
    std::string discarded;
    Parse(mExpr, discarded, tokens);
    mTokens.swap(tokens);
    error.swap(messages);
    return false;
}

bool CMacroExpander::SetExpr(const std::string& expr, std::string& error)
{
    Tokens tokens(std::move(mUsed));
    if (!ParseOrGoBack(expr, error, tokens)) return false;
    mExpr = expr;
    mTokens.swap(tokens);
    mUsed = std::move(tokens);
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
    const auto* const map = AsMap(mResolver);
    const auto isLiteral = [](const auto& token) { return token->mKind == CMacroExpanderToken::Kind::Literal; };
    for (auto token = mTokens.begin(); token != mTokens.end(); ++token) {
        if (isLiteral(*token)) { // without the way through a text of its own
            value += static_cast<const CMacroString&>(**token).GetText();
            // A variable comes next, and is appended in this pass. After a "continue", the compiler would merge the ends
            // of both appends with their branches, which are then predicted worse: an expansion takes a third longer.
            if (++token == mTokens.end()) return;
            assert(!isLiteral(*token));
        }
        if (map) {
            if (const std::string* const held = static_cast<CMacroVar&>(**token).HeldBy(*map)) value += *held;
            continue;
        }
        fresh.clear();
        if ((*token)->GetValue(fresh)) value += fresh;
    }
}

bool CMacroExpander::EvalExpr(const std::string& expr, std::string& value, std::string& error)
{
    Tokens tokens(std::move(mUsed));
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
    mUsed = std::move(tokens);
    value.swap(expansion);
    return true;
}

void CMacroExpander::ClearTokens()
{
    mTokens.clear();
    mUsed.clear();
}

} // namespace zor::common
