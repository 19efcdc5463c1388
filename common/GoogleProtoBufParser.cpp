#include "GoogleProtoBufParser.h"

#include "Characters.h"
#include "TemplateAdvice.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <locale>
#include <memory>
#include <sstream>
#include <string_view>
#include <system_error>
#include <tuple>
#include <utility>

namespace zor::common {

namespace {

template <class... Parts>
void LogError(const Parts&... parts)
{
    std::ostringstream text;
    (text << ... << parts);
    GoogleProtoBufLogError(text);
}

constexpr std::size_t kNoPosition = static_cast<std::size_t>(-1);

/// Where a step of the reader has met something, for callers that want to know.
struct SchemaFault {
    std::size_t at = 0; ///< In the block.
    std::string reason; ///< Empty where nothing was met.
    std::string hint;
};

/// A message block with a read position and state bits. Each operation moves them as the stream operation of the
/// same name moves those of a string stream, without its cost a character.
class Block {
public:
    using Characters = std::ctype<char>;

    Block(std::string_view text, const Characters& characters) : Block(text, 0, std::ios::goodbit, true, characters) {}

    Block(std::string_view text, std::size_t next, std::ios::iostate state, bool skipBlanks,
          const Characters& characters)
        : mText(text), mNext(next), mState(state), mSkipBlanks(skipBlanks), mCharacters(characters)
    {
    }

    std::size_t Next() const { return mNext; }

    /// The text from what comes next but for blanks.
    std::string_view Ahead() const { return mText.substr(std::min(AfterBlanks(mNext), mText.size())); }

    std::string_view From(std::string_view piece) const { return mText.substr(PlaceOf(piece)); }

    /// What stands behind the last character before a piece that is not blank.
    std::string_view Behind(std::string_view piece) const
    {
        std::size_t place = PlaceOf(piece);
        while (place > 0 && IsBlank(mText[place - 1])) --place;
        return mText.substr(place);
    }

    std::string_view EndingBrace() const { return mText.substr(std::min(mText.find('}'), mText.size())); }

    std::size_t PlaceOf(std::string_view piece) const { return static_cast<std::size_t>(piece.data() - mText.data()); }

    /// Whether the last character that was read, the end of a token, and the one behind it stand together.
    bool IsGlued() const { return mNext < mText.size() && !IsBlank(mText[mNext]) && !IsDelimiter(mText[mNext]); }

    /// Where faults are kept. Each one that is met takes the place of the one before.
    SchemaFault* fault = nullptr;
    std::vector<SchemaFault>* notes = nullptr;

    void Meet(std::string_view at, std::string reason, std::string hint = {})
    {
        if (fault) *fault = {PlaceOf(at), std::move(reason), std::move(hint)};
    }
    void Note(std::string_view at, std::string text, std::string hint = {})
    {
        if (notes) notes->push_back({PlaceOf(at), std::move(text), std::move(hint)});
    }

    std::ios::iostate State() const { return mState; }
    bool AtEnd() const { return (mState & std::ios::eofbit) != 0; }

    /// tellg: any state bit makes it fail.
    std::size_t Tell()
    {
        if (mState == std::ios::goodbit) return mNext;
        mState |= std::ios::failbit;
        return kNoPosition;
    }

    /// seekg: it clears the end, but not a failure.
    void Seek(std::size_t position)
    {
        mState &= ~std::ios::eofbit;
        if (mState == std::ios::goodbit && position != kNoPosition) {
            mNext = position;
        } else {
            mState |= std::ios::failbit;
        }
    }

    bool TryToken(std::string_view token)
    {
        const std::size_t start = Tell();
        if (MatchToken(token)) return true;
        if (AtEnd()) mState = std::ios::goodbit;
        Seek(start);
        return false;
    }

    /// Stops at the delimiter. A stream would read on to white space and seek back to the same place.
    bool Word(std::string_view& word)
    {
        if (AtEnd()) return false;
        if (mSkipBlanks && mState == std::ios::goodbit) mNext = AfterBlanks(mNext);
        if (!CanRead() || IsBlank(mText[mNext])) {
            mState |= std::ios::failbit;
            return false;
        }
        std::size_t end = mNext;
        while (end < mText.size() && !IsDelimiter(mText[end]) && !IsBlank(mText[end])) ++end;
        if (end == mText.size()) mState |= std::ios::eofbit;
        word = mText.substr(mNext, end - mNext);
        mNext = end;
        return !word.empty();
    }

    /// getline, the line dropped.
    bool DropLine()
    {
        if (!CanRead()) return false;
        const std::size_t newline = mText.find('\n', mNext);
        if (newline == std::string_view::npos) {
            mNext = mText.size();
            mState |= std::ios::eofbit;
        } else {
            mNext = newline + 1;
        }
        return true;
    }

    /// Passes the lines in which a token finds nothing but white space. Where no token is found, dropping them
    /// one by one comes to the same, but tries each token again on each of them.
    void DropBlankLines()
    {
        if (mState != std::ios::goodbit) return;
        for (std::size_t next = mNext; next < mText.size() && IsPassedOver(mText[next]);) {
            if (mText[next++] == '\n') mNext = next;
        }
    }

private:
    static bool IsDelimiter(char c) { return c == '=' || c == '{' || c == '}' || c == ';'; }

    bool IsBlank(char c) const { return mCharacters.is(std::ctype_base::space, c); }

    /// Whether a character is ignored before the first one of a token.
    bool IsPassedOver(char c) const { return c == '\t' || c == '\n' || c == ' ' || (mSkipBlanks && IsBlank(c)); }

    std::size_t AfterBlanks(std::size_t next) const
    {
        while (next < mText.size() && IsBlank(mText[next])) ++next;
        return next;
    }

    /// Sets the state bits of a read that gets nothing: because of the state or because the text has ended.
    bool CanRead()
    {
        if (mState == std::ios::goodbit && mNext < mText.size()) return true;
        mState |= mState == std::ios::goodbit ? std::ios::eofbit | std::ios::failbit : std::ios::failbit;
        return false;
    }

    /// Called with a state in which nothing has failed, or with one that Tell() has made fail.
    bool MatchToken(std::string_view token)
    {
        if (mState != std::ios::goodbit) return token.empty();
        std::size_t next = mNext;
        std::size_t matched = 0;
        while (matched < token.size()) {
            if (mSkipBlanks) next = AfterBlanks(next);
            if (next >= mText.size()) {
                mState = std::ios::eofbit; // and failed, but no more than until the position is restored
                break;
            }
            const char c = mText[next++];
            if (c == token[matched]) {
                ++matched;
            } else if (matched > 0 || !IsPassedOver(c)) {
                break;
            }
        }
        mNext = next;
        return matched == token.size();
    }

    std::string_view mText;
    std::size_t mNext;
    std::ios::iostate mState;
    bool mSkipBlanks;
    const Characters& mCharacters;
};

bool IsNumber(std::string_view word)
{
    return std::all_of(word.begin(), word.end(), detail::IsDecimalDigit);
}

/// What std::atoi gives on this platform, defined for every number and in every locale.
std::int32_t ToNumber(std::string_view word)
{
    while (!word.empty() && detail::IsSpace(word[0])) word.remove_prefix(1);
    if (word.starts_with('+') && !word.starts_with("+-")) word.remove_prefix(1);
    std::int64_t number = 0;
    if (std::from_chars(word.data(), word.data() + word.size(), number).ec == std::errc::result_out_of_range) {
        number = word[0] == '-' ? INT64_MIN : INT64_MAX;
    }
    return static_cast<std::int32_t>(number);
}

bool ReadType(Block& block, CGoogleProtoBufFieldInfo::FieldType& type, std::string& error)
{
    std::string_view word;
    if (!block.Word(word)) {
        error = "ParseType failed to read a word";
        return false;
    }
    const std::string name(word);
    const CGoogleProtoBufFieldInfo::FieldType found = CGoogleProtoBufFieldInfo::stringToFieldType(name);
    if (found == CGoogleProtoBufFieldInfo::TypeNone) {
        error = "ParseType Failed to convert \"" + name + "\" to FieldType";
    }
    type = found;
    return found != CGoogleProtoBufFieldInfo::TypeNone;
}

/// Says what stands where something else is expected.
/// \param expected  a symbol in quotes is missing behind what stands before.
void MeetOther(Block& block, std::string_view ahead, const char* expected, std::string hint = {})
{
    if (!block.fault) return;
    if (ahead.empty()) {
        block.Meet(block.EndingBrace(), std::string("the block ends at this \"}\", even inside a comment, and ") +
                                            expected + " is still missing");
    } else if (ahead.starts_with("/*")) {
        block.Meet(ahead, "comments in \"/*\" are not read", "//");
    } else if (ahead.starts_with("//")) {
        block.Meet(ahead,
                   "a comment may stand above the message and follow each field but the last, but not stand here");
    } else if (ahead.starts_with('}') && std::string_view(expected) == "a field") {
        block.Meet(ahead, "it has no fields");
    } else {
        block.Meet(*expected == '"' ? block.Behind(ahead) : ahead, std::string(expected) + " is missing",
                   std::move(hint));
    }
}

void MeetUnknownType(Block& block, std::string_view word)
{
    if (!block.fault) return;
    static constexpr std::string_view kOthers[] = {"enum",  "extend", "extensions", "import", "map",     "message",
                                                   "oneof", "option", "reserved",   "rpc",    "service", "group"};
    const std::string_view outer = word.substr(0, word.find('<'));
    if (std::find(std::begin(kOthers), std::end(kOthers), outer) != std::end(kOthers)) {
        return block.Meet(word, '"' + std::string(outer) + "\" is not read: a message has fields of scalar types only");
    }
    std::vector<std::string_view> known = {"optional", "required", "repeated"};
    for (const auto& [name, type] : CGoogleProtoBufFieldInfo::FieldTypeDataLut) {
        if (type != CGoogleProtoBufFieldInfo::TypeNone) known.push_back(name);
    }
    block.Meet(word, detail::Quote(word) + " is neither a label nor a type", std::string(detail::Nearest(word, known)));
}

/// Says what a number of a field looks like but is not.
void NoteNumber(Block& block, std::string_view word, std::int32_t number)
{
    constexpr std::int32_t kLargest = 536870911;
    if (!block.notes) return;
    if (!IsNumber(word)) {
        block.Note(word, "The field number " + detail::Quote(word) + " is read as " + std::to_string(number) + '.');
    } else if (number < 1 || number > kLargest || word.size() > 10) {
        block.Note(word, "The field number " + detail::Quote(word) + " is not one from 1 to 536870911.");
    }
}

bool ReadField(Block& block, CGoogleProtoBufFieldInfo& field)
{
    field.reset();
    const char* label = nullptr;
    if (block.TryToken("optional")) {
        label = "optional";
        field.optional = true;
    } else if (block.TryToken("required")) {
        label = "required";
        field.optional = false;
    } else if (block.TryToken("repeated")) {
        label = "repeated";
        field.repeated = true;
    }
    const bool isGlued = label && block.notes && block.IsGlued();
    std::string_view word;
    if (!block.Word(word)) { // like an unknown type, reported nowhere
        MeetOther(block, block.Ahead(), "a field");
        return false;
    }
    if (isGlued) {
        block.Note(word,
                   std::string("This word begins with \"") + label + "\", which is read as a label before " +
                       detail::Quote(word) + '.',
                   std::string(label) + ' ' + std::string(word));
    }
    field.type = CGoogleProtoBufFieldInfo::stringToFieldType(std::string(word));
    if (field.type == CGoogleProtoBufFieldInfo::TypeNone) {
        if (word.starts_with('/')) {
            MeetOther(block, block.From(word), "a field");
        } else {
            MeetUnknownType(block, word);
        }
        return false;
    }
    if (!block.Word(word)) {
        LogError("ParseFieldFromStream failed to get field name");
        MeetOther(block, block.Ahead(), "the name of the field");
        return false;
    }
    field.name = word;
    const std::string example = block.fault ? field.name + " = 1;" : std::string();
    if (!block.TryToken("=") || !block.Word(word)) {
        LogError("ParseFieldFromStream failed to get field tag");
        MeetOther(block, block.Ahead(), "\"=\" with a field number", example);
        return false;
    }
    field.tag = ToNumber(word);
    NoteNumber(block, word, field.tag);
    if (block.TryToken(";")) return true;
    MeetOther(block, block.Ahead(), "\";\" after the field number",
              block.fault ? field.name + " = " + std::string(word) + ';' : example);
    return false;
}

bool DropComment(Block& block)
{
    if (block.DropLine()) return true;
    LogError("ParseMessageFromStream failed to read comment");
    MeetOther(block, block.Ahead(), "the end of the comment");
    return false;
}

/// Into a new message.
bool ReadMessage(Block& block, CGoogleProtoBufMessageInfo& message)
{
    std::string_view word;
    while (true) {
        if (block.AtEnd()) return true;
        if (block.TryToken("message")) break;
        if (!block.TryToken("//")) {
            block.Word(word);
            LogError("ParseMessageFromStream failed to read message at token ", word);
            if (!word.empty()) {
                block.Meet(word, "the line of " + detail::Quote(word) +
                                     " above it is neither a comment nor blank; such lines are skipped above a "
                                     "\"package\" line only");
            }
            return false;
        }
        if (!DropComment(block)) return false;
    }
    const bool isGlued = block.notes && block.IsGlued();
    if (!block.Word(word)) {
        LogError("ParseMessageFromStream failed to read message name");
        MeetOther(block, block.Ahead(), "the name of the message");
        return false;
    }
    message.name = word;
    if (isGlued) {
        block.Note(word,
                   "This word begins with \"message\", so the rest of it, " + detail::Quote(word) +
                       ", is read as the name.",
                   "message " + message.name);
    }
    if (!block.TryToken("{")) {
        LogError("ParseMessageFromStream failed to read message {");
        MeetOther(block, block.Ahead(), "\"{\"", "message " + message.name + " {");
        return false;
    }
    CGoogleProtoBufFieldInfo field;
    while (!block.AtEnd()) {
        if (!ReadField(block, field)) return false;
        message.fields.push_back(std::move(field)); // which leaves the number, and the rest is reset
        if (block.TryToken("}")) return true;
        if (block.TryToken("//") && !DropComment(block)) return false;
    }
    return true;
}

bool ReadTlvType(Block& block, std::int32_t& tlv)
{
    std::size_t comment = kNoPosition; // behind the first "//" of the comment lines that stand together
    while (!block.AtEnd() && !block.TryToken("message")) {
        if (block.TryToken("//")) {
            if (comment == kNoPosition) comment = block.Tell();
        } else {
            comment = kNoPosition;
            block.DropBlankLines();
        }
        if (!DropComment(block)) return false;
    }
    if (comment == kNoPosition) return false;
    block.Seek(comment);
    std::string_view word;
    do {
        if (!block.Word(word)) return false;
    } while (!IsNumber(word));
    tlv = ToNumber(word);
    block.Note(word, {}); // where it stands
    return true;
}

/// Runs a step on the text of a stream and then puts the stream where the step has ended.
template <class Step>
bool OnStream(std::stringstream& stream, Step step)
{
    std::stringbuf& buffer = *stream.rdbuf();
    const std::streamoff position = buffer.pubseekoff(0, std::ios::cur, std::ios::in);
    const std::string_view text = position < 0 ? std::string_view() : stream.view(); // not open for reading: none
    const std::locale locale = stream.getloc();
    const bool skipBlanks = (stream.flags() & std::ios::skipws) != 0;
    const std::size_t next = position < 0 ? 0 : static_cast<std::size_t>(position);
    Block block(text, next, stream.rdstate(), skipBlanks, std::use_facet<Block::Characters>(locale));
    const bool result = step(block);
    if (block.Next() != next) buffer.pubseekpos(static_cast<std::streamoff>(block.Next()), std::ios::in);
    stream.clear(block.State());
    return result;
}

/// Cuts the next block out of lines that Lines reads, keeps and gives back the end of.
template <class Lines>
bool CutBlock(Lines& lines)
{
    lines.Empty();
    bool started = false;
    while (lines.Read()) {
        const std::string_view line = lines.Line();
        if (!started && line.starts_with("package")) {
            lines.Empty();
            continue;
        }
        started = started || line.starts_with("message");
        lines.Keep();
        const std::size_t brace = line.find('}');
        if (brace != std::string_view::npos) {
            lines.GiveBackAfter(brace);
            return true;
        }
    }
    return false;
}

/// The lines of a file stream, kept in a string stream.
class StreamLines {
public:
    StreamLines(std::ifstream& file, std::stringstream& block) : mFile(file), mBlock(block) {}

    std::string_view Line() const { return mLine; }
    bool Read() { return static_cast<bool>(std::getline(mFile, mLine)); }

    void Empty()
    {
        mBlock.clear();
        mBlock.str({});
    }

    void Keep() { mBlock.write(mLine.data(), static_cast<std::streamsize>(mLine.size())) << std::endl; }

    /// The last line of a file may lack its newline; then the file is at its end.
    void GiveBackAfter(std::size_t brace)
    {
        const bool newline = !mFile.eof();
        mFile.clear();
        const std::size_t rest = mLine.size() - brace - 1 + (newline ? 1 : 0);
        mFile.seekg(-static_cast<std::streamoff>(rest), std::ios::cur);
    }

private:
    std::ifstream& mFile;
    std::stringstream& mBlock;
    std::string mLine;
};

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

/// The lines of a file, read in large pieces and each looked at once. A block is the text from where Empty() was
/// last called up to the end of the line; text before it is forgotten when there is more to read.
class BufferedLines {
public:
    explicit BufferedLines(std::FILE* file) : mFile(file) {}

    std::string_view Line() const { return std::string_view(mText).substr(mLine, mLineEnd - mLine); }
    std::string_view Kept() const { return std::string_view(mText).substr(mBlock, mLineEnd + 1 - mBlock); }
    void Empty() { mBlock = mNext; }
    void Keep() {}
    void GiveBackAfter(std::size_t brace) { mNext = mLine + brace + 1; }

    bool Read()
    {
        // What is left of a line that was given back ends where that line did.
        if (mNext > mLineEnd || mText.empty()) {
            std::size_t searched = mNext;
            while ((mLineEnd = mText.find('\n', searched)) == std::string::npos) {
                searched = mText.size() - mBlock;
                if (!ReadMore()) return false;
            }
        }
        mLine = mNext;
        mNext = mLineEnd + 1;
        return true;
    }

private:
    /// Forgets what stands before the block. At the end of the file a last line without newline gets one.
    bool ReadMore()
    {
        mText.erase(0, mBlock);
        mNext -= mBlock;
        mBlock = 0;
        const std::size_t size = mText.size();
        mText.resize(size + mPiece);
        const std::size_t got = Get(&mText[size], mPiece);
        mText.resize(size + got);
        mPiece = std::min(2 * mPiece, kLargestPiece);
        if (got > 0) return true;
        if (std::ferror(mFile) || mNext == size) return false;
        mText += '\n';
        return true;
    }

    /// Reads up to the end of the file or to an error, which a signal is not.
    std::size_t Get(char* to, std::size_t size)
    {
        std::size_t got = 0;
        while (got < size && !std::feof(mFile) && !std::ferror(mFile)) {
            got += std::fread(to + got, 1, size - got, mFile);
            if (std::ferror(mFile) && errno == EINTR) std::clearerr(mFile);
        }
        return got;
    }

    // The room for a piece is filled with zeros first, which a short file should not pay for.
    static constexpr std::size_t kLargestPiece = 65536;
    std::size_t mPiece = 4096;

    std::FILE* mFile;
    std::string mText;
    std::size_t mBlock = 0;
    std::size_t mLine = 0;
    std::size_t mLineEnd = 0;
    std::size_t mNext = 0;
};

/// The lines of a text that is there as a whole.
class WholeLines {
public:
    explicit WholeLines(std::string text) : mText(std::move(text))
    {
        if (!mText.empty() && mText.back() != '\n') mText += '\n';
    }

    std::string_view Line() const { return std::string_view(mText).substr(mLine, mLineEnd - mLine); }
    std::string_view Kept() const { return std::string_view(mText).substr(mBlock, mLineEnd + 1 - mBlock); }
    void Empty() { mBlock = mNext; }
    void Keep() {}
    void GiveBackAfter(std::size_t brace) { mNext = mLine + brace + 1; }

    bool Read()
    {
        if (mNext >= mText.size()) return false;
        mLineEnd = mText.find('\n', mNext);
        mLine = mNext;
        mNext = mLineEnd + 1;
        return true;
    }

    const std::string& Text() const { return mText; }
    std::size_t BlockStart() const { return mBlock; }

private:
    std::string mText;
    std::size_t mBlock = 0;
    std::size_t mLine = 0;
    std::size_t mLineEnd = 0;
    std::size_t mNext = 0;
};

/// What nobody wants to know.
struct NoReport {
    void Watch(Block& /*block*/) {}
    void NoTlvType(Block& /*block*/) {}
    void LeftOut(const CGoogleProtoBufMessageInfo& /*message*/) {}
    void TakeIn(const CGoogleProtoBufMessageInfo& /*message*/) {}
};

template <class Lines, class Report>
void AppendMessages(Lines& lines, Report& report, std::vector<CGoogleProtoBufMessageInfo>& messages)
{
    const auto& characters = std::use_facet<Block::Characters>(std::locale::classic());
    std::int32_t tlv = 0;
    while (CutBlock(lines)) {
        CGoogleProtoBufMessageInfo message;
        // Messages tend to be alike, and the limit keeps the room small that those which are not leave unused.
        if (!messages.empty()) message.fields.reserve(std::min<std::size_t>(messages.back().fields.size(), 8));
        Block forTlv(lines.Kept(), characters);
        report.Watch(forTlv);
        if (!ReadTlvType(forTlv, tlv)) {
            LogError("Failed to find tlvType", '\n');
            report.NoTlvType(forTlv);
            return;
        }
        Block forMessage(lines.Kept(), characters);
        report.Watch(forMessage);
        if (!ReadMessage(forMessage, message)) {
            report.LeftOut(message);
            continue;
        }
        message.tlvType = tlv;
        report.TakeIn(message);
        messages.push_back(std::move(message));
    }
}

/// Turns what the reader meets into diagnostics.
class SchemaReport {
public:
    using Severity = SchemaDiagnostic::Severity;

    SchemaReport(const WholeLines& lines, std::vector<SchemaDiagnostic>& diagnostics)
        : mLines(lines), mDiagnostics(diagnostics)
    {
    }

    void Watch(Block& block)
    {
        mFault = {};
        block.fault = &mFault;
        block.notes = &mNotes;
    }

    void NoTlvType(Block& /*block*/)
    {
        const std::string_view block = mLines.Kept();
        const std::size_t message = FindMessage(block);
        const bool isMessage = block.substr(message).starts_with("message");
        const std::string missing = isMessage ? "There is no number in the comment directly above this message"
                                              : "There is no message in the block that begins here";
        Add(Severity::Error, message, missing + ", so reading ends here, and nothing that follows is read.",
            isMessage ? "// 1" : "");
        mNotes.clear();
        Flush();
    }

    void LeftOut(const CGoogleProtoBufMessageInfo& message)
    {
        const std::string name = message.name.empty() ? "A block" : "The message " + detail::Quote(message.name);
        AddNotes();
        if (mFault.reason.empty()) mFault.reason = "it cannot be read";
        Add(Severity::Warning, mFault.at, name + " is left out: " + mFault.reason + '.', mFault.hint);
        Flush();
    }

    void TakeIn(const CGoogleProtoBufMessageInfo& message)
    {
        std::vector<std::int32_t> numbers;
        for (const CGoogleProtoBufFieldInfo& field : message.fields) numbers.push_back(field.tag);
        std::sort(numbers.begin(), numbers.end());
        const auto twice = std::adjacent_find(numbers.begin(), numbers.end());
        AddNotes();
        if (twice != numbers.end()) {
            Add(Severity::Warning, FindMessage(mLines.Kept()),
                "The message " + detail::Quote(message.name) + " has several fields with the number " +
                    std::to_string(*twice) + '.');
        }
        Flush();
    }

    /// Behind the last block: says where it begins if the file ends within one.
    void EndOfFile()
    {
        const std::string_view rest = std::string_view(mLines.Text()).substr(mLines.BlockStart());
        std::size_t line = 0;
        while (line < rest.size()) {
            const std::size_t first = rest.find_first_not_of(" \t\r\v\f", line);
            if (first == std::string_view::npos) return;
            if (rest[first] != '\n' && !rest.substr(first).starts_with("//")) {
                return Add(Severity::Error, first,
                           "The file ends before a \"}\" closes what begins here, so it is not read.", "}");
            }
            line = rest.find('\n', first) + 1;
        }
    }

    void Add(Severity severity, std::size_t inBlock, std::string message, std::string hint = {})
    {
        const std::size_t at = std::min(mLines.BlockStart() + inBlock, mLines.Text().size());
        mOfBlock.push_back({at, {severity, 1, 1, std::move(message), std::move(hint)}});
    }

    /// Ends a block: its diagnostics come in the order of the file, so that lines are counted once.
    void Flush()
    {
        const std::string& text = mLines.Text();
        std::sort(mOfBlock.begin(), mOfBlock.end(), [](const auto& left, const auto& right) {
            return std::tie(left.first, left.second.message) < std::tie(right.first, right.second.message);
        });
        for (auto& [at, diagnostic] : mOfBlock) {
            for (; mCounted < at; ++mCounted) {
                if (text[mCounted] == '\n') ++mLine, mLineStart = mCounted + 1;
            }
            diagnostic.line = mLine;
            diagnostic.column = at - mLineStart + 1;
            mHasEnded = mHasEnded || diagnostic.severity == Severity::Error;
            mDiagnostics.push_back(std::move(diagnostic));
        }
        mOfBlock.clear();
    }

    bool HasEnded() const { return mHasEnded; } ///< Whether reading has ended before the file did.

private:
    /// Where the word stands that a message begins with, or the first character that is not blank.
    static std::size_t FindMessage(std::string_view block)
    {
        for (std::size_t line = 0; line < block.size(); line = block.find('\n', line) + 1) {
            const std::size_t first = block.find_first_not_of(" \t", line);
            if (first < block.size() && block.substr(first).starts_with("message")) return first;
        }
        return std::min(block.find_first_not_of(" \t\r\n"), block.size());
    }

    /// The first note of a block is where its TLV type stands.
    void AddNotes()
    {
        for (const SchemaFault& note : mNotes) {
            if (note.reason.empty()) {
                AddTlvType(note.at);
            } else {
                Add(Severity::Warning, note.at, note.reason, note.hint);
            }
        }
        mNotes.clear();
    }

    /// A number that stands in its comment alone was meant as the type.
    void AddTlvType(std::size_t at)
    {
        const std::string_view block = mLines.Kept();
        const std::size_t start = block.rfind('\n', at) + 1;
        const std::size_t end = std::min(block.find('\n', at), block.size());
        std::string_view line = block.substr(start, end - start);
        const std::size_t digits = std::min(block.find_first_not_of("0123456789", at), block.size());
        const std::size_t comment = line.find("//");
        if (comment < at - start) line.remove_prefix(comment + 2);
        while (!line.empty() && (line.front() == ' ' || line.front() == '\t')) line.remove_prefix(1);
        while (!line.empty() && (line.back() == ' ' || line.back() == '\t' || line.back() == '\r'))
            line.remove_suffix(1);
        if (IsNumber(line)) return;
        line = line.substr(0, static_cast<std::size_t>(block.data() + digits - line.data()));
        const std::string number(block.substr(at, digits - at));
        Add(Severity::Note, at, "TLV type " + number + " taken from " + detail::Quote(line) + '.', "// " + number);
    }

    const WholeLines& mLines;
    std::vector<SchemaDiagnostic>& mDiagnostics;
    SchemaFault mFault;
    std::vector<SchemaFault> mNotes;
    std::vector<std::pair<std::size_t, SchemaDiagnostic>> mOfBlock; ///< By place in the text.
    bool mHasEnded = false;
    std::size_t mCounted = 0; ///< Bytes of the text of which the lines are counted.
    std::size_t mLine = 1;
    std::size_t mLineStart = 0;
};

/// Reads up to the end of a file or to an error.
std::string ReadAll(std::FILE* file)
{
    std::string text;
    std::size_t got = 0;
    do {
        const std::size_t size = text.size();
        text.resize(size + 65536);
        got = std::fread(text.data() + size, 1, 65536, file);
        text.resize(size + got);
        if (std::ferror(file) && errno == EINTR) std::clearerr(file);
    } while (!std::feof(file) && !std::ferror(file));
    return text;
}

/// Makes a call that appends to lists, and takes back what it has appended if it fails.
template <class Call, class... Lists>
void AppendAllOrNone(Call call, Lists&... lists)
{
    const std::size_t before[] = {lists.size()...};
    try {
        call();
    } catch (...) {
        const std::size_t* size = before;
        (lists.erase(lists.begin() + static_cast<std::ptrdiff_t>(*size++), lists.end()), ...);
        throw;
    }
}

} // namespace

void GoogleProtoBufLogError(std::ostringstream& /*text*/) {}

bool CGoogleProtoBufParser::readProtoFile(const std::string& path, std::vector<CGoogleProtoBufMessageInfo>& messages)
{
    // The bytes as they are: no stream, whose locale might convert them, and no buffer, as pieces are large.
    const File file(std::fopen(path.c_str(), "r"));
    if (!file) {
        LogError("Failed to open file:", path);
        return false;
    }
    std::setvbuf(file.get(), nullptr, _IONBF, 0);
    AppendAllOrNone(
        [&] {
            BufferedLines lines(file.get());
            NoReport report;
            AppendMessages(lines, report, messages);
        },
        messages);
    return true;
}

bool CGoogleProtoBufParser::readProtoFile(const std::string& path, std::vector<CGoogleProtoBufMessageInfo>& messages,
                                          std::vector<SchemaDiagnostic>& diagnostics)
{
    const File file(std::fopen(path.c_str(), "r"));
    if (!file) {
        diagnostics.push_back({SchemaDiagnostic::Severity::Error, 1, 1, "The file cannot be opened.", {}});
        return false;
    }
    AppendAllOrNone(
        [&] {
            WholeLines lines(ReadAll(file.get()));
            SchemaReport report(lines, diagnostics);
            AppendMessages(lines, report, messages);
            if (std::ferror(file.get())) {
                report.Add(SchemaDiagnostic::Severity::Error, lines.Text().size(), "The file cannot be read.");
            } else if (!report.HasEnded()) {
                report.EndOfFile();
            }
            report.Flush();
        },
        messages, diagnostics);
    return true;
}

bool CGoogleProtoBufParser::readMessage(std::ifstream& file, std::stringstream& block)
{
    StreamLines lines(file, block);
    return CutBlock(lines);
}

bool CGoogleProtoBufParser::parseTlvTypeFromStream(std::stringstream& block, std::int32_t& tlv)
{
    return OnStream(block, [&](Block& text) { return ReadTlvType(text, tlv); });
}

bool CGoogleProtoBufParser::parseMessageFromStream(std::stringstream& block, CGoogleProtoBufMessageInfo& message)
{
    return OnStream(block, [&](Block& text) {
        CGoogleProtoBufMessageInfo read;
        const bool result = ReadMessage(text, read);
        message = std::move(read);
        return result;
    });
}

bool CGoogleProtoBufParser::parseFieldFromStream(std::stringstream& block, CGoogleProtoBufFieldInfo& field)
{
    return OnStream(block, [&](Block& text) {
        CGoogleProtoBufFieldInfo read;
        read.tag = field.tag;
        const bool result = ReadField(text, read);
        field = std::move(read);
        return result;
    });
}

bool CGoogleProtoBufParser::parseType(std::stringstream& block, CGoogleProtoBufFieldInfo::FieldType& type,
                                      std::string& error)
{
    return OnStream(block, [&](Block& text) { return ReadType(text, type, error); });
}

bool CGoogleProtoBufParser::parseType(std::stringstream& block, CGoogleProtoBufFieldInfo::FieldType& type)
{
    std::string error;
    return parseType(block, type, error);
}

bool CGoogleProtoBufParser::parseWord(std::stringstream& block, std::string& word)
{
    return OnStream(block, [&](Block& text) {
        if (text.AtEnd()) return false;
        std::string_view read;
        const bool result = text.Word(read);
        word = read;
        return result;
    });
}

bool CGoogleProtoBufParser::tryParseToken(std::stringstream& block, const std::string& token)
{
    return OnStream(block, [&](Block& text) { return text.TryToken(token); });
}

} // namespace zor::common
