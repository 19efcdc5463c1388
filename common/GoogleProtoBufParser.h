#ifndef ZOR_COMMON_GOOGLE_PROTO_BUF_PARSER_H
#define ZOR_COMMON_GOOGLE_PROTO_BUF_PARSER_H

/// \file
/// CGoogleProtoBufParser, the reader of schema files.

#include "Export.h"
#include "GoogleProtoBufMessageInfo.h"

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace zor::common {

/// Where the parser hands every error text. It discards the text, on purpose: nothing is logged anywhere, and
/// callers see the boolean results alone.
ZOR_COMMON_API void GoogleProtoBufLogError(std::ostringstream& text);

/// What readProtoFile() has not read, or has read in another way than it was probably meant.
struct SchemaDiagnostic {
    /// How much it matters.
    enum class Severity : unsigned char {
        Note,    ///< Read; worth knowing.
        Warning, ///< A message is left out, or is read in another way than it was probably meant.
        Error    ///< Nothing further is read.
    };

    Severity severity = Severity::Note; ///< How bad it is.
    std::size_t line = 1;               ///< From 1 on.
    std::size_t column = 1;             ///< In bytes, from 1 on.
    std::string message;                ///< What is so.
    std::string hint;                   ///< What to write instead, ready to paste; empty if only the writer knows.
};

/// Reads schema files in a small subset of the protocol-buffer language: flat messages of scalar fields, each
/// below a comment that holds its TLV type number.
/// \code
/// CGoogleProtoBufParser parser;
/// std::vector<CGoogleProtoBufMessageInfo> messages;
/// if (!parser.readProtoFile("status.proto", messages)) { /* the file cannot be opened */ }
/// for (const CGoogleProtoBufMessageInfo& message : messages) message.protoIdlToStream(std::cout);
/// \endcode
///
/// A file that it reads whole:
/// \code{.unparsed}
/// syntax = "proto2";
/// package sample;
///
/// // Sent once a second.
/// // 7
/// message Status {
///   required uint32 code = 1;   // one comment may follow a field
///   optional string text = 2;
/// }
/// \endcode
///
/// \section schema_grammar What is read
///
/// - The file is cut into blocks. A block ends with the line of the next "}", wherever that stands. The text
///   behind the "}" belongs to this block, where nothing reads it, and also begins the next block.
/// - A line that begins with "package" before the message line drops what the block held so far. Lines that
///   are neither comments nor blank must stand above such a line.
/// - The TLV type is the first word made of decimal digits alone from the comment lines directly above the
///   message on, its own line included; any other line between them but a blank one breaks the comment.
/// - A message is the word "message", a name, "{", one field or more, "}". At the very start of a line, the word
///   also ends the search for "package".
/// - A field is an optional label (optional, required, repeated), a type name of
///   CGoogleProtoBufFieldInfo::FieldTypeDataLut but "none", a name, "=", a number, ";". One comment may follow
///   on the same or the next line, but not after the last field.
/// - "=", "{", "}" and ";" end a word, so blanks around them may be left out. Blanks inside a keyword are
///   passed over, and a keyword is also found at the start of a longer word: `optionalint32 a=1;` is a field.
/// - There are no nested messages, enumerations, options, imports or default values: a message that holds one
///   is dropped. Comments between fields and right after "{" drop it as well.
///
/// \section schema_steps The steps
///
/// Everything below readProtoFile() is one step of it, public so that callers can read schema text of their
/// own. The steps work on the stream at its read position and leave it as the stream's own operations would:
/// formatted extraction, getline, tellg and seekg. So
///
/// - white space is what the stream's locale says (readProtoFile() uses the classic locale);
/// - "at its end" means that the stream's eofbit is set, which happens when a read meets the end of the text;
///   a block cut by readMessage() ends with a newline, which a word or a line stops short of;
/// - on a stream that has eofbit set already, tellg() gives no position, so that a token that is tried there
///   clears eofbit and leaves failbit set;
/// - a field width set on the stream is not looked at, and an exceptions mask raises at the end of a step, when its
///   outputs are set.
///
/// The parser holds nothing: one object, or several, may be used from several threads on distinct streams and
/// outputs. When memory runs out, the outputs of every step but readMessage() are as before the call.
class ZOR_COMMON_API CGoogleProtoBufParser {
public:
    /// Appends the messages of a file that can be read; the others are left out silently.
    ///
    /// A block without a TLV type ends the reading, on purpose: what follows it is not read. A file that fails while
    /// it is read counts as ending there. The time is linear in the size of the file.
    ///
    /// \param path      opened as the platform does: a directory opens and holds nothing.
    /// \param messages  appended to, never cleared.
    /// \return          false if the file cannot be opened; true in every other case, even if it has no message.
    bool readProtoFile(const std::string& path, std::vector<CGoogleProtoBufMessageInfo>& messages);

    /// The same, and says what was left out and why: each block and the field in it that cannot be read, where reading
    /// ends, and numbers that are not what they look like. What is read is the same.
    ///
    /// \param diagnostics  appended to, in the order of the file.
    bool readProtoFile(const std::string& path, std::vector<CGoogleProtoBufMessageInfo>& messages,
                       std::vector<SchemaDiagnostic>& diagnostics);

    /// Moves the next message block of a file into \a block, which is emptied and gets a clean state before.
    ///
    /// Each line is copied whole and ended with a newline, also the last one of a file that has none. \a file
    /// is left just after the "}" that ends the block, with a clean state.
    ///
    /// \return  whether a "}" was found; if not, \a block holds the lines that were left and \a file is failed.
    bool readMessage(std::ifstream& file, std::stringstream& block);

    /// Finds the TLV type in the comment directly above the word "message", from the stream's position on.
    ///
    /// The search for a number runs from behind the first "//" of that comment to the first "=", "{", "}" or
    /// ";" that begins a word; "//" and the words of the message line itself are looked at like any other.
    ///
    /// \param tlv  set only on success. What a number beyond 32 bits gives is not defined.
    bool parseTlvTypeFromStream(std::stringstream& block, std::int32_t& tlv);

    /// Reads comment lines and then a message; its TLV type is left at 1.
    ///
    /// \param message  reset before; after a failure it holds what was read up to there.
    /// \return         true also for an empty message: when the stream is at its end before the word
    ///                 "message".
    bool parseMessageFromStream(std::stringstream& block, CGoogleProtoBufMessageInfo& message);

    /// Reads a field up to and including its ";".
    ///
    /// \param field  reset before, which keeps its number; after a failure it holds what was read up to there.
    ///               A number is read like atoi does: 0 if there is none, and text after it is ignored. What
    ///               a number beyond 32 bits gives is not defined.
    bool parseFieldFromStream(std::stringstream& block, CGoogleProtoBufFieldInfo& field);

    /// Reads a word that is a type name.
    ///
    /// \param type   unchanged if there is no word, CGoogleProtoBufFieldInfo::TypeNone if the word is no name
    ///               of a type or is "none".
    /// \param error  replaced only on failure.
    bool parseType(std::stringstream& block, CGoogleProtoBufFieldInfo::FieldType& type, std::string& error);

    /// The same without the error text.
    bool parseType(std::stringstream& block, CGoogleProtoBufFieldInfo::FieldType& type);

    /// Reads a word up to white space or one of "=", "{", "}", ";", which is left to be read.
    ///
    /// \param word  empty after a failure, unless the stream is at its end already: then it is unchanged.
    /// \return      whether the word holds anything.
    bool parseWord(std::stringstream& block, std::string& word);

    /// Consumes \a token if it comes next, white space before each of its characters passed over.
    ///
    /// \return  whether it came; if not, the stream is where it was.
    bool tryParseToken(std::stringstream& block, const std::string& token);
};

} // namespace zor::common

#endif // ZOR_COMMON_GOOGLE_PROTO_BUF_PARSER_H
