// Reads XML with libexpat, strictly: what it refuses is told with its place and what was expected.
#include "host/player/application/document/XmlReader.h"

#include <expat.h>

#include <algorithm>
#include <memory>

#include "host/base/Check.h"
#include "host/base/Text.h"
#include "host/player/application/stage/Element.h"

namespace plexion_host::player::application {

namespace {

constexpr char kTextOutside[] = "text outside of the root element; expected nothing there";
/// Of a name that is wrong, as much stands in the message.
constexpr size_t kLongestShown = 60;

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

struct ParserDeleter {
  void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};

class Reading {
 public:
  Reading(std::string_view text, XmlHandler& handler, DocumentError& error)
      : text_(text), handler_(handler), error_(error) {}

  bool Run() {
    if (text_.size() > kLargestDocument) {
      return Refuse({}, "the document has " + std::to_string(text_.size()) + " bytes; at most " +
                            std::to_string(kLargestDocument) + " are allowed");
    }
    // The encoding is ours to say: a document that names another one is read as UTF-8 all the same.
    parser_.reset(XML_ParserCreate("UTF-8"));
    if (parser_ == nullptr) return Refuse({}, "there is no memory to read it");
    XML_SetUserData(parser_.get(), this);
    XML_SetElementHandler(parser_.get(), OnOpen, OnClose);
    XML_SetCharacterDataHandler(parser_.get(), OnText);
    XML_SetStartDoctypeDeclHandler(parser_.get(), OnDocumentType);
    if (XML_Parse(parser_.get(), text_.data(), static_cast<int>(text_.size()), XML_TRUE) ==
        XML_STATUS_OK) {
      return true;
    }
    // Either the handler or we stopped it, with the reason, or it is not well-formed.
    return refused_ ? false : RefuseWhatIsNotWellFormed();
  }

 private:
  struct Open {
    std::string name;
    unsigned line;
  };

  static Reading& Of(void* self) { return *static_cast<Reading*>(self); }

  static void OnOpen(void* self, const XML_Char* name, const XML_Char** attributes) {
    Reading& reading = Of(self);
    if (reading.refused_) return;
    const XmlPlace place = reading.Place();
    // Before anything is refused, so that the message names this element.
    reading.open_.push_back({name, place.line});
    if (reading.open_.size() > kDeepestNesting) {
      reading.Stop("nested deeper than " + std::to_string(kDeepestNesting) + " levels");
      return;
    }
    reading.attributes_.clear();
    for (; *attributes != nullptr; attributes += 2) {
      reading.attributes_.push_back({attributes[0], attributes[1]});
    }
    reading.StopUnlessEmpty(reading.handler_.OnOpen(name, reading.attributes_, place));
  }

  static void OnClose(void* self, const XML_Char*) {
    Reading& reading = Of(self);
    // The library tells of the end of an empty element even when it was stopped at its beginning.
    if (reading.refused_) return;
    PLEXION_CHECK(!reading.open_.empty(), "the library closes what it has opened");
    reading.StopUnlessEmpty(reading.handler_.OnClose());
    if (!reading.refused_) reading.open_.pop_back();
  }

  static void OnText(void* self, const XML_Char* text, int length) {
    Reading& reading = Of(self);
    if (reading.refused_) return;
    reading.StopUnlessEmpty(
        reading.handler_.OnText({text, static_cast<size_t>(length)}, reading.Place()));
  }

  static void OnDocumentType(void* self, const XML_Char*, const XML_Char*, const XML_Char*, int) {
    Of(self).Stop("document types are not allowed; expected an element");
  }

  void StopUnlessEmpty(std::string what) {
    if (!what.empty()) Stop(std::move(what));
  }

  void Stop(std::string what) {
    Refuse(Place(), std::move(what));
    XML_StopParser(parser_.get(), XML_FALSE);
  }

  bool Refuse(XmlPlace place, std::string what) {
    refused_ = true;
    error_.place = place;
    error_.element = open_.empty() ? "" : open_.back().name;
    error_.what = std::move(what);
    return false;
  }

  XmlPlace Place() const {
    return {static_cast<unsigned>(XML_GetCurrentLineNumber(parser_.get())),
            static_cast<unsigned>(XML_GetCurrentColumnNumber(parser_.get())) + 1};
  }

  /// What stands where the library stopped.
  std::string_view Rest() const {
    const auto at =
        static_cast<size_t>(std::max<XML_Index>(XML_GetCurrentByteIndex(parser_.get()), 0));
    return text_.substr(std::min(at, text_.size()));
  }

  /// The name at the beginning of `rest`, up to what cannot be part of one.
  static std::string NameIn(std::string_view rest) {
    rest = rest.substr(0, rest.find_first_of(" \t\r\n/>=;<&\"'"));
    return std::string(rest.substr(0, kLongestShown));
  }

  /// Of the tag that the library stopped inside of; empty when it was in none.
  std::string TagAround(std::string_view before) const {
    const size_t begin = before.rfind('<');
    if (begin == std::string_view::npos || before.find('>', begin) != std::string_view::npos) {
      return "";
    }
    return NameIn(before.substr(begin + 1));
  }

  bool RefuseWhatIsNotWellFormed() {
    const std::string_view rest = Rest();
    const std::string_view before = text_.substr(0, text_.size() - rest.size());
    Refuse(Place(), Reason(rest, before));
    const std::string tag = TagAround(before);
    if (!tag.empty()) error_.element = tag;
    return false;
  }

  std::string Reason(std::string_view rest, std::string_view before) const {
    switch (XML_GetErrorCode(parser_.get())) {
      case XML_ERROR_NO_ELEMENTS:
        return open_.empty() ? "there is no element; expected <application>" : NeverClosed();
      case XML_ERROR_TAG_MISMATCH:
        return "</" + NameIn(rest) + "> where </" + open_.back().name +
               "> was expected (opened in line " + std::to_string(open_.back().line) + ")";
      case XML_ERROR_DUPLICATE_ATTRIBUTE:
        return "attribute \"" + NameIn(rest) + "\" stands twice; expected it once";
      case XML_ERROR_JUNK_AFTER_DOC_ELEMENT:
        return rest.substr(0, 1) == "<"
                   ? "<" + NameIn(rest.substr(1)) + "> is a second root element; expected one " +
                         "<application> and nothing after it"
                   : kTextOutside;
      case XML_ERROR_UNDEFINED_ENTITY:
        return "entity &" + UnknownEntityIn(rest) +
               "; is not expanded; expected &amp; &lt; &gt; &quot; &apos; or the character";
      case XML_ERROR_BAD_CHAR_REF:
        return NameIn(rest.substr(std::min<size_t>(1, rest.size()))).insert(0, "&") +
               "; is no character that text may hold";
      case XML_ERROR_UNCLOSED_CDATA_SECTION:
        return "CDATA is never closed; expected ]]>";
      case XML_ERROR_UNCLOSED_TOKEN:
        return "what begins here is never closed; expected >, --> or ?>";
      case XML_ERROR_MISPLACED_XML_PI:
        return "<?xml ...?> where none may stand; expected it at the very beginning";
      case XML_ERROR_NO_MEMORY:
        return "there is no memory to read it";
      default:
        return NotWellFormed(rest, before);
    }
  }

  std::string NeverClosed() const {
    return "the element is never closed; expected </" + open_.back().name +
           "> before the end of the file (it opens in line " + std::to_string(open_.back().line) +
           ")";
  }

  /// In the value of an attribute the library only knows the tag, which `rest` begins with.
  static std::string UnknownEntityIn(std::string_view rest) {
    for (size_t at = rest.find('&'); at != std::string_view::npos; at = rest.find('&', at + 1)) {
      const std::string name = NameIn(rest.substr(at + 1));
      const bool known = name == "amp" || name == "lt" || name == "gt" || name == "quot" ||
                         name == "apos" || name.compare(0, 1, "#") == 0;
      if (!known) return name;
    }
    return "";
  }

  /// The library says where, and little else.
  std::string NotWellFormed(std::string_view rest, std::string_view before) const {
    const char first = rest.empty() ? '\0' : rest[0];
    const auto code = static_cast<unsigned char>(first);
    const std::string place = "byte " + std::to_string(before.size());
    std::string_view left = rest;
    if (code >= 0x80 && !TakeCodePoint(left)) {
      return place + " is not valid UTF-8 text; expected UTF-8";
    }
    if (code < 0x20 && !IsBlank(first)) return place + " is a control character; expected text";
    const size_t word = before.find_last_of(" \t\r\n/>=;<&\"'");
    if (word != std::string_view::npos && before[word] == '&') {
      return "a lone &; expected &amp;";
    }
    if (!before.empty() && before.back() == '<') {
      return "a lone <; expected an element or &lt;";
    }
    if (first == '<') return "a < where none may stand; expected &lt;";
    if (before.find_first_not_of(" \t\r\n") == std::string_view::npos) return kTextOutside;
    if (TagAround(before).empty()) {
      return std::string("'") + first + "' where none may stand; expected it as &gt; or &amp;";
    }
    return "the tag is wrong at " + (code < 0x80 ? "'" + std::string(1, first) + "'" : place) +
           "; expected NAME=\"VALUE\" after a blank, > or />";
  }

  const std::string_view text_;
  XmlHandler& handler_;
  DocumentError& error_;
  std::unique_ptr<XML_ParserStruct, ParserDeleter> parser_;
  std::vector<Open> open_;
  std::vector<XmlAttribute> attributes_;  ///< of the tag at hand
  bool refused_ = false;
};

}  // namespace

std::string Describe(const std::string& file, const DocumentError& error) {
  std::string text = (error.file.empty() ? file : error.file) + ":" +
                     std::to_string(error.place.line) + ":" + std::to_string(error.place.column) +
                     ": ";
  if (!error.element.empty()) text += "<" + error.element + ">: ";
  return PrintableWord(text + error.what);
}

bool ReadXml(std::string_view text, XmlHandler& handler, DocumentError& error) {
  return Reading(text, handler, error).Run();
}

}  // namespace plexion_host::player::application
