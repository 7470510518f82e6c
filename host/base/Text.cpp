// Reading words, numbers and UTF-8, and making texts of others fit to be printed.

#include "host/base/Text.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>

#include "host/base/Check.h"

namespace plexion_host {
namespace {

/// All of `text` by the C++ library's readers, which know no language and skip no blanks. `how` is what
/// they want to be told: a base, or a format.
template <typename Number, typename How>
std::optional<Number> ReadAll(std::string_view text, How how) {
  Number number{};
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, number, how);
  if (result.ec != std::errc() || result.ptr != end) return {};
  return number;
}

/// Direction marks, embeddings and isolates, and the separators that some terminals take for a line
/// end: a name with them reads as something that it is not.
bool MisleadsReader(char32_t codePoint) {
  return (codePoint >= 0x202A && codePoint <= 0x202E) ||
         (codePoint >= 0x2066 && codePoint <= 0x2069) || codePoint == 0x2028 ||
         codePoint == 0x2029 || codePoint == 0x200E || codePoint == 0x200F;
}

std::string Escaped(std::string_view text, bool keepLines) {
  std::string result;
  result.reserve(text.size());
  const auto escapeBytes = [&result](std::string_view bytes) {
    for (const char byte : bytes) {
      char escape[8];
      std::snprintf(escape, sizeof(escape), "\\x%02X", static_cast<unsigned char>(byte));
      result += escape;
    }
  };
  while (!text.empty()) {
    const std::string_view before = text;
    const std::optional<char32_t> codePoint = TakeCodePoint(text);
    const std::string_view bytes = before.substr(0, before.size() - text.size());
    if (!codePoint) {
      escapeBytes(bytes);
    } else if (keepLines && (*codePoint == '\n' || *codePoint == '\t')) {
      result += bytes;
    } else if (*codePoint < 0x20 || (*codePoint >= 0x7F && *codePoint < 0xA0)) {
      escapeBytes(bytes);
    } else if (MisleadsReader(*codePoint)) {
      char escape[16];
      std::snprintf(escape, sizeof(escape), "\\u{%04X}", static_cast<unsigned>(*codePoint));
      result += escape;
    } else {
      result += bytes;
    }
  }
  return result;
}

}  // namespace

std::optional<int64_t> ReadWholeNumber(std::string_view text, int64_t least, int64_t most) {
  PLEXION_CHECK(least <= most, "a range is given from its least to its most");
  const auto number = ReadAll<int64_t>(text, 10);
  if (!number || *number < least || *number > most) return {};
  return number;
}

std::optional<double> ReadNumber(std::string_view text, double least, double most) {
  PLEXION_CHECK(least <= most, "a range is given from its least to its most");
  const auto number = ReadAll<double>(text, std::chars_format::fixed);
  // The library takes "inf" and "nan" for numbers; of those the second is in no range and out of none.
  if (!number || !std::isfinite(*number) || *number < least || *number > most) return {};
  return number;
}

std::optional<double> ReadNumber(std::string_view text) {
  constexpr double kFarthest = std::numeric_limits<double>::max();
  return ReadNumber(text, -kFarthest, kFarthest);
}

std::optional<uint64_t> ReadHexNumber(std::string_view text, uint64_t most) {
  const auto number = ReadAll<uint64_t>(text, 16);
  if (!number || *number > most) return {};
  return number;
}

std::string HexText(std::string_view bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(2 * bytes.size());
  for (const char each : bytes) {
    const auto byte = static_cast<unsigned char>(each);
    text += {kDigits[byte >> 4], kDigits[byte & 15]};
  }
  return text;
}

std::string_view Trim(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::string LowerAscii(std::string_view text) {
  std::string lower(text);
  for (char& letter : lower) {
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
  }
  return lower;
}

std::vector<std::string> SplitAt(std::string_view text, char separator) {
  std::vector<std::string> words;
  for (size_t end = text.find(separator); end != std::string_view::npos;
       end = text.find(separator)) {
    words.emplace_back(text.substr(0, end));
    text.remove_prefix(end + 1);
  }
  words.emplace_back(text);
  return words;
}

std::string Join(const std::vector<std::string>& words, const char* separator) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : separator) + word;
  return text;
}

std::string_view Utf8Prefix(std::string_view text, size_t mostBytes) {
  if (text.size() <= mostBytes) return text;
  size_t bytes = mostBytes;
  while (bytes > 0 && IsUtf8Continuation(text[bytes])) --bytes;
  return text.substr(0, bytes);
}

std::optional<char32_t> TakeCodePoint(std::string_view& text) {
  PLEXION_CHECK(!text.empty(), "there is a byte to take");
  const auto first = static_cast<unsigned char>(text[0]);
  size_t more = 0;
  char32_t codePoint = first;
  char32_t least = 0;  // a code point in more bytes than it needs is a way around every check
  if (first >= 0xF0 && first < 0xF8) {
    more = 3;
    codePoint = first & 0x07U;
    least = 0x10000;
  } else if (first >= 0xE0 && first < 0xF0) {
    more = 2;
    codePoint = first & 0x0FU;
    least = 0x800;
  } else if (first >= 0xC0 && first < 0xE0) {
    more = 1;
    codePoint = first & 0x1FU;
    least = 0x80;
  }
  bool valid = first < 0x80 || more > 0;
  for (size_t i = 1; valid && i <= more; ++i) {
    valid = i < text.size() && IsUtf8Continuation(text[i]);
    if (valid) codePoint = (codePoint << 6U) | (static_cast<unsigned char>(text[i]) & 0x3FU);
  }
  const bool surrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
  if (!valid || codePoint < least || codePoint > 0x10FFFF || surrogate) {
    text.remove_prefix(1);
    return {};
  }
  text.remove_prefix(1 + more);
  return codePoint;
}

bool IsUtf8(std::string_view text) {
  while (!text.empty()) {
    if (!TakeCodePoint(text)) return false;
  }
  return true;
}

void AppendUtf8(std::string& text, char32_t codePoint) {
  PLEXION_CHECK(codePoint <= 0x10FFFF && (codePoint < 0xD800 || codePoint > 0xDFFF),
                "a code point is one that UTF-8 can hold");
  if (codePoint < 0x80) {
    text += static_cast<char>(codePoint);
    return;
  }
  const int more = codePoint < 0x800 ? 1 : codePoint < 0x10000 ? 2 : 3;
  const unsigned marks[] = {0xC0, 0xE0, 0xF0};
  text += static_cast<char>(marks[more - 1] | (codePoint >> (6 * more)));
  for (int i = more - 1; i >= 0; --i) {
    text += static_cast<char>(0x80 | ((codePoint >> (6 * i)) & 0x3F));
  }
}

std::string EncodePercent(std::string_view text) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string encoded;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    const bool plain = (byte >= '0' && byte <= '9') || (byte >= 'a' && byte <= 'z') ||
                       (byte >= 'A' && byte <= 'Z') || byte == '-' || byte == '_' || byte == '.';
    if (plain) {
      encoded += character;
    } else {
      encoded += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
    }
  }
  return encoded;
}

bool DecodePercent(std::string_view text, std::string& decoded) {
  decoded.clear();
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      decoded += text[i];
      continue;
    }
    const int high = i + 1 < text.size() ? HexDigit(text[i + 1]) : -1;
    const int low = i + 2 < text.size() ? HexDigit(text[i + 2]) : -1;
    if (high < 0 || low < 0) return false;
    decoded += static_cast<char>(high * 16 + low);
    i += 2;
  }
  return true;
}

std::string EscapeXml(std::string_view text) {
  std::string escaped;
  for (const char character : text) {
    switch (character) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        if (static_cast<unsigned char>(character) >= ' ') escaped += character;
    }
  }
  return escaped;
}

std::string Printable(std::string_view text) { return Escaped(text, true); }

std::string PrintableWord(std::string_view text) { return Escaped(text, false); }

}  // namespace plexion_host
