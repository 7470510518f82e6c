// Takes caption files apart.
#include "host/player/media/captions/CaptionFile.h"

#include <algorithm>
#include <optional>

#include "host/base/Text.h"

namespace plexion_host::player {

namespace {

constexpr char kExpectedTimes[] = "expected HH:MM:SS,mmm --> HH:MM:SS,mmm";
constexpr int64_t kLongestMs = int64_t{100} * 3600 * 1000;

/// UTF-16 with its mark in front, as editors of old save it.
std::string FromUtf16(const std::string& bytes) {
  const bool little = static_cast<unsigned char>(bytes[0]) == 0xFF;
  const auto unit = [&](size_t i) {
    const auto first = static_cast<unsigned char>(bytes[i]);
    const auto second = static_cast<unsigned char>(bytes[i + 1]);
    return static_cast<char32_t>(little ? first | second << 8 : first << 8 | second);
  };
  std::string text;
  for (size_t i = 2; i + 1 < bytes.size(); i += 2) {
    char32_t codePoint = unit(i);
    if (codePoint >= 0xD800 && codePoint < 0xDC00 && i + 3 < bytes.size()) {
      codePoint = 0x10000 + ((codePoint - 0xD800) << 10) + ((unit(i + 2) - 0xDC00) & 0x3FF);
      i += 2;
    }
    if (codePoint >= 0xD800 && codePoint <= 0xDFFF) codePoint = 0xFFFD;
    AppendUtf8(text, codePoint);
  }
  return text;
}

/// "[H:]MM:SS,mmm", with a point as well; as many digits as there are.
std::optional<int64_t> TakeTime(std::string_view& text) {
  while (!text.empty() && (text[0] == ' ' || text[0] == '\t')) text.remove_prefix(1);
  int64_t parts[4] = {};
  size_t count = 0;
  bool fraction = false;
  for (;;) {
    size_t digits = 0;
    int64_t value = 0;
    while (digits < text.size() && digits < 6 && text[digits] >= '0' && text[digits] <= '9') {
      value = value * 10 + (text[digits++] - '0');
    }
    if (digits == 0 || count == 4) return std::nullopt;
    for (size_t i = digits; fraction && i < 3; ++i) value *= 10;
    for (size_t i = 3; fraction && i < digits; ++i) value /= 10;
    parts[count++] = value;
    text.remove_prefix(digits);
    const char next = text.empty() ? ' ' : text[0];
    if (fraction || (next != ':' && next != ',' && next != '.')) break;
    fraction = next != ':';
    text.remove_prefix(1);
  }
  if (!fraction || count < 3) return std::nullopt;
  int64_t ms = 0;
  for (size_t i = 0; i + 1 < count; ++i) ms = ms * 60 + parts[i];
  ms = ms * 1000 + parts[count - 1];
  if (ms > kLongestMs) return std::nullopt;
  return ms;
}

/// Where WebVTT wants a cue, from what stands behind its times.
int AlignmentOf(std::string_view settings) {
  int column = 2;
  bool top = false;
  for (const std::string& word : SplitAt(settings, ' ')) {
    if (word == "align:start" || word == "align:left") column = 1;
    if (word == "align:end" || word == "align:right") column = 3;
    if (word.compare(0, 5, "line:") == 0 && word.size() > 5) {
      // A line from the top, or a share of the height; from below they are negative, and "auto" is there,
      // too. What stands behind a comma is how the line is aligned at that place.
      const std::string_view place = std::string_view(word).substr(5, word.find_first_of("%,") - 5);
      const bool percent = word.find('%') != std::string::npos;
      const double line = ReadNumber(place).value_or(-1);
      top = line >= 0 && line < (percent ? 50 : 6);
    }
  }
  return column + (top ? 6 : 0);
}

class CueReader {
 public:
  explicit CueReader(CaptionFile& file) : file_(file) {}

  bool Read(const std::string& text, std::string& error) {
    const std::vector<std::string> lines = SplitAt(text, '\n');
    for (size_t i = 0; i < lines.size(); ++i) {
      const size_t arrow = lines[i].find("-->");
      if (arrow == std::string::npos) continue;
      if (file_.cues.size() == kMostCues) {
        file_.complaint = "line " + std::to_string(i + 1) + ": there are more than " +
                          std::to_string(kMostCues) + " captions; the rest is left out";
        return true;
      }
      std::string_view begin = std::string_view(lines[i]).substr(0, arrow);
      std::string_view end = std::string_view(lines[i]).substr(arrow + 3);
      Cue cue;
      const auto from = TakeTime(begin);
      const auto to = TakeTime(end);
      const size_t line = i + 1;
      std::string markup;
      while (i + 1 < lines.size() && !Trim(lines[i + 1]).empty()) {
        markup += (markup.empty() ? "" : "\n") + lines[++i];
        if (markup.size() > kLongestCue) markup.resize(kLongestCue);
      }
      if (!from || !to || *to <= *from) {
        Complain(line, lines[line - 1], from && to);
        continue;
      }
      cue.beginMs = *from;
      cue.endMs = *to;
      cue.alignment = AlignmentOf(end);
      cue.text = AsEventText(markup);
      if (!cue.text.empty()) file_.cues.push_back(std::move(cue));
    }
    if (wrong_ > 0) {
      file_.complaint = std::to_string(wrong_) + " of its captions cannot be read; " + first_;
    }
    if (!file_.cues.empty()) return true;
    error = wrong_ > 0 ? first_ : std::string("there is no caption in it; ") + kExpectedTimes;
    return false;
  }

 private:
  void Complain(size_t number, const std::string& line, bool order) {
    if (wrong_++ > 0) return;
    first_ = "line " + std::to_string(number) + ": \"" + PrintableWord(line.substr(0, 60)) + "\" " +
             (order ? "ends before it begins" : "is no time") + "; " + kExpectedTimes;
  }

  CaptionFile& file_;
  size_t wrong_ = 0;
  std::string first_;
};

}  // namespace

bool ReadCaptions(std::string text, CaptionFile& file, std::string& error) {
  file = CaptionFile();
  if (text.compare(0, 2, "\xFF\xFE") == 0 || text.compare(0, 2, "\xFE\xFF") == 0) {
    text = FromUtf16(text);
  }
  if (text.compare(0, 3, "\xEF\xBB\xBF") == 0) text.erase(0, 3);
  if (text.find('\0') != std::string::npos || !IsUtf8(text)) {
    error = "it is no text in UTF-8; expected SubRip, WebVTT or ASS";
    return false;
  }
  const size_t first = text.find_first_not_of(" \t\r\n");
  if (first != std::string::npos && text.compare(first, 13, "[Script Info]") == 0) {
    file.script = std::move(text);
    return true;
  }
  return CueReader(file).Read(text, error);
}

}  // namespace plexion_host::player
