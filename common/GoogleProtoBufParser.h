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

/// The parser passes every error text to this function, which deliberately discards it: nothing is logged, and callers
/// get only the boolean results. The diagnostics of readProtoFile() tell more.
ZOR_COMMON_API void GoogleProtoBufLogError(std::ostringstream& text);

/// A part of a schema that readProtoFile() has not read, or has probably read in another way than it was meant.
struct SchemaDiagnostic {
    /// How much it matters.
    enum class Severity : unsigned char {
        Note,    ///< The text was read; worth knowing.
        Warning, ///< A message is left out, or was probably read in another way than it was meant.
        Error    ///< Nothing after it is read.
    };

    Severity severity = Severity::Note; ///< How much it matters.
    std::size_t line = 1;               ///< Counted from 1.
    std::size_t column = 1;             ///< In bytes, counted from 1.
    std::string message;                ///< What was found, in one or more sentences.
    std::string hint;                   ///< A replacement, ready to paste; empty if only the writer knows.
};

/// Reads schema files in a small subset of the protocol-buffer language: flat messages of scalar fields, each below a
/// comment with its TLV type number.
/// \code
/// CGoogleProtoBufParser parser;
/// std::vector<CGoogleProtoBufMessageInfo> messages;
/// if (!parser.readProtoFile("status.proto", messages)) { /* the file cannot be opened */ }
/// for (const CGoogleProtoBufMessageInfo& message : messages) message.protoIdlToStream(std::cout);
/// \endcode
///
/// It reads all of this file:
/// \code{.unparsed}
/// syntax = "proto2";
/// package sample;
///
/// // Sent every second.
/// // 7
/// message Status {
///   required uint32 code = 1;   // one comment may follow a field
///   optional string text = 2;
/// }
/// \endcode
///
/// \section schema_grammar What is read
///
/// - The file is cut into blocks. A block ends with the line of the next "}", wherever it is in the line. Text after
///   the "}" belongs to this block, where nothing reads it, and also begins the next block.
/// - A line that begins with "package", above the message line, drops the text of the block before it. All lines that
///   are neither comments nor blank must be above such a line.
/// - The TLV type is the first word of decimal digits only, searched for from the comment lines directly above the
///   message to the end of the message's own line. Any other line between them, except a blank one, breaks the comment.
/// - A message is the word "message", a name, "{", one field or more, "}". At the very start of a line, the word also
///   ends the search for "package".
/// - A field is an optional label (optional, required, repeated), a type name of
///   CGoogleProtoBufFieldInfo::FieldTypeDataLut except "none", a name, "=", a number, ";". One comment may follow on
///   the same or the next line, but not after the last field.
/// - "=", "{", "}" and ";" end a word, so blanks around them may be left out. Blanks inside a keyword are skipped, and
///   a keyword is also found at the start of a longer word: `optionalint32 a=1;` is a field.
/// - Nested messages, enumerations, options, imports and default values are not supported: a message that contains one
///   is dropped. Any other comment inside a message drops it as well.
///
/// \section schema_steps The steps
///
/// The functions after readProtoFile() are its steps. They are public, so that callers can read schema text from other
/// streams. A step begins at the read position of the stream and leaves the stream as formatted extraction, getline,
/// tellg and seekg do. So
///
/// - the locale of the stream decides what white space is (readProtoFile() uses the classic locale);
/// - "at its end" means that the stream's eofbit is set, which happens when a read reaches the end of the text; a block
///   from readMessage() ends with a newline, so reading its last word or line does not set eofbit;
/// - on a stream whose eofbit is set already, tellg() has no position, so tryParseToken() clears eofbit and leaves
///   failbit set;
/// - a field width set on the stream is ignored, and an exceptions mask throws at the end of a step, after its outputs
///   are set.
///
/// The parser has no state: one object, or several, may be used from several threads on distinct streams and outputs.
/// If an allocation fails, the outputs of every step except readMessage() are as before the call.
class ZOR_COMMON_API CGoogleProtoBufParser {
public:
    /// Appends the messages of a file that can be read; other messages are left out silently.
    ///
    /// Reading deliberately ends at a block without a TLV type: nothing after it is read. A read error counts as the
    /// end of the file. The time is linear in the size of the file.
    ///
    /// \param path      a file that can be opened; a directory counts as an empty file.
    /// \param messages  appended to, never cleared.
    /// \return          false if the file cannot be opened; true in every other case, even if it has no message.
    bool readProtoFile(const std::string& path, std::vector<CGoogleProtoBufMessageInfo>& messages);

    /// The same, and reports what was left out and why: each block and field that cannot be read, the place where
    /// reading ends, and numbers that are probably wrong. The same messages are read.
    ///
    /// \param diagnostics  appended to, in the order of the file.
    bool readProtoFile(const std::string& path, std::vector<CGoogleProtoBufMessageInfo>& messages,
                       std::vector<SchemaDiagnostic>& diagnostics);

    /// Moves the next message block of a file into \a block, whose text and state are cleared first.
    ///
    /// Whole lines are copied, and each ends with a newline, also the last line of a file without one. \a file is left
    /// just after the "}" that ends the block, with a clean state.
    ///
    /// \return  whether a "}" was found; if not, \a block has the remaining lines and \a file has its failbit set.
    bool readMessage(std::ifstream& file, std::stringstream& block);

    /// Finds the TLV type in the comment directly above the word "message", from the stream's position on.
    ///
    /// The number is searched for from after the first "//" of that comment to the first "=", "{", "}" or ";" that
    /// begins a word. Every "//" and the words of the message line count as words too.
    ///
    /// \param tlv  set only on success; undefined for a number beyond 32 bits.
    bool parseTlvTypeFromStream(std::stringstream& block, std::int32_t& tlv);

    /// Reads comment lines and then a message; its TLV type stays 1.
    ///
    /// \param message  reset first; after a failure it has what was read so far.
    /// \return         also true, with an empty message, if the stream ends before the word "message".
    bool parseMessageFromStream(std::stringstream& block, CGoogleProtoBufMessageInfo& message);

    /// Reads a field up to and including its ";".
    ///
    /// \param field  reset first, which keeps its number; after a failure it has what was read so far. The number is
    ///               read as by atoi: 0 if there is none, and text after it is ignored; undefined beyond 32 bits.
    bool parseFieldFromStream(std::stringstream& block, CGoogleProtoBufFieldInfo& field);

    /// Reads a word that is a type name.
    ///
    /// \param type   unchanged if there is no word, CGoogleProtoBufFieldInfo::TypeNone if the word is "none" or not the
    ///               name of a type.
    /// \param error  replaced only on failure.
    bool parseType(std::stringstream& block, CGoogleProtoBufFieldInfo::FieldType& type, std::string& error);

    /// The same without the error text.
    bool parseType(std::stringstream& block, CGoogleProtoBufFieldInfo::FieldType& type);

    /// Reads a word up to white space or one of "=", "{", "}", ";", which is not consumed.
    ///
    /// \param word  empty after a failure, but unchanged if the stream was at its end already.
    /// \return      whether the word is not empty.
    bool parseWord(std::stringstream& block, std::string& word);

    /// Consumes \a token if it comes next. White space before each of its characters is skipped.
    ///
    /// \return  whether the token came next; if not, the stream is where it was.
    bool tryParseToken(std::stringstream& block, const std::string& token);
};

} // namespace zor::common

#endif // ZOR_COMMON_GOOGLE_PROTO_BUF_PARSER_H
