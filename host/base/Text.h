// Reading words, numbers and UTF-8, and making texts of others fit to be printed.

#ifndef HOST_BASE_TEXT_H_
#define HOST_BASE_TEXT_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace plexion_host {

/// A whole decimal number from `least` to `most`: digits, with a minus in front where `least` allows
/// one; no blanks, no plus, nothing behind. Returns  none for everything else.
std::optional<int64_t> ReadWholeNumber(std::string_view text, int64_t least, int64_t most);

/// A decimal number from `least` to `most`, else of any finite size: digits, maybe with a point in or beside them, with a
/// minus in front; no blanks, no plus, no exponent, no hexadecimal digits, neither "inf" nor "nan".
/// A point is a point whatever the language of the process.
/// Returns  none for everything else.
std::optional<double> ReadNumber(std::string_view text, double least, double most);
std::optional<double> ReadNumber(std::string_view text);

/// A whole hexadecimal number up to `most`: its digits, large or small, and nothing else.
std::optional<uint64_t> ReadHexNumber(std::string_view text, uint64_t most);

/// What a hexadecimal digit stands for, 0 to 15. Returns  -1 for any other character.
constexpr int HexDigit(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  return digit >= 'A' && digit <= 'F' ? digit - 'A' + 10 : -1;
}

/// The bytes as two small hexadecimal digits each.
std::string HexText(std::string_view bytes);

/// The pieces between the separators: one more than there are separators, some maybe empty.
std::vector<std::string> SplitAt(std::string_view text, char separator);

/// `text` without blanks, tabs and line ends at its ends; a part of the same memory.
std::string_view Trim(std::string_view text);

constexpr bool EndsWith(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

/// The letters A to Z as small ones, whatever the language of the process; all else as it is.
std::string LowerAscii(std::string_view text);

/// The words with `separator` in between.
std::string Join(const std::vector<std::string>& words, const char* separator = ", ");

/// `text` as a part of an address or a variable: what is no letter, digit, "-", "_" or "." becomes
/// %NN.
std::string EncodePercent(std::string_view text);

/// The reverse: each %NN becomes its byte. Returns  false, with a part in `decoded`, where a % has no two
/// hexadecimal digits behind it.
bool DecodePercent(std::string_view text, std::string& decoded);

/// `text` between tags or in a quoted attribute of XML. Control characters, which XML has not, are left
/// out.
std::string EscapeXml(std::string_view text);

/// Whether the byte goes on with a character of UTF-8 that another one has begun.
constexpr bool IsUtf8Continuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}
/// As much of the front of `text` as fits into `mostBytes` without a torn character at its end; a part of
/// the same memory.
std::string_view Utf8Prefix(std::string_view text, size_t mostBytes);

/// Takes one code point off the front of `text`.
/// Returns  none, with one byte taken, where there is no valid UTF-8. `text` must not be empty.
std::optional<char32_t> TakeCodePoint(std::string_view& text);
bool IsUtf8(std::string_view text);
/// `codePoint` is at most 0x10FFFF and no surrogate.
void AppendUtf8(std::string& text, char32_t codePoint);

/// `text` as it may be shown on a terminal or written to a log, whoever made it: control characters
/// and bytes that are no UTF-8 become \xNN, and what changes the direction or the line of a text
/// becomes \u{NNNN}. Line ends and tabs stay.
std::string Printable(std::string_view text);

/// The same for a word or a name inside a line of ours: line ends and tabs are escaped as well, so
/// that a name cannot pretend to be a line.
std::string PrintableWord(std::string_view text);

}  // namespace plexion_host

#endif  // HOST_BASE_TEXT_H_
