#include "host/player/application/document/XmlCheck.h"

#include <algorithm>
#include <vector>

namespace plexion_host::player::application {

namespace {

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

bool StartsName(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == ':';
}

bool ContinuesName(char c) {
  return StartsName(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
}

class XmlChecker {
 public:
  XmlChecker(std::string_view text, DocumentError& error) : text_(text), error_(error) {}

  bool Run() {
    if (text_.size() > kLargestDocument) {
      return Refuse("the document has " + std::to_string(text_.size()) + " bytes; at most " +
                    std::to_string(kLargestDocument) + " are allowed");
    }
    if (text_.compare(0, 3, "\xef\xbb\xbf") == 0) at_ = 3;
    const size_t invalid = FindInvalidUtf8(text_);
    const size_t zero = text_.find('\0');
    if (invalid != std::string_view::npos || zero != std::string_view::npos) {
      at_ = std::min(invalid, zero);
      return Refuse("byte " + std::to_string(at_) + " is not valid UTF-8 text");
    }
    while (at_ < text_.size()) {
      if (text_[at_] == '<' ? !ReadMarkup() : !ReadText()) return false;
    }
    if (!open_.empty()) {
      return Refuse("the element is never closed; expected </" + open_.back().name +
                    "> before the end of the file (it opens in line " +
                    std::to_string(open_.back().line) + ")");
    }
    if (!rooted_) return Refuse("there is no element; expected <application>");
    return true;
  }

 private:
  struct Open {
    std::string name;
    unsigned line;
  };

  bool Refuse(std::string what) {
    error_.line = 1 + static_cast<unsigned>(std::count(
                          text_.begin(), text_.begin() + std::min(at_, text_.size()), '\n'));
    error_.element = !current_.empty() ? current_ : open_.empty() ? "" : open_.back().name;
    error_.what = std::move(what);
    return false;
  }

  bool LooksAt(std::string_view word) const { return text_.compare(at_, word.size(), word) == 0; }

  void SkipBlanks() {
    while (at_ < text_.size() && IsBlank(text_[at_])) ++at_;
  }

  /// Moves behind the next `end`.
  bool SkipPast(std::string_view end, const char* what) {
    const size_t found = text_.find(end, at_);
    if (found == std::string_view::npos) {
      return Refuse(std::string(what) + " is never closed; expected " + std::string(end));
    }
    at_ = found + end.size();
    return true;
  }

  std::string ReadName() {
    const size_t begin = at_;
    if (at_ < text_.size() && StartsName(text_[at_])) {
      while (at_ < text_.size() && ContinuesName(text_[at_])) ++at_;
    }
    return std::string(text_.substr(begin, at_ - begin));
  }

  bool ReadText() {
    for (; at_ < text_.size() && text_[at_] != '<'; ++at_) {
      if (open_.empty() && !IsBlank(text_[at_])) {
        return Refuse("text outside of the root element; expected nothing there");
      }
      if (text_[at_] == '&' && !ReadEntity()) return false;
    }
    return true;
  }

  /// At a '&'; leaves the position at its ';'.
  bool ReadEntity() {
    const size_t end = text_.find(';', at_);
    const std::string_view name =
        end == std::string_view::npos ? std::string_view() : text_.substr(at_ + 1, end - at_ - 1);
    if (name.empty() || name.size() > 10) {
      return Refuse("a lone &; expected &amp;");
    }
    if (name[0] == '#') {
      const bool hexadecimal = name.size() > 1 && name[1] == 'x';
      const std::string_view digits = name.substr(hexadecimal ? 2 : 1);
      const char* allowed = hexadecimal ? "0123456789abcdefABCDEF" : "0123456789";
      if (digits.empty() || digits.find_first_not_of(allowed) != std::string_view::npos) {
        return Refuse("&" + std::string(name) + "; is no character; expected a number");
      }
      const unsigned long code = std::stoul(std::string(digits), nullptr, hexadecimal ? 16 : 10);
      const bool control = code < 0x20 && code != 9 && code != 10 && code != 13;
      if (control || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) {
        return Refuse("&" + std::string(name) + "; is no character that text may hold");
      }
    } else if (name != "amp" && name != "lt" && name != "gt" && name != "quot" && name != "apos") {
      return Refuse("entity &" + std::string(name) +
                    "; is not expanded; expected &amp; &lt; &gt; &quot; &apos; or the character");
    }
    at_ = end;
    return true;
  }

  bool ReadMarkup() {
    current_.clear();
    if (LooksAt("<!--")) {
      at_ += 4;
      return SkipPast("-->", "a comment");
    }
    if (LooksAt("<![CDATA[")) {
      if (open_.empty()) return Refuse("CDATA outside of the root element");
      return SkipPast("]]>", "CDATA");
    }
    if (LooksAt("<!")) return Refuse("document types are not allowed; expected an element");
    if (LooksAt("<?")) return SkipPast("?>", "a processing instruction");
    return LooksAt("</") ? ReadClosing() : ReadOpening();
  }

  bool ReadClosing() {
    at_ += 2;
    const std::string name = ReadName();
    if (open_.empty()) return Refuse("</" + name + "> closes nothing");
    if (name != open_.back().name) {
      return Refuse("</" + name + "> where </" + open_.back().name +
                    "> was expected (opened in line " + std::to_string(open_.back().line) + ")");
    }
    SkipBlanks();
    if (!LooksAt(">")) return Refuse("</" + name + " is not closed; expected >");
    ++at_;
    open_.pop_back();
    return true;
  }

  bool ReadOpening() {
    ++at_;
    const unsigned line =
        1 + static_cast<unsigned>(std::count(text_.begin(), text_.begin() + at_, '\n'));
    current_ = ReadName();
    if (current_.empty()) return Refuse("a lone <; expected an element or &lt;");
    if (open_.empty() && rooted_) {
      return Refuse("a second root element; expected one <application> and nothing after it");
    }
    if (open_.size() >= kDeepestNesting) {
      return Refuse("nested deeper than " + std::to_string(kDeepestNesting) + " levels");
    }
    rooted_ = true;
    std::vector<std::string> names;
    for (;;) {
      const size_t before = at_;
      SkipBlanks();
      if (LooksAt("/>")) {
        at_ += 2;
        current_.clear();
        return true;
      }
      if (LooksAt(">")) {
        ++at_;
        open_.push_back({current_, line});
        current_.clear();
        return true;
      }
      if (at_ >= text_.size()) return Refuse("the tag is never closed; expected >");
      if (before == at_) return Refuse("expected a blank, > or /> in the tag");
      if (!ReadAttribute(names)) return false;
    }
  }

  bool ReadAttribute(std::vector<std::string>& names) {
    const std::string name = ReadName();
    if (name.empty()) return Refuse("expected an attribute, > or /> in the tag");
    if (std::find(names.begin(), names.end(), name) != names.end()) {
      return Refuse("attribute \"" + name + "\" stands twice; expected it once");
    }
    names.push_back(name);
    SkipBlanks();
    if (!LooksAt("=")) return Refuse("attribute \"" + name + "\" has no value; expected =\"...\"");
    ++at_;
    SkipBlanks();
    const char quote = at_ < text_.size() ? text_[at_] : '\0';
    if (quote != '"' && quote != '\'') {
      return Refuse("the value of attribute \"" + name + "\" is not in quotes");
    }
    for (++at_; at_ < text_.size() && text_[at_] != quote; ++at_) {
      if (text_[at_] == '<') {
        return Refuse("a < in the value of attribute \"" + name + "\"; expected &lt;");
      }
      if (text_[at_] == '&' && !ReadEntity()) return false;
    }
    if (at_ >= text_.size()) {
      return Refuse("the value of attribute \"" + name + "\" is never closed");
    }
    ++at_;
    return true;
  }

  std::string_view text_;
  DocumentError& error_;
  size_t at_ = 0;
  bool rooted_ = false;
  std::string current_;  ///< the tag at hand
  std::vector<Open> open_;
};

}  // namespace

std::string Describe(const std::string& file, const DocumentError& error) {
  std::string text = file + ":" + std::to_string(error.line) + ": ";
  if (!error.element.empty()) text += "<" + error.element + ">: ";
  return text + error.what;
}

bool CheckXml(std::string_view text, DocumentError& error) { return XmlChecker(text, error).Run(); }

size_t FindInvalidUtf8(std::string_view text) {
  for (size_t at = 0; at < text.size();) {
    const auto first = static_cast<unsigned char>(text[at]);
    const size_t length = first < 0x80                    ? 1
                          : first >= 0xc2 && first < 0xe0 ? 2
                          : first >= 0xe0 && first < 0xf0 ? 3
                          : first >= 0xf0 && first < 0xf5 ? 4
                                                          : 0;
    if (length == 0 || at + length > text.size()) return at;
    unsigned code = length == 1 ? first : first & (0xffu >> (length + 1));
    for (size_t i = 1; i < length; ++i) {
      const auto next = static_cast<unsigned char>(text[at + i]);
      if ((next & 0xc0) != 0x80) return at;
      code = code << 6 | (next & 0x3fu);
    }
    // Too long for what it says, a surrogate, or beyond the last character.
    const bool tooLong = (length == 3 && code < 0x800) || (length == 4 && code < 0x10000);
    if (tooLong || (code >= 0xD800 && code <= 0xDFFF) || code > 0x10FFFF) return at;
    at += length;
  }
  return std::string_view::npos;
}

}  // namespace plexion_host::player::application
