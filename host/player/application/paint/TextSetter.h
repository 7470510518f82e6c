#ifndef HOST_PLAYER_APPLICATION_PAINT_TEXTSETTER_H_
#define HOST_PLAYER_APPLICATION_PAINT_TEXTSETTER_H_

#include <pango/pango.h>
#include <stdint.h>

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/player/application/stage/Element.h"

namespace plexion_host::player::application {

/// A box in stage units.
struct Box {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;
};

/// Sets text in type with the fonts of the system and those of some more folders. Layouts are kept
/// until the text element changes. What it allocates is Pango's own and not the window's.
///
/// Thread   one at a time; a font map of its own, so that two applications do not meet.
class TextSetter {
 public:
  TextSetter();
  TextSetter(const TextSetter&) = delete;
  TextSetter& operator=(const TextSetter&) = delete;
  ~TextSetter();

  /// Returns  false when there is no such folder or nothing in it can be used.
  bool AddFontFolder(const std::string& path);

  struct Setting {
    PangoLayout* layout = nullptr;  ///< owned by the setter; until the element changes
    double x = 0;                   ///< top left of the layout, from the element's own
    double y = 0;
    Box logical;  ///< of the lines, from the element's top left corner
    Box ink;      ///< of what is coloured
  };
  const Setting& Set(const Element& element);
  /// A line of plain text, for what is no element.
  PangoLayout* SetLine(const char* font, double size, const std::string& text);

  /// Forgets the layouts of elements that are no longer there.
  template <typename IsThere>
  void Keep(const IsThere& isThere) {
    for (auto at = settings_.begin(); at != settings_.end();) {
      at = isThere(at->first) ? std::next(at) : settings_.erase(at);
    }
  }
  size_t Count() const { return settings_.size(); }

 private:
  struct Release {
    void operator()(void* object) const;
  };
  struct Kept {
    uint64_t revision = 0;
    Setting setting;
    std::unique_ptr<PangoLayout, Release> layout;
  };

  void Lay(const Element& element, Kept& kept);

  void* fontConfig_ = nullptr;  ///< the system's, until a folder is added
  PangoFontMap* fontMap_ = nullptr;
  PangoContext* context_ = nullptr;
  std::unordered_map<uint32_t, Kept> settings_;
  std::unique_ptr<PangoLayout, Release> line_;
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_PAINT_TEXTSETTER_H_
