// Finds files, scenes and names of an application that are not used, or not there.
#include "host/player/application/document/Inspection.h"

#include <algorithm>
#include <set>
#include <utility>

#include "host/base/Text.h"

namespace plexion_host::player::application {

namespace {

constexpr size_t kMostFiles = 2000;
constexpr unsigned kDeepestFolder = 8;
constexpr uint64_t kLargestText = 1024 * 1024;
constexpr size_t kMostFindings = 200;
/// Each is looked for in all scripts.
constexpr size_t kMostIds = 2000;
/// Fonts are used by the names of their families, not of their files.
constexpr char kFonts[] = "fonts/";

bool IsText(const std::string& name) {
  for (const char* end : {".lua", ".json", ".csv", ".xml", ".txt"}) {
    if (EndsWith(name, end)) return true;
  }
  return false;
}

/// The ids of elements in a document, with the names of the elements.
class IdReader final : public XmlHandler {
 public:
  std::string OnOpen(std::string_view name, const Attributes& attributes, XmlPlace) override {
    for (const XmlAttribute& attribute : attributes) {
      if (attribute.name != "id" || name == "scene") continue;
      if (found_.size() < kMostIds) found_.emplace_back(attribute.value, name);
    }
    return "";
  }
  std::string OnText(std::string_view, XmlPlace) override { return ""; }
  std::string OnClose() override { return ""; }
  const std::vector<std::pair<std::string, std::string>>& Found() const { return found_; }

 private:
  std::vector<std::pair<std::string, std::string>> found_;
};

class Inspection {
 public:
  Inspection(const BaseFolder& base, const PartLibrary& parts, const Stage& stage)
      : base_(base), parts_(parts), stage_(stage) {}

  std::vector<std::string> Run(const std::string& name, const std::string& document) {
    // Everything counts as unused at first; what follows takes away what it finds a use of.
    List("", 1);
    texts_ = document;
    files_.erase(name);
    FollowNames();
    for (const std::string& file : files_) {
      // What explains itself to people needs no other use.
      if (file.compare(0, sizeof kFonts - 1, kFonts) == 0 || EndsWith(file, ".md")) continue;
      Add("not used: \"" + file + "\" is named nowhere");
    }
    LookAtElements();
    // The document names each once itself; a script in it does so once more.
    for (const auto& scene : stage_.Scenes()) {
      if (scene == stage_.Scenes().front() || scene->id == stage_.fallback) continue;
      if (!IsNamedBeside(scene->id, document)) {
        Add("not used: scene \"" + scene->id + "\" is shown by no script");
      }
    }
    for (const DataSource& source : stage_.sources) {
      const std::string used = (source.isStream ? kStreamPrefix : kDataPrefix) + source.id;
      if (!IsNamed(used, texts_)) Add("not used: \"" + used + "\" is declared and named nowhere");
    }
    LookAtIds(name, document);
    for (const auto& part : parts_.Parts()) {
      LookAtIds(part.first, part.second->text);
      for (const PartParameter& parameter : part.second->parameters) {
        if (IsNamedBeside(parameter.name, part.second->text)) continue;
        Add("not used: parameter \"" + parameter.name + "\" of " + part.first);
      }
    }
    return std::move(findings_);
  }

 private:
  void List(const std::string& folder, unsigned depth) {
    std::vector<std::string> names;
    std::string ignored;
    if (depth > kDeepestFolder || !base_.List(folder, names, ignored)) return;
    for (const std::string& name : names) {
      if (files_.size() >= kMostFiles) return;
      if (name.back() == '/') {
        List(folder + name.substr(0, name.size() - 1), depth + 1);
      } else {
        files_.insert(folder.empty() ? name : folder + "/" + name);
      }
    }
  }

  /// Where `name` stands next as a word of its own: "a.png" is not named by "sea.png".
  static size_t NextNamed(const std::string& name, const std::string& text, size_t from) {
    const auto isPart = [](char c) {
      return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
             c == '_' || c == '-';
    };
    for (size_t at = text.find(name, from); at != std::string::npos; at = text.find(name, at + 1)) {
      const size_t end = at + name.size();
      if ((at == 0 || !isPart(text[at - 1])) && (end == text.size() || !isPart(text[end]))) {
        return at;
      }
    }
    return std::string::npos;
  }
  static bool IsNamed(const std::string& name, const std::string& text) {
    return NextNamed(name, text, 0) != std::string::npos;
  }

  /// By a script, or in a document that says it once itself.
  bool IsNamedBeside(const std::string& name, const std::string& document) const {
    if (IsNamed(name, scripts_)) return true;
    size_t count = 0;
    for (size_t at = 0; count < 2; ++count) {
      at = NextNamed(name, document, at);
      if (at == std::string::npos) break;
      at += name.size();
    }
    return count >= 2;
  }

  /// Of scenes more is known: those that are shown.
  void LookAtIds(const std::string& file, const std::string& document) {
    IdReader ids;
    DocumentError ignored;
    ReadXml(document, ids, ignored);
    for (const auto& id : ids.Found()) {
      // A script counts what is alike: "row1", "row2".
      const std::string stem = id.first.substr(0, id.first.find_last_not_of("0123456789") + 1);
      if (IsNamedBeside(id.first, document) || (!stem.empty() && IsNamed(stem, scripts_))) continue;
      Add("not used: id \"" + id.first + "\" of a <" + id.second + "> in " + file);
    }
  }

  bool IsUsed(const std::string& file) const {
    if (IsNamed(file, texts_)) return true;
    // A script may put the folder in front, and require() leaves the ending out.
    const size_t slash = file.rfind('/');
    if (slash != std::string::npos && IsNamed(file.substr(slash + 1), texts_)) return true;
    if (slash != std::string::npos && IsNamed(file.substr(0, slash + 1), scripts_)) return true;
    if (!EndsWith(file, ".lua")) return false;
    std::string module = file.substr(0, file.size() - 4);
    std::replace(module.begin(), module.end(), '/', '.');
    return IsNamed(module, texts_);
  }

  /// What a text names that is used is used as well.
  void FollowNames() {
    // Until nothing more is found: a file may be named by one that was looked at before it was used.
    for (bool found = true; found;) {
      found = false;
      for (auto at = files_.begin(); at != files_.end();) {
        if (!IsUsed(*at)) {
          ++at;
          continue;
        }
        std::string text;
        std::string ignored;
        if (IsText(*at) && base_.Read(*at, kLargestText, text, ignored)) {
          texts_ += "\n" + text;
          if (EndsWith(*at, ".lua")) scripts_ += "\n" + text;
        }
        at = files_.erase(at);
        found = true;
      }
    }
  }

  void LookAtElements() {
    std::set<std::string> looked;
    stage_.ForEach([&](const Element& element) {
      // Once each: a list of a hundred rows has one picture.
      if (element.src.empty() || !looked.insert(element.src).second) return;
      if (element.src.compare(0, sizeof kStreamPrefix - 1, kStreamPrefix) == 0) return;
      std::string error;
      if (!base_.OpenRegular(element.src, error).IsOpen()) {
        Add("not there: <" + std::string(NameOf(element.kind)) + "> \"" +
            PrintableWord(element.src) + "\": " + error);
      }
    });
  }

  void Add(const std::string& finding) {
    if (findings_.size() < kMostFindings) findings_.push_back(PrintableWord(finding));
  }

  const BaseFolder& base_;
  const PartLibrary& parts_;
  const Stage& stage_;
  std::set<std::string> files_;  ///< not used, as far as is known
  std::string texts_;            ///< of all that is used
  std::string scripts_;
  std::vector<std::string> findings_;
};

}  // namespace

std::vector<std::string> InspectFolder(const BaseFolder& base, const std::string& name,
                                       const std::string& document, const PartLibrary& parts,
                                       const Stage& stage) {
  return Inspection(base, parts, stage).Run(name, document);
}

}  // namespace plexion_host::player::application
