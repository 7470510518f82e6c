// What a text element asks of the layout library.
#ifndef HOST_PLAYER_APPLICATION_PAINT_LETTERS_TEXTSTYLE_H_
#define HOST_PLAYER_APPLICATION_PAINT_LETTERS_TEXTSTYLE_H_

#include <math.h>
#include <pango/pango.h>

#include <memory>
#include <string>
#include <vector>

#include "host/player/application/stage/Element.h"

namespace plexion_host::player::application {

/// A text as it is laid out: words that are very long may be broken where they should not, and more
/// marks on one letter than any language has are left out; the library's time grows with the square
/// of both.
struct PreparedText {
  std::string text;
  std::vector<TextSpan> spans;  ///< where they now are
  bool marksCut = false;
};
PreparedText PrepareText(const Element& element);

/// In the layout library's units.
inline int PangoUnits(double units) { return static_cast<int>(lround(units * PANGO_SCALE)); }

struct FreeFont {
  void operator()(PangoFontDescription* font) const { pango_font_description_free(font); }
};
/// The element's font with its size times `scale`.
std::unique_ptr<PangoFontDescription, FreeFont> FontOf(const Element& element, double scale);

struct FreeAttributes {
  void operator()(PangoAttrList* attributes) const { pango_attr_list_unref(attributes); }
};
/// Everything else that an element says of its letters.
std::unique_ptr<PangoAttrList, FreeAttributes> AttributesOf(const Element& element,
                                                            const std::vector<TextSpan>& spans,
                                                            double scale);

/// Of one letter.
constexpr int kMostMarks = 30;

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_PAINT_LETTERS_TEXTSTYLE_H_
