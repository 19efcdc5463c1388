#include "GoogleProtoBufParser.h"

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

    /// Reading up to white space and then seeking back to the delimiter in what was read ends where stopping at
    /// the delimiter does, which reads nothing twice.
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
    return std::all_of(word.begin(), word.end(), [](char c) { return c >= '0' && c <= '9'; });
}

/// What std::atoi gives on this platform, defined for every number and in every locale.
std::int32_t ToNumber(std::string_view word)
{
    while (!word.empty() && (word[0] == ' ' || (word[0] >= '\t' && word[0] <= '\r'))) word.remove_prefix(1);
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

bool ReadField(Block& block, CGoogleProtoBufFieldInfo& field)
{
    field.reset();
    if (block.TryToken("optional")) {
        field.optional = true;
    } else if (block.TryToken("required")) {
        field.optional = false;
    } else if (block.TryToken("repeated")) {
        field.repeated = true;
    }
    std::string_view word;
    if (!block.Word(word)) return false; // like an unknown type, reported nowhere
    field.type = CGoogleProtoBufFieldInfo::stringToFieldType(std::string(word));
    if (field.type == CGoogleProtoBufFieldInfo::TypeNone) return false;
    if (!block.Word(word)) {
        LogError("ParseFieldFromStream failed to get field name");
        return false;
    }
    field.name = word;
    if (!block.TryToken("=") || !block.Word(word)) {
        LogError("ParseFieldFromStream failed to get field tag");
        return false;
    }
    field.tag = ToNumber(word);
    return block.TryToken(";");
}

bool DropComment(Block& block)
{
    if (block.DropLine()) return true;
    LogError("ParseMessageFromStream failed to read comment");
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
            return false;
        }
        if (!DropComment(block)) return false;
    }
    if (!block.Word(word)) {
        LogError("ParseMessageFromStream failed to read message name");
        return false;
    }
    message.name = word;
    if (!block.TryToken("{")) {
        LogError("ParseMessageFromStream failed to read message {");
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

void AppendMessages(std::FILE* file, std::vector<CGoogleProtoBufMessageInfo>& messages)
{
    const auto& characters = std::use_facet<Block::Characters>(std::locale::classic());
    BufferedLines lines(file);
    std::int32_t tlv = 0;
    while (CutBlock(lines)) {
        CGoogleProtoBufMessageInfo message;
        // Messages tend to be alike, and the limit keeps the room small that those which are not leave unused.
        if (!messages.empty()) message.fields.reserve(std::min<std::size_t>(messages.back().fields.size(), 8));
        Block forTlv(lines.Kept(), characters);
        if (!ReadTlvType(forTlv, tlv)) {
            LogError("Failed to find tlvType", '\n');
            return;
        }
        Block forMessage(lines.Kept(), characters);
        if (!ReadMessage(forMessage, message)) continue;
        message.tlvType = tlv;
        messages.push_back(std::move(message));
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
    const std::size_t before = messages.size();
    try {
        AppendMessages(file.get(), messages);
    } catch (...) {
        messages.erase(messages.begin() + static_cast<std::ptrdiff_t>(before), messages.end());
        throw;
    }
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
