// Tells what could not be drawn, once each, with the name of the element.
#include "host/player/application/stage/Notices.h"

#include "host/base/Text.h"

namespace plexion_host::player::application {

namespace {

constexpr size_t kLongestShownName = 60;
constexpr size_t kLongestNotice = 2000;

/// As much of a text as fits, without a torn letter at its end.
std::string Shortened(const std::string& text) {
  if (text.size() <= kLongestShownName) return text;
  return std::string(Utf8Prefix(text, kLongestShownName)) + "...";
}

}  // namespace

std::string Describe(const Element& element) {
  const std::string& name = !element.src.empty()  ? element.src
                            : !element.id.empty() ? element.id
                                                  : element.text;
  std::string text = std::string("<") + NameOf(element.kind) + ">";
  if (!name.empty()) text += " \"" + Shortened(name) + "\"";
  return text;
}

void Notices::Tell(const Element& element, const std::string& reason) {
  Tell(Describe(element) + ": " + reason);
}

void Notices::Tell(const std::string& text) {
  if (told_.size() >= kMost) return;
  // Names and reasons come from documents and files: what could move a terminal's cursor does not.
  const std::string shown = PrintableWord(text.substr(0, kLongestNotice));
  if (!told_.insert(shown).second) return;
  host_.Notify(qx::plexion::kInfoUnsupportedPlaceholderRendered,
               told_.size() < kMost ? shown : "more of this kind than can be told one by one");
}

}  // namespace plexion_host::player::application
