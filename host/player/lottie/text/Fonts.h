// Glyphs of the machine's fonts.

#ifndef HOST_PLAYER_LOTTIE_TEXT_FONTS_H_
#define HOST_PLAYER_LOTTIE_TEXT_FONTS_H_

#include <stddef.h>

#include <memory>
#include <string_view>
#include <vector>

#include "host/player/lottie/text/TextLayout.h"

namespace plexion_host::movie {

/// One or more glyphs that stand for some bytes of a line and cannot be taken apart.
struct FontCluster {
  size_t start = 0;  ///< byte of the line where it begins
  size_t bytes = 0;
  double advance = 0;  ///< of a size of 100
  int place = 0;       ///< from the left, counting clusters
  const GlyphOutline* outline = nullptr;
};

/// Shapes lines with Pango: other fonts where one has no glyph, right-to-left and joined scripts as
/// they have to be. Outlines are kept for as long as this lives.
class Fonts {
 public:
  Fonts();
  Fonts(const Fonts&) = delete;
  Fonts& operator=(const Fonts&) = delete;
  ~Fonts();

  /// `line` is one line of UTF-8. `apart`: no kerning and no ligatures, for characters that move
  /// on their own. Clusters come in the order of the text.
  /// Returns  false when a character has no glyph in any font; it is then empty.
  bool Shape(const TextFont& font, std::string_view line, bool apart,
             std::vector<FontCluster>& clusters);

  /// What the outlines hold on to.
  size_t Bytes() const;

 private:
  class Map;
  std::unique_ptr<Map> map_;
};

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_TEXT_FONTS_H_
