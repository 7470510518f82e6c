// Characters, lines and boxes of a text.
#include "host/player/lottie/text/Letters.h"

#include <glib.h>

#include <algorithm>
#include <optional>

#include "host/base/Check.h"
#include "host/base/Text.h"

namespace plexion_host::movie {

namespace {

constexpr double kSmallCapitals = 0.8;
constexpr size_t kLongestText = 20000;  ///< bytes; more is cut off
constexpr char32_t kJoiner = 0x200D;

bool Combines(char32_t c) {
  return g_unichar_ismark(c) != 0 || (c >= 0xFE00 && c <= 0xFE0F) ||
         (c >= 0x1F3FB && c <= 0x1F3FF) || (c >= 0xE0020 && c <= 0xE007F);
}

bool IsRegional(char32_t c) { return c >= 0x1F1E6 && c <= 0x1F1FF; }

bool EndsLine(char c) { return c == '\r' || c == '\x03' || c == '\n'; }

std::string Upper(std::string_view text) {
  std::string upper;
  while (!text.empty()) {
    const std::optional<char32_t> c = TakeCodePoint(text);
    if (c) AppendUtf8(upper, g_unichar_toupper(*c));
  }
  return upper;
}

/// Turning points of letters that move in groups: 2 words, 3 lines; else each on its own.
void Group(int grouping, std::vector<Letter>& letters) {
  if (grouping != 2 && grouping != 3) {
    for (size_t i = 0; i < letters.size(); ++i) {
      letters[i].groupWidth = letters[i].advance;
      letters[i].group = static_cast<int>(i);
    }
    return;
  }
  double width = 0;
  size_t first = 0;
  int group = 0;
  for (size_t i = 0; i < letters.size(); ++i) {
    const bool ends = letters[i].breaks || (grouping == 2 && letters[i].blank);
    letters[i].groupStart = width;
    if (!ends) width += letters[i].advance;
    if (!ends && i + 1 < letters.size()) continue;
    for (; first <= i; ++first) {
      letters[first].groupWidth = width;
      letters[first].group = group;
      letters[first].behindGroup = letters[i].advance;
    }
    ++group;
    width = 0;
  }
}

}  // namespace

size_t CharacterBytes(std::string_view text) {
  std::string_view rest = text;
  const std::optional<char32_t> first = TakeCodePoint(rest);
  bool joined = false;
  bool flag = first && IsRegional(*first);
  while (!rest.empty()) {
    std::string_view after = rest;
    const std::optional<char32_t> next = TakeCodePoint(after);
    if (!next ||
        (!joined && !Combines(*next) && *next != kJoiner && !(flag && IsRegional(*next)))) {
      break;
    }
    joined = *next == kJoiner;
    flag = false;
    rest = after;
  }
  return text.size() - rest.size();
}

LetterSource::LetterSource(std::vector<TextFont> fonts, std::vector<TextCharacter> characters)
    : fonts_(std::move(fonts)), characters_(std::move(characters)) {
  for (size_t i = 0; i < characters_.size(); ++i) {
    const TextCharacter& character = characters_[i];
    byName_.emplace(
        std::make_tuple(std::string_view(character.text), std::string_view(character.style),
                        std::string_view(character.family)),
        i);
  }
  plain_.family = "sans-serif";
  plain_.ascent = 75;
}

const TextFont& LetterSource::FontOf(const TextDocument& document) const {
  for (const TextFont& font : fonts_) {
    if (font.name == document.font) return font;
  }
  return fonts_.empty() ? plain_ : fonts_.front();
}

const TextCharacter* LetterSource::Find(const TextFont& font, std::string_view character) {
  const auto found =
      byName_.find({character, std::string_view(font.style), std::string_view(font.family)});
  return found == byName_.end() ? nullptr : &characters_[found->second];
}

size_t LetterSource::Bytes() const {
  size_t bytes = machine_.Bytes() + characters_.capacity() * sizeof(TextCharacter);
  for (const TextCharacter& character : characters_) {
    bytes +=
        character.outline.verbs.capacity() + character.outline.points.capacity() * sizeof(double);
  }
  return bytes;
}

void LetterSource::Take(const TextDocument& document, bool apart, int grouping, Letters& letters) {
  letters.letters.clear();
  letters.lines.clear();
  letters.tracking = document.tracking / 1000 * document.size;
  std::string_view text = std::string_view(document.text).substr(0, kLongestText);
  for (;;) {
    size_t end = 0;
    while (end < text.size() && !EndsLine(text[end])) ++end;
    AppendParagraph(document, text.substr(0, end), apart, letters);
    if (end == text.size()) break;
    // Editors write paragraphs as \r, files that were edited by hand as \n or both.
    if (text.substr(end, 2) == "\r\n") ++end;
    text.remove_prefix(end + 1);
  }
  PLEXION_CHECK(!letters.lines.empty(), "a text has a line, be it empty");
  letters.widest = letters.lines.front().width;
  for (const TextLine& line : letters.lines) letters.widest = std::max(letters.widest, line.width);
  Group(grouping, letters.letters);
}

/// One line, or as many as the box makes of it.
void LetterSource::AppendParagraph(const TextDocument& document, std::string_view text, bool apart,
                                   Letters& letters) {
  std::vector<Letter> row;
  std::vector<size_t> starts;
  AppendLine(document, text, apart, row, &starts);
  std::vector<std::pair<size_t, size_t>> parts;  // bytes
  size_t from = 0;
  if (document.boxed && document.boxWidth > 0) {
    double width = 0;
    size_t lastBlank = row.size();
    size_t first = 0;
    for (size_t i = 0; i < row.size(); ++i) {
      if (row[i].blank) lastBlank = i;
      if (row[i].blank || i == first || width + row[i].advance <= document.boxWidth) {
        width += row[i].advance + letters.tracking;
        continue;
      }
      const bool atBlank = lastBlank < row.size() && lastBlank > first;
      first = atBlank ? lastBlank : i;
      parts.emplace_back(from, starts[first]);
      if (atBlank) ++first;
      from = first < row.size() ? starts[first] : text.size();
      i = first - 1;
      width = 0;
      lastBlank = row.size();
    }
  }
  const bool whole = parts.empty();
  parts.emplace_back(from, text.size());
  for (size_t part = 0; part < parts.size(); ++part) {
    const int number = static_cast<int>(letters.lines.size());
    TextLine line;
    line.first = letters.letters.size();
    if (number > 0) {
      Letter ending;
      ending.breaks = true;
      ending.line = number;
      letters.letters.push_back(ending);
    }
    if (!whole) {
      row.clear();
      AppendLine(document, text.substr(parts[part].first, parts[part].second - parts[part].first),
                 apart, row, nullptr);
    }
    double blanks = 0;
    line.width = -letters.tracking;
    for (Letter& letter : row) {
      letter.line = number;
      blanks += letter.advance + letters.tracking;
      if (!letter.blank) {
        line.width += blanks;
        blanks = 0;
      }
      letters.letters.push_back(letter);
    }
    line.last = letters.letters.size();
    line.wrapped = part + 1 < parts.size();
    letters.lines.push_back(line);
  }
}

void LetterSource::AppendLine(const TextDocument& document, std::string_view text, bool apart,
                              std::vector<Letter>& letters, std::vector<size_t>* starts) {
  const TextFont& font = FontOf(document);
  const double scale = document.size / 100;
  const size_t before = letters.size();
  const bool capitals = document.caps != 0;
  if (!HasCharacters() && !(document.caps == 2)) {
    // Whole lines: what one character looks like can depend on its neighbours. Capitals may have
    // other lengths, so that places in the text are only right without them; a box is then
    // wrapped by the capitals of each word.
    const std::string upper = capitals ? Upper(text) : std::string();
    const std::string_view shown = capitals && upper.size() == text.size() ? upper : text;
    if (!machine_.Shape(font, shown, apart, clusters_) && missing_.empty()) missing_ = text;
    for (const FontCluster& cluster : clusters_) {
      Letter letter;
      letter.outline = cluster.outline;
      letter.advance = cluster.advance * scale;
      letter.blank = shown.substr(cluster.start, cluster.bytes) == " ";
      letter.place = cluster.place;
      letters.push_back(letter);
      if (starts != nullptr) starts->push_back(cluster.start);
    }
    return;
  }
  for (size_t at = 0; at < text.size();) {
    const size_t bytes = CharacterBytes(text.substr(at));
    const std::string_view character = text.substr(at, bytes);
    const std::string upper = capitals ? Upper(character) : std::string();
    Letter letter;
    letter.blank = character == " ";
    letter.place = static_cast<int>(letters.size() - before);
    if (document.caps == 2 && upper != character) letter.shrink = kSmallCapitals;
    if (HasCharacters()) {
      const TextCharacter* found = capitals ? Find(font, upper) : nullptr;
      if (found == nullptr) {
        found = Find(font, character);
        letter.shrink = 1;
      }
      if (found == nullptr && missing_.empty()) missing_ = character;
      if (found != nullptr) {
        letter.advance = found->width * scale * letter.shrink;
        letter.composition = found->composition;
        letter.outline = found->outline.verbs.empty() ? nullptr : &found->outline;
      }
    } else {
      machine_.Shape(font, upper, true, clusters_);
      for (const FontCluster& cluster : clusters_) {
        letter.advance += cluster.advance * scale * letter.shrink;
        letter.outline = cluster.outline;
      }
    }
    letters.push_back(letter);
    if (starts != nullptr) starts->push_back(at);
    at += bytes;
  }
}

}  // namespace plexion_host::movie
