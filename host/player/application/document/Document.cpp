// Builds a stage from the elements of an application.xml while they are read.
#include "host/player/application/document/Document.h"

#include <math.h>

#include <algorithm>
#include <utility>

#include "host/base/Check.h"
#include "host/base/NearestName.h"
#include "host/base/Text.h"
#include "host/player/application/stage/SpanProperties.h"
#include "host/player/application/stage/TimeZones.h"

namespace plexion_host::player::application {

namespace {

constexpr char kBlanks[] = " \t\r\n";
/// Where spans begin and end in a text that is being read: characters that no document has.
constexpr char kSpanBegin = '\x01';
constexpr char kSpanEnd = '\x02';
constexpr char kTextElsewhere[] = "text outside of a <text> element";
constexpr char kColourExpected[] = "a colour (#rgb, #rrggbb, #rrggbbaa) or none";

bool IsBlank(std::string_view text) {
  return text.find_first_not_of(kBlanks) == std::string_view::npos;
}

/// Text between tags is written as it suits the document: blanks at its ends go, line ends with
/// what indents the next line become one space.
std::string Folded(const std::string& text) {
  std::string folded;
  size_t at = 0;
  while (at < text.size()) {
    const size_t begin = text.find_first_not_of(kBlanks, at);
    if (begin == std::string::npos) break;
    const size_t end = std::min(text.find('\n', begin), text.size());
    std::string line = text.substr(begin, end - begin);
    line.erase(line.find_last_not_of(" \t\r") + 1);
    if (!folded.empty()) folded += ' ';
    folded += line;
    at = end;
  }
  return folded;
}

std::string Wrong(const XmlAttribute& attribute, const std::string& expected) {
  return "attribute \"" + std::string(attribute.name) + "\" is \"" +
         std::string(attribute.value.substr(0, 100)) + "\"; expected " + expected;
}

/// "; expected one of a, b", or the one that was probably meant.
std::string Meant(const std::string& typed, const std::vector<std::string>& names) {
  const std::string nearest = NearestName(typed, names);
  if (!nearest.empty()) return "; did you mean \"" + nearest + "\"?";
  return std::string("; expected ") + (names.size() > 1 ? "one of " : "") + Join(names);
}

std::string Unknown(const XmlAttribute& attribute, const std::vector<std::string>& names) {
  return "unknown attribute \"" + std::string(attribute.name.substr(0, 100)) + "\"" +
         Meant(std::string(attribute.name), names);
}

std::vector<std::string> AttributeNames(ElementKind kind) {
  std::vector<std::string> names = {"id"};
  for (const Property* each = kProperties; each->name != nullptr; ++each) {
    if (FindProperty(kind, each->name) == each) names.emplace_back(each->name);
  }
  return names;
}

/// Whole from `least` to kLargestStage.
bool ReadSide(std::string_view text, uint32_t& side) {
  double number = 0;
  if (!ReadNumber(text, number) || number < 1 || number > kLargestStage ||
      number != floor(number)) {
    return false;
  }
  side = static_cast<uint32_t>(number);
  return true;
}

class StageBuilder final : public XmlHandler {
 public:
  StageBuilder(Stage& stage, std::vector<ScriptReference>& scripts)
      : stage_(stage), scripts_(scripts) {}

  std::string OnOpen(std::string_view name, const Attributes& attributes, XmlPlace) override {
    if (open_.empty()) return OpenRoot(name, attributes);
    const Open& parent = open_.back();
    switch (parent.what) {
      case What::kRoot:
        return OpenTop(name, attributes);
      case What::kScript:
        return "<" + std::string(name) + "> inside of a script; expected text, best as CDATA";
      case What::kGroup:
        return OpenElement(name, attributes, *parent.element);
      case What::kLeaf:
      case What::kSpan:
        if (name == "span" && TextAround().element->kind == ElementKind::kText) {
          return OpenSpan(attributes);
        }
        break;
    }
    return "<" + std::string(name) + "> inside of <" + NameOf(TextAround().element->kind) +
           ">; expected no element there" +
           (TextAround().element->kind == ElementKind::kText ? " but <span>" : "");
  }

  std::string OnText(std::string_view text, XmlPlace place) override {
    PLEXION_CHECK(!open_.empty(), "there is no text outside of the root");
    Open& in = open_.back();
    if (in.what == What::kScript) {
      // The script's lines count as the document's, so that a message leads to the right place.
      if (in.text.empty()) in.line = place.line;
      in.text += text;
      return "";
    }
    if (in.what == What::kSpan) {
      TextAround().text += text;
      return "";
    }
    if (in.what == What::kLeaf && in.element->kind == ElementKind::kText) {
      in.text += text;
      return "";
    }
    return IsBlank(text) ? "" : kTextElsewhere;
  }

  std::string OnClose() override {
    const Open closed = std::move(open_.back());
    open_.pop_back();
    switch (closed.what) {
      case What::kScript:
        return CloseScript(closed);
      case What::kLeaf:
        return IsBlank(closed.text) ? "" : SetContent(closed);
      case What::kSpan:
        TextAround().text += kSpanEnd;
        break;
      case What::kRoot:
        return CloseRoot();
      case What::kGroup:
        break;
    }
    return "";
  }

 private:
  enum class What { kRoot, kScript, kGroup, kLeaf, kSpan };
  struct Open {
    What what;
    Element* element = nullptr;  ///< of a group (which backdrop, scene and overlay are) or leaf
    std::string text = {};       ///< between its tags, of a script or text element
    std::string file = {};       ///< of a script
    unsigned line = 1;           ///< of a script's text
    std::vector<TextSpan> spans = {};  ///< of a text, in the order in which they begin
  };

  /// The text element that a span stands in, or the leaf at hand.
  Open& TextAround() {
    size_t at = open_.size() - 1;
    while (open_[at].what == What::kSpan) --at;
    return open_[at];
  }

  std::string OpenSpan(const Attributes& attributes) {
    TextSpan span;
    for (const XmlAttribute& attribute : attributes) {
      const SpanProperty* property = FindSpanProperty(attribute.name);
      if (property == nullptr) return Unknown(attribute, SpanPropertyNames());
      if (!SetSpanFromText(span, *property, attribute.value)) {
        return Wrong(attribute, Expected(*property));
      }
    }
    TextAround().spans.push_back(std::move(span));
    TextAround().text += kSpanBegin;
    open_.push_back({What::kSpan});
    return "";
  }

  std::string OpenRoot(std::string_view name, const Attributes& attributes) {
    if (name != "application") {
      return "the root element is <" + std::string(name) + ">; expected <application>";
    }
    for (const XmlAttribute& attribute : attributes) {
      std::string wrong = ReadRootAttribute(attribute);
      if (!wrong.empty()) return wrong;
    }
    open_.push_back({What::kRoot});
    return "";
  }

  std::string CloseRoot() {
    if (stage_.Scenes().empty()) {
      return "there is no scene; expected at least one <scene id=\"...\">";
    }
    if (stage_.fallback.empty() || stage_.FindScene(stage_.fallback) != nullptr) return "";
    std::vector<std::string> scenes;
    for (const auto& scene : stage_.Scenes()) scenes.push_back(scene->id);
    return "fallback is \"" + stage_.fallback + "\", which is no scene" +
           Meant(stage_.fallback, scenes);
  }

  std::string ReadRootAttribute(const XmlAttribute& attribute) {
    const std::string_view name = attribute.name;
    if (name == "width" || name == "height") {
      return ReadSide(attribute.value, name == "width" ? stage_.width : stage_.height)
                 ? ""
                 : Wrong(attribute, "a whole number from 1 to " + std::to_string(kLargestStage));
    }
    if (name == "rate") {
      double rate = 0;
      if (!ReadNumber(attribute.value, rate) || rate < kSlowestRate || rate > kFastestRate) {
        return Wrong(attribute, "a number of frames a second from 1 to 120");
      }
      stage_.framesPerSecond = rate;
      return "";
    }
    if (name == "background") {
      return ReadColour(attribute.value, stage_.background) ? ""
                                                            : Wrong(attribute, kColourExpected);
    }
    if (name == "fallback") {
      stage_.fallback = attribute.value;
      return stage_.fallback.empty() ? Wrong(attribute, "the id of a scene") : "";
    }
    if (name == "timezone") {
      stage_.timezone = attribute.value;
      return TimeZones().Has(stage_.timezone)
                 ? ""
                 : Wrong(attribute, "a time zone of this device, such as Europe/Rome");
    }
    // What names a schema is for editors.
    const bool known =
        name == "title" || name.compare(0, 5, "xmlns") == 0 || name.compare(0, 4, "xsi:") == 0;
    return known ? ""
                 : Unknown(attribute, {"width", "height", "rate", "background", "fallback",
                                       "timezone", "title"});
  }

  /// Children of the root.
  std::string OpenTop(std::string_view name, const Attributes& attributes) {
    if (name == "script") return OpenScript(attributes);
    if (name == "scene") return OpenScene(attributes);
    if (name != "backdrop" && name != "overlay") {
      return "<" + std::string(name) +
             "> is not known in <application>; expected backdrop, scene, overlay or script";
    }
    bool& seen = name == "backdrop" ? backdropSeen_ : overlaySeen_;
    if (seen) return "a second <" + std::string(name) + ">; expected at most one";
    seen = true;
    if (!attributes.empty()) {
      return "attribute \"" + std::string(attributes[0].name) +
             "\" is not known here; expected none";
    }
    open_.push_back({What::kGroup, name == "backdrop" ? &stage_.Backdrop() : &stage_.Overlay()});
    return "";
  }

  std::string OpenScript(const Attributes& attributes) {
    if (scripts_.size() >= kMostScripts) {
      return "there are " + std::to_string(kMostScripts) + " scripts already, which is the limit";
    }
    Open script = {What::kScript};
    for (const XmlAttribute& attribute : attributes) {
      if (attribute.name != "src") return Unknown(attribute, {"src"});
      script.file = attribute.value;
    }
    open_.push_back(std::move(script));
    return "";
  }

  std::string CloseScript(const Open& script) {
    const bool hasText = !IsBlank(script.text);
    if (script.file.empty() == !hasText) return "expected either src=\"FILE\" or the script itself";
    // Run when the whole stage is there, wherever they stand in the document.
    scripts_.push_back({script.file, hasText ? script.text : "", script.line});
    return "";
  }

  std::string OpenScene(const Attributes& attributes) {
    std::string id;
    for (const XmlAttribute& attribute : attributes) {
      if (attribute.name != "id") return Unknown(attribute, {"id"});
      id = attribute.value;
    }
    if (id.empty()) return "has no id; expected id=\"...\"";
    std::string error;
    Element* scene = stage_.AddScene(id, error);
    if (scene == nullptr) return error;
    open_.push_back({What::kGroup, scene});
    return "";
  }

  std::string OpenElement(std::string_view name, const Attributes& attributes, Element& parent) {
    ElementKind kind = ElementKind::kGroup;
    if (!ReadElementKind(std::string(name), kind)) {
      const bool inGroup = parent.parent != nullptr;
      const char* place = &parent == &stage_.Backdrop()  ? "backdrop"
                          : &parent == &stage_.Overlay() ? "overlay"
                          : inGroup                      ? "group"
                                                         : "scene";
      return "<" + std::string(name) + "> is not known in <" + place + ">; expected " +
             ElementKindNames();
    }
    std::string error;
    Element* element = stage_.Create(kind, parent, error);
    if (element == nullptr) return error;
    for (const XmlAttribute& attribute : attributes) {
      std::string wrong = ReadAttribute(attribute, *element);
      if (!wrong.empty()) return wrong;
    }
    // Attributes come first, so that text between the tags can see that there is an attribute of
    // that name.
    open_.push_back({kind == ElementKind::kGroup ? What::kGroup : What::kLeaf, element});
    return "";
  }

  std::string ReadAttribute(const XmlAttribute& attribute, Element& element) {
    if (attribute.name == "id") {
      const std::string id(attribute.value);
      if (id.empty()) return "attribute \"id\" is empty; expected a name";
      std::string error;
      stage_.SetId(element, id, error);
      return error;
    }
    const Property* property = FindProperty(element.kind, attribute.name);
    if (property == nullptr) return Unknown(attribute, AttributeNames(element.kind));
    std::string error;
    if (stage_.SetFromText(element, *property, attribute.value, error)) return "";
    // In a document the place is the message's; a script is told the property's name.
    return error.find("; expected ") != std::string::npos ? Wrong(attribute, Expected(*property))
                                                          : error;
  }

  std::string SetContent(const Open& closed) {
    if (!closed.element->text.empty()) {
      return "text both as an attribute and between the tags; expected one of them";
    }
    std::string text;
    std::vector<TextSpan> spans = closed.spans;
    std::vector<size_t> inside;
    size_t next = 0;
    for (const char c : Folded(closed.text)) {
      if (c == kSpanBegin) {
        inside.push_back(next);
        spans[next++].begin = static_cast<uint32_t>(text.size());
      } else if (c == kSpanEnd) {
        spans[inside.back()].end = static_cast<uint32_t>(text.size());
        inside.pop_back();
      } else {
        text += c;
      }
    }
    std::string error;
    const Property& property = *FindProperty(ElementKind::kText, "text");
    if (spans.empty()) {
      stage_.SetFromText(*closed.element, property, text, error);
    } else {
      stage_.SetSpans(*closed.element, text, std::move(spans), error);
    }
    return error;
  }

  Stage& stage_;
  std::vector<ScriptReference>& scripts_;
  std::vector<Open> open_;
  bool backdropSeen_ = false;
  bool overlaySeen_ = false;
};

}  // namespace

bool ReadDocument(const std::string& text, Stage& stage, std::vector<ScriptReference>& scripts,
                  DocumentError& error) {
  StageBuilder builder(stage, scripts);
  return ReadXml(text, builder, error);
}

}  // namespace plexion_host::player::application
