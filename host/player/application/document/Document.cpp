// Builds a stage from the elements of an application.xml, and of the parts that it uses, while they
// are read.
#include "host/player/application/document/Document.h"

#include <algorithm>
#include <set>
#include <utility>

#include "host/base/Check.h"
#include "host/base/Text.h"
#include "host/player/application/document/AttributeErrors.h"
#include "host/player/application/document/RootElements.h"
#include "host/player/application/stage/SpanProperties.h"

namespace plexion_host::player::application {

namespace {

constexpr char kBlanks[] = " \t\r\n";
/// Where spans begin and end in a text that is being read: characters that no document has.
constexpr char kSpanBegin = '\x01';
constexpr char kSpanEnd = '\x02';
constexpr char kTextElsewhere[] = "text outside of a <text> element";

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

std::vector<std::string> AttributeNames(ElementKind kind) {
  std::vector<std::string> names = {"id"};
  for (const Property* each = kProperties; each->name != nullptr; ++each) {
    if (FindProperty(kind, each->name) == each) names.emplace_back(each->name);
  }
  return names;
}

/// Where in its document a <use> stands, for errors inside of the part.
std::string UsedIn(const std::string& file, XmlPlace place) {
  const std::string line = std::to_string(place.line);
  return file.empty() ? "; used in line " + line : "; used in " + file + ":" + line;
}

/// What a document and its parts are read into.
struct DocumentReading {
  PartLibrary& parts;
  Stage& stage;
  std::vector<ScriptReference>& scripts;
  DocumentError inPart;  ///< what is wrong there
  size_t depth = 0;      ///< of parts in parts
  size_t usedBytes = 0;
  size_t parameterBytes = 0;
};

/// Reads the document, or one part into the group that its use has become.
class StageBuilder final : public XmlHandler {
 public:
  explicit StageBuilder(DocumentReading& reading, std::shared_ptr<const PartUse> use = nullptr)
      : reading_(reading), stage_(reading.stage), scripts_(reading.scripts), use_(std::move(use)) {}

  std::string OnOpen(std::string_view name, const Attributes& attributes, XmlPlace place) override {
    place_ = place;
    if (use_ == nullptr) return OpenFilled(name, attributes);
    // A part's parameters have been read, and a script's text is its own.
    if (open_.size() == 1 && name == "parameter") {
      open_.push_back({What::kNothing});
      return "";
    }
    // Held here while the attributes are read: those that are filled are views of them.
    std::vector<std::string> values(attributes.size());
    Attributes filled;
    for (size_t i = 0; i < attributes.size(); ++i) {
      std::string error;
      if (!PutInValues(attributes[i].value, *use_, values[i], error)) {
        return "attribute \"" + std::string(attributes[i].name) + "\": " + error;
      }
      filled.push_back({attributes[i].name, values[i]});
    }
    return OpenFilled(name, filled);
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
    return Trim(text).empty() ? "" : kTextElsewhere;
  }

  std::string OnClose() override {
    const Open closed = std::move(open_.back());
    open_.pop_back();
    switch (closed.what) {
      case What::kScript:
        return CloseScript(closed);
      case What::kLeaf:
        return Trim(closed.text).empty() ? "" : SetContent(closed);
      case What::kSpan:
        TextAround().text += kSpanEnd;
        break;
      case What::kRoot:
        return CloseRoot();
      case What::kGroup:
      case What::kNothing:
        break;
    }
    return "";
  }

 private:
  /// kNothing is what has been read already, or by somebody else.
  enum class What { kRoot, kScript, kGroup, kLeaf, kSpan, kNothing };
  struct Open {
    What what;
    Element* element = nullptr;  ///< of a group (which backdrop, scene and overlay are) or leaf
    std::string text = {};       ///< between its tags, of a script or text element
    std::string file = {};       ///< of a script
    unsigned line = 1;           ///< of a script's text
    std::vector<TextSpan> spans = {};  ///< of a text, in the order in which they begin
  };

  std::string OpenFilled(std::string_view name, const Attributes& attributes) {
    if (open_.empty()) return OpenRoot(name, attributes);
    const Open& parent = open_.back();
    switch (parent.what) {
      case What::kRoot:
        return use_ == nullptr ? OpenTop(name, attributes) : OpenTopOfPart(name, attributes);
      case What::kScript:
        return "<" + std::string(name) + "> inside of a script; expected text, best as CDATA";
      case What::kGroup:
        return OpenElement(name, attributes, *parent.element);
      case What::kNothing:
        return "<" + std::string(name) + "> where none may stand; expected nothing there";
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
    // Where a span begins in the text is known only when the lines are folded: a mark stands there until then.
    TextAround().text += kSpanBegin;
    open_.push_back({What::kSpan});
    return "";
  }

  std::string OpenRoot(std::string_view name, const Attributes& attributes) {
    open_.push_back({What::kRoot});
    // Its attributes are in the part's header.
    if (use_ != nullptr) return "";
    if (name != "application") {
      return "the root element is <" + std::string(name) + ">; expected <application>";
    }
    for (const XmlAttribute& attribute : attributes) {
      std::string wrong = ReadRootAttribute(attribute, stage_);
      if (!wrong.empty()) return wrong;
    }
    return "";
  }

  std::string CloseRoot() {
    if (use_ != nullptr) return "";
    if (stage_.Scenes().empty()) {
      return "there is no scene; expected at least one <scene id=\"...\">";
    }
    if (stage_.fallback.empty() || stage_.FindScene(stage_.fallback) != nullptr) return "";
    std::vector<std::string> scenes;
    for (const auto& scene : stage_.Scenes()) scenes.push_back(scene->id);
    return "fallback is \"" + stage_.fallback + "\", which is no scene" +
           Meant(stage_.fallback, scenes);
  }

  /// Children of the root.
  std::string OpenTop(std::string_view name, const Attributes& attributes) {
    if (name == "script") return OpenScript(attributes);
    if (name == "scene") return OpenScene(attributes);
    if (name == "data" || name == "stream") {
      open_.push_back({What::kNothing});
      return ReadDataSource(attributes, name == "stream", stage_);
    }
    if (name != "backdrop" && name != "overlay") {
      return "<" + std::string(name) +
             "> is not known in <application>; expected backdrop, scene, overlay, script, data or "
             "stream";
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

  std::string OpenTopOfPart(std::string_view name, const Attributes& attributes) {
    if (name == "script") return OpenScript(attributes);
    Element* root = stage_.FindByHandle(use_->root);
    PLEXION_CHECK(root != nullptr, "a part is read into a group that is there");
    return OpenElement(name, attributes, *root);
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
    const bool hasText = !Trim(script.text).empty();
    if (script.file.empty() == !hasText) return "expected either src=\"FILE\" or the script itself";
    // Run when the whole stage is there, wherever they stand in the document.
    scripts_.push_back({script.file, hasText ? script.text : "", script.line, use_});
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
    if (name == "use") return OpenUse(attributes, parent);
    ElementKind kind = ElementKind::kGroup;
    if (!ReadElementKind(std::string(name), kind)) {
      const char* place = &parent == &stage_.Backdrop()  ? "backdrop"
                          : &parent == &stage_.Overlay() ? "overlay"
                          : parent.parent == nullptr     ? "scene"
                          : parent.isPart                ? "part"
                                                         : "group";
      return "<" + std::string(name) + "> is not known in <" + place + ">; expected use, " +
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
      if (use_ == nullptr) {
        stage_.SetId(element, id, error);
      } else if (ids_.insert(id).second) {
        stage_.SetLocalId(element, id, error);
      } else {
        error = "id \"" + id + "\" is taken in this part; expected one of its own";
      }
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
    std::string filled = closed.text;
    std::string error;
    if (use_ != nullptr && !PutInValues(closed.text, *use_, filled, error)) return error;
    std::string text;
    std::vector<TextSpan> spans = closed.spans;
    std::vector<size_t> inside;
    size_t next = 0;
    // Behind the folding and the values of parameters, so that both count as the text that is laid out.
    for (const char c : Folded(filled)) {
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
    const Property& property = *FindProperty(ElementKind::kText, "text");
    if (spans.empty()) {
      stage_.SetFromText(*closed.element, property, text, error);
    } else {
      stage_.SetSpans(*closed.element, text, std::move(spans), error);
    }
    return error;
  }

  /// Puts a part's elements into a group of the use's own.
  std::string OpenUse(const Attributes& attributes, Element& parent) {
    std::string file;
    for (const XmlAttribute& attribute : attributes) {
      if (attribute.name == "part") file = attribute.value;
    }
    if (file.empty()) return "has no part; expected part=\"FILE\"";
    if (reading_.depth >= kDeepestUses) {
      return "parts use each other more than " + std::to_string(kDeepestUses) +
             " levels deep; expected none that uses itself";
    }
    DocumentError wrong;
    const Part* part = reading_.parts.Find(file, wrong);
    if (part == nullptr && wrong.file.empty()) return "part: " + wrong.what;
    if (part == nullptr) return RefusePart(std::move(wrong));
    if ((reading_.usedBytes += part->text.size()) > kMostUsedBytes) {
      return "the parts that are used have more than " + std::to_string(kMostUsedBytes) +
             " bytes together; expected fewer uses";
    }
    std::string error;
    Element* group = stage_.Create(ElementKind::kGroup, parent, error);
    if (group == nullptr) return error;
    group->isPart = true;
    auto use = std::make_shared<PartUse>();
    use->file = file;
    const size_t slash = file.rfind('/');
    if (slash != std::string::npos) use->folder = file.substr(0, slash + 1);
    use->root = group->handle;
    use->around = use_ == nullptr ? 0 : use_->root;
    use->parameters = part->parameters;
    error = ReadUse(attributes, *part, *group, *use);
    return error.empty() ? ReadPart(*part, std::move(use)) : error;
  }

  /// What a use says of its group, and the part's parameters.
  std::string ReadUse(const Attributes& attributes, const Part& part, Element& group,
                      PartUse& use) {
    std::set<std::string_view> given;
    std::vector<XmlAttribute> own;
    if (!part.width.empty()) own.push_back({"width", part.width});
    if (!part.height.empty()) own.push_back({"height", part.height});
    for (const XmlAttribute& attribute : attributes) {
      if (attribute.name == "part") continue;
      if (attribute.name == "id" || FindProperty(ElementKind::kGroup, attribute.name) != nullptr) {
        own.push_back(attribute);
        continue;
      }
      const auto parameter = std::find_if(use.parameters.begin(), use.parameters.end(),
                                          [&](const auto& p) { return p.name == attribute.name; });
      if (parameter == use.parameters.end()) {
        std::vector<std::string> names;
        for (const PartParameter& each : part.parameters) names.push_back(each.name);
        return "\"" + std::string(attribute.name.substr(0, 100)) + "\" is no parameter of " +
               use.file + Meant(std::string(attribute.name), names);
      }
      std::string expected;
      if (!IsParameterValue(parameter->type, attribute.value, expected)) {
        return Wrong(attribute, expected);
      }
      parameter->value = attribute.value;
      given.insert(parameter->name);
      if ((reading_.parameterBytes += attribute.value.size()) > kMostParameterBytes) {
        return "the parameters of all uses have more than " + std::to_string(kMostParameterBytes) +
               " bytes; expected fewer";
      }
    }
    for (const PartParameter& parameter : use.parameters) {
      if (parameter.isRequired && given.count(parameter.name) == 0) {
        return "parameter \"" + parameter.name + "\" of " + use.file + " is missing; expected " +
               parameter.name + "=\"...\"";
      }
    }
    for (const XmlAttribute& attribute : own) {
      std::string wrong = ReadAttribute(attribute, group);
      if (!wrong.empty()) return wrong;
    }
    use.id = group.id;
    use.width = ShowNumber(group.width);
    use.height = ShowNumber(group.height);
    return "";
  }

  std::string ReadPart(const Part& part, std::shared_ptr<const PartUse> use) {
    const std::string file = use->file;
    ++reading_.depth;
    StageBuilder inside(reading_, std::move(use));
    DocumentError wrong;
    const bool good = ReadXml(part.text, inside, wrong);
    --reading_.depth;
    open_.push_back({What::kNothing});
    if (good) return "";
    // What is wrong deeper inside is told as it is there.
    if (!reading_.inPart.what.empty()) wrong = reading_.inPart;
    if (wrong.file.empty()) wrong.file = file;
    return RefusePart(std::move(wrong));
  }

  /// The error has a place of its own; what is returned only ends the reading.
  std::string RefusePart(DocumentError wrong) {
    wrong.what += UsedIn(use_ == nullptr ? "" : use_->file, place_);
    reading_.inPart = wrong;
    return wrong.what;
  }

  DocumentReading& reading_;
  Stage& stage_;
  std::vector<ScriptReference>& scripts_;
  const std::shared_ptr<const PartUse> use_;  ///< null: the application's own document
  std::set<std::string> ids_;                 ///< of a part
  XmlPlace place_;                            ///< of the tag at hand
  std::vector<Open> open_;
  bool backdropSeen_ = false;
  bool overlaySeen_ = false;
};

}  // namespace

bool ReadDocument(const std::string& text, PartLibrary& parts, Stage& stage,
                  std::vector<ScriptReference>& scripts, DocumentError& error) {
  DocumentReading reading = {parts, stage, scripts, DocumentError()};
  StageBuilder builder(reading);
  if (ReadXml(text, builder, error)) return true;
  if (!reading.inPart.what.empty()) error = reading.inPart;
  return false;
}

}  // namespace plexion_host::player::application
