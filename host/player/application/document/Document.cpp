#include "host/player/application/document/Document.h"

#include <math.h>

#include <algorithm>
#include <pugixml.hpp>

namespace plexion_host::player::application {

namespace {

constexpr char kElementNames[] = "group, rectangle, text, image, movie or media";

bool IsBlank(const std::string& text) {
  return text.find_first_not_of(" \t\r\n") == std::string::npos;
}

/// Text between tags is written as it suits the document: blanks at its ends go, line ends with
/// what indents the next line become one space.
std::string Folded(const std::string& text) {
  std::string folded;
  size_t at = 0;
  while (at < text.size()) {
    const size_t begin = text.find_first_not_of(" \t\r\n", at);
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

class Reader {
 public:
  Reader(const std::string& text, Stage& stage, std::vector<ScriptReference>& scripts,
         DocumentError& error)
      : text_(text), stage_(stage), scripts_(scripts), error_(error) {}

  bool Run() {
    pugi::xml_document document;
    const auto result = document.load_buffer(
        text_.data(), text_.size(),
        pugi::parse_cdata | pugi::parse_escapes | pugi::parse_wconv_attribute | pugi::parse_eol,
        pugi::encoding_utf8);
    if (!result)
      return Refuse(pugi::xml_node(), std::string("cannot be read: ") + result.description());
    const pugi::xml_node root = document.document_element();
    if (std::string(root.name()) != "application") {
      return Refuse(
          root, "the root element is <" + std::string(root.name()) + ">; expected <application>");
    }
    if (!ReadRootAttributes(root)) return false;
    for (const pugi::xml_node child : root.children()) {
      if (!ReadTop(root, child)) return false;
    }
    if (stage_.Scenes().empty()) {
      return Refuse(root, "there is no scene; expected at least one <scene id=\"...\">");
    }
    return true;
  }

 private:
  bool Refuse(const pugi::xml_node& node, std::string what) {
    error_.line = LineOf(node);
    error_.element = node.name();
    error_.what = std::move(what);
    return false;
  }

  unsigned LineOf(const pugi::xml_node& node) const {
    const auto offset = node.offset_debug();
    if (offset < 0) return 1;
    return 1 + static_cast<unsigned>(std::count(text_.begin(), text_.begin() + offset, '\n'));
  }

  bool RefuseAttribute(const pugi::xml_node& node, const pugi::xml_attribute& attribute,
                       const std::string& expected) {
    return Refuse(node, "attribute \"" + std::string(attribute.name()) + "\" is \"" +
                            attribute.value() + "\"; expected " + expected);
  }

  bool ReadRootAttributes(const pugi::xml_node& root) {
    for (const pugi::xml_attribute attribute : root.attributes()) {
      const std::string name = attribute.name();
      double number = 0;
      const bool isNumber = ReadNumber(attribute.value(), number);
      if (name == "width" || name == "height") {
        if (!isNumber || number < 1 || number > kLargestStage || number != floor(number)) {
          return RefuseAttribute(root, attribute,
                                 "a whole number from 1 to " + std::to_string(kLargestStage));
        }
        (name == "width" ? stage_.width : stage_.height) = static_cast<uint32_t>(number);
      } else if (name == "rate") {
        if (!isNumber || number < kSlowestRate || number > kFastestRate) {
          return RefuseAttribute(root, attribute, "a number of frames a second from 1 to 120");
        }
        stage_.framesPerSecond = number;
      } else if (name == "background") {
        if (!ReadColour(attribute.value(), stage_.background)) {
          return RefuseAttribute(root, attribute, "a colour (#rgb, #rrggbb, #rrggbbaa) or none");
        }
      } else if (name != "title" && name.compare(0, 5, "xmlns") != 0 &&
                 name.compare(0, 4, "xsi:") != 0) {
        return Refuse(root, "unknown attribute \"" + name +
                                "\"; expected width, height, rate, background or title");
      }
    }
    return true;
  }

  /// Children of the root.
  bool ReadTop(const pugi::xml_node& root, const pugi::xml_node& node) {
    const std::string name = node.name();
    if (node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata) {
      return IsBlank(node.value()) || Refuse(root, "text outside of a <text> element");
    }
    if (node.type() != pugi::node_element) return true;
    if (name == "script") return ReadScript(node);
    if (name == "scene") return ReadScene(node);
    if (name != "backdrop" && name != "overlay") {
      return Refuse(node, "<" + name +
                              "> is not known in <application>; expected backdrop, scene, " +
                              "overlay or script");
    }
    bool& seen = name == "backdrop" ? backdropSeen_ : overlaySeen_;
    if (seen) return Refuse(node, "a second <" + name + ">; expected at most one");
    seen = true;
    if (node.first_attribute()) {
      return Refuse(node, "attribute \"" + std::string(node.first_attribute().name()) +
                              "\" is not known here; expected none");
    }
    return ReadChildren(node, name == "backdrop" ? stage_.Backdrop() : stage_.Overlay());
  }

  bool ReadScript(const pugi::xml_node& node) {
    ScriptReference script;
    for (const pugi::xml_attribute attribute : node.attributes()) {
      if (std::string(attribute.name()) != "src") {
        return Refuse(node,
                      "unknown attribute \"" + std::string(attribute.name()) + "\"; expected src");
      }
      script.file = attribute.value();
    }
    for (const pugi::xml_node child : node.children()) {
      if (child.type() == pugi::node_element) {
        return Refuse(node, "an element inside of a script; expected text, best as CDATA");
      }
      script.text += child.value();
    }
    const bool hasText = !IsBlank(script.text);
    if (script.file.empty() == !hasText) {
      return Refuse(node, "expected either src=\"FILE\" or the script itself");
    }
    if (hasText) {
      // The script's lines count as the document's, so that a message leads to the right place.
      const auto offset = node.first_child().offset_debug();
      script.line = 1 + static_cast<unsigned>(std::count(
                            text_.begin(), text_.begin() + std::max<ptrdiff_t>(offset, 0), '\n'));
    }
    scripts_.push_back(std::move(script));
    return true;
  }

  bool ReadScene(const pugi::xml_node& node) {
    std::string id;
    for (const pugi::xml_attribute attribute : node.attributes()) {
      if (std::string(attribute.name()) != "id") {
        return Refuse(node,
                      "unknown attribute \"" + std::string(attribute.name()) + "\"; expected id");
      }
      id = attribute.value();
    }
    if (id.empty()) return Refuse(node, "has no id; expected id=\"...\"");
    std::string error;
    Element* scene = stage_.AddScene(id, error);
    if (scene == nullptr) return Refuse(node, error);
    return ReadChildren(node, *scene);
  }

  bool ReadChildren(const pugi::xml_node& node, Element& parent) {
    for (const pugi::xml_node child : node.children()) {
      if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata) {
        if (!IsBlank(child.value())) return Refuse(node, "text outside of a <text> element");
        continue;
      }
      if (child.type() != pugi::node_element) continue;
      if (!ReadElement(child, parent)) return false;
    }
    return true;
  }

  bool ReadElement(const pugi::xml_node& node, Element& parent) {
    ElementKind kind = ElementKind::kGroup;
    if (!ReadElementKind(node.name(), kind)) {
      return Refuse(node, "<" + std::string(node.name()) + "> is not known in <" +
                              node.parent().name() + ">; expected " + kElementNames);
    }
    std::string error;
    Element* element = stage_.Create(kind, parent, error);
    if (element == nullptr) return Refuse(node, error);
    for (const pugi::xml_attribute attribute : node.attributes()) {
      if (!ReadAttribute(node, attribute, *element)) return false;
    }
    if (kind == ElementKind::kGroup) return ReadChildren(node, *element);
    return ReadContent(node, *element);
  }

  bool ReadAttribute(const pugi::xml_node& node, const pugi::xml_attribute& attribute,
                     Element& element) {
    const std::string name = attribute.name();
    if (name == "id") {
      const std::string id = attribute.value();
      if (id.empty()) return Refuse(node, "attribute \"id\" is empty; expected a name");
      return stage_.SetId(element, id) ||
             Refuse(node, "id \"" + id + "\" is taken; expected one of its own");
    }
    const Property* property = FindProperty(element.kind, name);
    if (property == nullptr) {
      return Refuse(node, "unknown attribute \"" + name + "\"; expected one of " +
                              AttributeNames(element.kind));
    }
    std::string error;
    if (!SetFromText(element, *property, attribute.value(), error)) {
      return RefuseAttribute(node, attribute, Expected(*property));
    }
    stage_.Touch(element, *property);
    return true;
  }

  static std::string AttributeNames(ElementKind kind) {
    std::string names = "id";
    for (const Property* each = kProperties; each->name != nullptr; ++each) {
      if (FindProperty(kind, each->name) == each) names += std::string(", ") + each->name;
    }
    return names;
  }

  bool ReadContent(const pugi::xml_node& node, Element& element) {
    std::string content;
    for (const pugi::xml_node child : node.children()) {
      if (child.type() == pugi::node_element) {
        return Refuse(child, "<" + std::string(child.name()) + "> inside of <" + node.name() +
                                 ">; expected no element there");
      }
      if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata) {
        content += child.value();
      }
    }
    if (IsBlank(content)) return true;
    if (element.kind != ElementKind::kText) return Refuse(node, "text outside of a <text> element");
    if (!element.text.empty()) {
      return Refuse(node, "text both as an attribute and between the tags; expected one of them");
    }
    std::string error;
    const Property& property = *FindProperty(ElementKind::kText, "text");
    return SetFromText(element, property, Folded(content), error) || Refuse(node, error);
  }

  const std::string& text_;
  Stage& stage_;
  std::vector<ScriptReference>& scripts_;
  DocumentError& error_;
  bool backdropSeen_ = false;
  bool overlaySeen_ = false;
};

}  // namespace

bool ReadDocument(const std::string& text, Stage& stage, std::vector<ScriptReference>& scripts,
                  DocumentError& error) {
  return CheckXml(text, error) && Reader(text, stage, scripts, error).Run();
}

}  // namespace plexion_host::player::application
