// From tags and entities to the notation of ASS events.
#include <algorithm>
#include <cctype>
#include <optional>

#include "host/base/Text.h"
#include "host/player/media/captions/CaptionFile.h"

namespace plexion_host::player {

namespace {

constexpr size_t kLongestTag = 200;
constexpr size_t kLongestEntity = 12;

/// "#rrggbb" anywhere behind "color" as ASS writes it.
std::string ColourIn(const std::string& tag) {
  const size_t named = tag.find("color");
  const size_t hash = named == std::string::npos ? named : tag.find('#', named);
  if (hash == std::string::npos || tag.size() < hash + 7) return {};
  const std::string digits = tag.substr(hash + 1, 6);
  const bool hex = std::all_of(digits.begin(), digits.end(),
                               [](unsigned char c) { return std::isxdigit(c) != 0; });
  if (!hex) return {};
  return "{\\c&H" + digits.substr(4, 2) + digits.substr(2, 2) + digits.substr(0, 2) + "&}";
}

/// What a tag becomes; `tag` is what stands between its brackets.
std::string TagAsEvent(std::string tag) {
  tag = LowerAscii(tag);
  const bool closes = !tag.empty() && tag[0] == '/';
  const size_t begin = closes ? 1 : 0;
  const size_t end = std::min(tag.find_first_of(" .\t\n", begin), tag.size());
  const std::string name = tag.substr(begin, end - begin);
  if (name == "i" || name == "b" || name == "u" || name == "s") {
    return "{\\" + name + (closes ? "0}" : "1}");
  }
  if (name == "br") return "\\N";
  if (name == "font" || name == "span") return closes ? "{\\c}" : ColourIn(tag);
  return {};
}

std::optional<char32_t> EntityAsCodePoint(const std::string& name) {
  static constexpr std::pair<const char*, char32_t> kNamed[] = {
      {"amp", '&'},   {"lt", '<'},    {"gt", '>'},     {"quot", '"'},
      {"apos", '\''}, {"nbsp", 0xA0}, {"lrm", 0x200E}, {"rlm", 0x200F}};
  for (const auto& [known, codePoint] : kNamed) {
    if (name == known) return codePoint;
  }
  if (name.size() < 2 || name[0] != '#') return std::nullopt;
  const bool hex = name[1] == 'x' || name[1] == 'X';
  const std::string_view digits = std::string_view(name).substr(hex ? 2 : 1);
  const auto value = static_cast<char32_t>(
      hex ? ReadHexNumber(digits, 0x10FFFF).value_or(0)
          : static_cast<uint64_t>(ReadWholeNumber(digits, 0, 0x10FFFF).value_or(0)));
  const bool surrogate = value >= 0xD800 && value <= 0xDFFF;
  if (value < 0x20 || surrogate) return std::nullopt;
  return value;
}

void AppendEscaped(std::string& text, char32_t character) {
  if (character == '{' || character == '}') {
    text += '\\';
  }
  AppendUtf8(text, character);
  // A backslash would make a command of the letter behind it; a joiner of no width comes between.
  if (character == '\\') AppendUtf8(text, 0x2060);
}

}  // namespace

std::string AsEventText(const std::string& markup, bool marked) {
  std::string text;
  std::string_view rest = markup;
  const bool placed = rest.size() >= 6 && rest.substr(0, 4) == "{\\an" && rest[4] >= '1' &&
                      rest[4] <= '9' && rest[5] == '}';
  if (placed) {
    text += rest.substr(0, 6);
    rest.remove_prefix(6);
  }
  while (!rest.empty() && text.size() < kLongestCue) {
    const size_t close =
        marked && rest[0] == '<' ? rest.substr(0, kLongestTag).find('>') : rest.npos;
    const bool tag = close != rest.npos && close > 1 &&
                     (rest[1] == '/' || std::isalnum(static_cast<unsigned char>(rest[1])) != 0);
    if (tag) {
      text += TagAsEvent(std::string(rest.substr(1, close - 1)));
      rest.remove_prefix(close + 1);
      continue;
    }
    const size_t semicolon =
        marked && rest[0] == '&' ? rest.substr(0, kLongestEntity).find(';') : rest.npos;
    if (semicolon != rest.npos) {
      const auto entity = EntityAsCodePoint(std::string(rest.substr(1, semicolon - 1)));
      if (entity) {
        AppendEscaped(text, *entity);
        rest.remove_prefix(semicolon + 1);
        continue;
      }
    }
    const auto character = TakeCodePoint(rest);
    if (!character || *character == '\r') continue;
    if (*character == '\n') {
      text += "\\N";
    } else {
      AppendEscaped(text, *character);
    }
  }
  while (text.size() >= 2 && text.compare(text.size() - 2, 2, "\\N") == 0)
    text.resize(text.size() - 2);
  return text;
}

}  // namespace plexion_host::player
