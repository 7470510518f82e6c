// Reads the beginnings of parts, and puts the values of their uses in.
#include "host/player/application/document/PartLibrary.h"

#include <algorithm>
#include <utility>

#include "host/base/Text.h"
#include "host/player/application/document/AttributeErrors.h"
#include "host/player/application/stage/Properties.h"

namespace plexion_host::player::application {

namespace {

constexpr std::string_view kTypes[] = {"text", "number", "flag", "colour"};
/// Names that mean the same in every part.
constexpr std::string_view kFolder = "folder";
constexpr size_t kLongestParameterName = 100;

bool IsName(std::string_view text) {
  const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
  return !text.empty() && text.size() <= kLongestParameterName && isLetter(text[0]) &&
         std::all_of(text.begin(), text.end(),
                     [&](char c) { return isLetter(c) || (c >= '0' && c <= '9') || c == '_'; });
}

/// What a use says of the group that it becomes, and what every part can ask for.
bool IsTaken(std::string_view name) {
  return name == "id" || name == "part" || name == kFolder ||
         FindProperty(ElementKind::kGroup, name) != nullptr;
}

/// Takes a part's root and parameters; its elements are for those who use it.
class HeaderReader final : public XmlHandler {
 public:
  explicit HeaderReader(Part& part) : part_(part) {}

  std::string OnOpen(std::string_view name, const Attributes& attributes, XmlPlace) override {
    ++depth_;
    if (depth_ == 1) return OpenRoot(name, attributes);
    if (depth_ > 2 || name != "parameter") {
      if (depth_ > 2 && inParameter_) return "an element inside of <parameter>; expected none";
      elementsBegan_ = true;
      return "";
    }
    inParameter_ = true;
    return OpenParameter(attributes);
  }
  std::string OnText(std::string_view text, XmlPlace) override {
    const bool blank = text.find_first_not_of(" \t\r\n") == std::string_view::npos;
    return inParameter_ && !blank ? "text inside of <parameter>; expected none" : "";
  }
  std::string OnClose() override {
    if (--depth_ == 1) inParameter_ = false;
    return "";
  }

 private:
  std::string OpenRoot(std::string_view name, const Attributes& attributes) {
    if (name != "part") return "the root element is <" + std::string(name) + ">; expected <part>";
    for (const XmlAttribute& attribute : attributes) {
      if (attribute.name == "width" || attribute.name == "height") {
        const Property& property = *FindProperty(ElementKind::kGroup, attribute.name);
        if (!ReadNumber(attribute.value, property.lowest, property.highest)) {
          return Wrong(attribute, Expected(property));
        }
        (attribute.name == "width" ? part_.width : part_.height) = attribute.value;
      } else if (attribute.name != "title" && !IsForEditors(attribute.name)) {
        return Unknown(attribute, {"width", "height", "title"});
      }
    }
    return "";
  }

  std::string OpenParameter(const Attributes& attributes) {
    if (elementsBegan_) return "a parameter after elements; expected all of them before";
    if (part_.parameters.size() >= kMostParameters) {
      return "there are " + std::to_string(kMostParameters) +
             " parameters already, which is the limit";
    }
    PartParameter parameter;
    const XmlAttribute* byDefault = nullptr;
    for (const XmlAttribute& attribute : attributes) {
      if (attribute.name == "name") {
        if (!IsName(attribute.value)) {
          return Wrong(attribute, "a name of letters, digits and underscores");
        }
        if (IsTaken(attribute.value)) {
          return Wrong(attribute, "a name that is none of a group's own");
        }
        parameter.name = attribute.value;
      } else if (attribute.name == "type") {
        const auto* type = std::find(std::begin(kTypes), std::end(kTypes), attribute.value);
        if (type == std::end(kTypes)) return Wrong(attribute, "text, number, flag or colour");
        parameter.type = static_cast<ParameterType>(type - std::begin(kTypes));
      } else if (attribute.name == "default") {
        byDefault = &attribute;
      } else if (attribute.name != "title") {
        return Unknown(attribute, {"name", "type", "default", "title"});
      }
    }
    if (parameter.name.empty()) return "has no name; expected name=\"...\"";
    for (const PartParameter& each : part_.parameters) {
      if (each.name == parameter.name) {
        return "parameter \"" + parameter.name + "\" stands twice; expected it once";
      }
    }
    std::string expected;
    // Judged by its type as a given value is: a default that no use could give is a mistake of the part.
    if (byDefault != nullptr) {
      if (!IsParameterValue(parameter.type, byDefault->value, expected)) {
        return Wrong(*byDefault, expected);
      }
      parameter.value = byDefault->value;
      parameter.isRequired = false;
    }
    part_.parameters.push_back(std::move(parameter));
    return "";
  }

  Part& part_;
  unsigned depth_ = 0;
  bool inParameter_ = false;
  bool elementsBegan_ = false;
};

/// Null when there is none of that name.
const std::string* FindValue(const PartUse& use, std::string_view name) {
  if (name == "width") return &use.width;
  if (name == "height") return &use.height;
  if (name == kFolder) return &use.folder;
  for (const PartParameter& parameter : use.parameters) {
    if (parameter.name == name) return &parameter.value;
  }
  return nullptr;
}

std::string NoParameter(const PartUse& use, std::string_view name) {
  std::vector<std::string> names = {"width", "height", std::string(kFolder)};
  for (const PartParameter& parameter : use.parameters) names.push_back(parameter.name);
  const std::string shown(name.substr(0, kLongestParameterName));
  return "{" + shown + "} is no parameter of the part" + Meant(shown, names) +
         (IsName(name) ? "" : " ({{ stands for a brace)");
}

}  // namespace

const Part* PartLibrary::Find(const std::string& name, DocumentError& error) {
  const auto found = parts_.find(name);
  if (found != parts_.end()) return found->second.get();
  error = DocumentError();
  if (parts_.size() >= kMostParts) {
    error.what = "there are " + std::to_string(kMostParts) + " parts already, which is the limit";
    return nullptr;
  }
  // Also of one that cannot be read: an author who watches files mends it, and it is read again then.
  names_.insert(name);
  auto part = std::make_unique<Part>();
  if (!reader_(name, kLargestPart, part->text, error.what)) return nullptr;
  // Twice in all: here for its parameters, once more for each use, with the values in their places.
  HeaderReader reader(*part);
  if (!ReadXml(part->text, reader, error)) {
    error.file = name;
    return nullptr;
  }
  return parts_.emplace(name, std::move(part)).first->second.get();
}

bool IsParameterValue(ParameterType type, std::string_view value, std::string& expected) {
  Colour colour;
  switch (type) {
    case ParameterType::kNumber:
      expected = "a number";
      return ReadNumber(value).has_value();
    case ParameterType::kFlag:
      expected = "true or false";
      return value == "true" || value == "false";
    case ParameterType::kColour:
      expected = kColourExpected;
      return ReadColour(value, colour);
    case ParameterType::kText:
      break;
  }
  expected = "text of at most " + std::to_string(kLongestParameter) + " bytes";
  return value.size() <= kLongestParameter;
}

bool PutInValues(std::string_view text, const PartUse& use, std::string& filled,
                 std::string& error) {
  filled.clear();
  for (size_t at = 0; at < text.size(); ++at) {
    const char c = text[at];
    if (c != '{' && c != '}') {
      filled += c;
    } else if (text.substr(at + 1, 1) == std::string_view(&c, 1)) {
      filled += c;
      ++at;
    } else {
      const size_t end = c == '{' ? text.find('}', at) : std::string_view::npos;
      if (end == std::string_view::npos) {
        error = std::string("a lone ") + c + "; expected {NAME} of a parameter, or " +
                std::string(2, c) + " for a brace";
        return false;
      }
      const std::string_view name = text.substr(at + 1, end - at - 1);
      const std::string* value = FindValue(use, name);
      if (value == nullptr) {
        error = NoParameter(use, name);
        return false;
      }
      filled += *value;
      at = end;
    }
    // Values in values of values grow with every part that hands them on.
    if (filled.size() > kLargestPart + kLongestParameter) {
      error = "with its values it has more than " +
              std::to_string(kLargestPart + kLongestParameter) + " bytes; expected fewer";
      return false;
    }
  }
  return true;
}

}  // namespace plexion_host::player::application
