// Texts, laid out and kept.
#ifndef HOST_PLAYER_APPLICATION_PAINT_LETTERS_TEXTLAYOUTS_H_
#define HOST_PLAYER_APPLICATION_PAINT_LETTERS_TEXTLAYOUTS_H_

#include <pango/pango.h>
#include <stdint.h>

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/player/application/files/BaseFolder.h"
#include "host/player/application/paint/letters/TextStyle.h"
#include "host/player/application/stage/Element.h"

namespace plexion_host::player::application {

/// A box in stage units.
struct Box {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;
};

/// What is asked and told while texts are laid out and pictures drawn.
struct DrawingHost {
  /// True once the content is to end: work then stops between two elements, or inside of a long text.
  std::function<bool()> cancelled;
  /// An element that cannot be drawn as it is, and why. May come with every picture.
  std::function<void(const Element&, const std::string&)> refuse;
  /// What cannot be shown is drawn as a crossed box, for its author; else it is left out.
  bool marksMissing = false;
};

/// Sets text in type with the fonts of the system and some more. Layouts are kept until the text
/// element changes, as many as a megabyte of text has. What it allocates is Pango's own and not the
/// window's.
///
/// Thread   one at a time; a font map of its own, so that two applications do not meet.
class TextLayouts {
 public:
  explicit TextLayouts(DrawingHost host);
  TextLayouts(const TextLayouts&) = delete;
  TextLayouts& operator=(const TextLayouts&) = delete;
  ~TextLayouts();

  /// Adds the font in a file, which stays open from now on: nothing is looked up by its name again.
  /// Returns  false when it holds no font.
  bool AddFont(OpenFile file);
  /// The same with a file of the device's.
  bool AddFont(const std::string& path);

  struct Placed {
    PangoLayout* layout = nullptr;  ///< owned by TextLayouts; until the element changes
    double x = 0;                   ///< top left of the layout, from the element's own
    double y = 0;
    Box logical;  ///< of the lines, from the element's top left corner
    Box ink;      ///< of what is coloured
    /// How far each line lies from where the layout has it; empty: all lie there.
    std::vector<double> shifts;
  };
  /// Returns  what holds until the next call. Without a layout when the content is to end.
  const Placed& LayOut(const Element& element);
  /// A line of plain text, for what is no element.
  PangoLayout* LayOutLine(const char* font, double size, const std::string& text);

  /// Forgets the layouts of elements that are no longer there.
  template <typename IsThere>
  void Keep(const IsThere& isThere) {
    for (auto at = layouts_.begin(); at != layouts_.end();) {
      if (isThere(at->first)) {
        ++at;
      } else {
        keptBytes_ -= at->second.bytes;
        at = layouts_.erase(at);
      }
    }
  }
  /// Forgets all of them, and keeps those of a quarter of the text from now on.
  void SaveMemory();
  size_t Count() const { return layouts_.size(); }

 private:
  struct Release {
    void operator()(void* object) const;
  };
  struct Kept {
    uint64_t revision = 0;
    size_t bytes = 0;  ///< of its text
    Placed placed;
    std::unique_ptr<PangoLayout, Release> layout;
  };

  void Lay(const Element& element, Kept& kept);
  void SetSize(const Element& element, const std::vector<TextSpan>& spans, PangoLayout& layout,
               double scale);
  /// What a text's size is multiplied with so that it fits, down to the one that it may have.
  double ShrunkScale(const Element& element, const PreparedText& prepared, PangoLayout& layout);
  static void MoveLines(const Element& element, Kept& kept);
  static void MeasureLines(const Kept& kept, Box& ink, Box& logical);
  void Place(const Element& element, Kept& kept);
  void OwnFonts();
  void CheckFamilies(const Element& element);
  void CheckLetters(const Element& element, PangoLayout* layout);

  const DrawingHost host_;
  void* fontConfig_ = nullptr;  ///< the system's, until a font is added
  std::vector<OpenFile> fontFiles_;
  std::set<std::string> families_;  ///< of all fonts; empty until they are asked for
  std::set<std::string> languages_;
  std::set<std::string> checkedFonts_;  ///< values of `font` that were looked for
  PangoFontMap* fontMap_ = nullptr;
  PangoContext* context_ = nullptr;
  std::unordered_map<uint32_t, Kept> layouts_;
  size_t keptBytes_ = 0;
  size_t mostKeptBytes_;
  std::unique_ptr<PangoLayout, Release> line_;
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_PAINT_LETTERS_TEXTLAYOUTS_H_
