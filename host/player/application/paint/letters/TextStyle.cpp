// Turns what a text element says of its letters into fonts and attributes of the layout library.
#include "host/player/application/paint/letters/TextStyle.h"

#include <math.h>

#include <algorithm>
#include <string_view>

#include "host/base/Text.h"

namespace plexion_host::player::application {

namespace {

/// The library's time for a line grows with the square of a word that cannot be broken, and for a
/// letter with the square of the marks on it: a text of 64 KB took minutes.
constexpr int kLongestWord = 128;
constexpr double kSmallestSize = 0.1;

/// Goes through a text once, and notes where the ends of its spans come to lie.
class Preparing {
 public:
  explicit Preparing(const Element& element) {
    prepared_.spans = element.spans;
    for (TextSpan& span : prepared_.spans) {
      ends_.push_back(&span.begin);
      ends_.push_back(&span.end);
    }
    std::stable_sort(ends_.begin(), ends_.end(),
                     [](const uint32_t* a, const uint32_t* b) { return *a < *b; });
    prepared_.text.reserve(element.text.size());
  }

  PreparedText Run(std::string_view text) {
    for (std::string_view rest = text; !rest.empty();) {
      MoveEnds(text.size() - rest.size());
      const std::string_view before = rest;
      const char32_t letter = TakeCodePoint(rest).value_or(U'\uFFFD');
      Take(letter, before.substr(0, before.size() - rest.size()));
    }
    MoveEnds(text.size());
    return std::move(prepared_);
  }

 private:
  void Take(char32_t letter, std::string_view bytes) {
    const bool isMark = letter >= 0x300 && g_unichar_ismark(letter) != FALSE;
    marks_ = isMark ? marks_ + 1 : 0;
    letters_ = letter <= U' ' ? 0 : letters_ + 1;
    if (marks_ > kMostMarks) {
      prepared_.marksCut = true;
      return;
    }
    if (letters_ > kLongestWord && !isMark) {
      prepared_.text += "\xe2\x80\x8b";  // a blank without width
      letters_ = 1;
    }
    prepared_.text += bytes;
  }

  void MoveEnds(size_t at) {
    for (; next_ < ends_.size() && *ends_[next_] <= at; ++next_) {
      *ends_[next_] = static_cast<uint32_t>(prepared_.text.size());
    }
  }

  PreparedText prepared_;
  std::vector<uint32_t*> ends_;  ///< in their order in the text
  size_t next_ = 0;
  int letters_ = 0;
  int marks_ = 0;
};

void Insert(PangoAttrList* list, PangoAttribute* attribute, const TextSpan& span) {
  attribute->start_index = span.begin;
  attribute->end_index = span.end;
  // Later ones win over earlier ones, as inner spans over those around them.
  pango_attr_list_insert(list, attribute);
}

void InsertSpan(PangoAttrList* list, const TextSpan& span, double scale) {
  constexpr guint16 kChannel = 257;
  if (!span.color.none) {
    Insert(list,
           pango_attr_foreground_new(static_cast<guint16>(span.color.red * kChannel),
                                     static_cast<guint16>(span.color.green * kChannel),
                                     static_cast<guint16>(span.color.blue * kChannel)),
           span);
    // 0 would be taken for none.
    const int alpha = std::max(span.color.alpha * kChannel, 1);
    Insert(list, pango_attr_foreground_alpha_new(static_cast<guint16>(alpha)), span);
  }
  if (!span.font.empty()) Insert(list, pango_attr_family_new(span.font.c_str()), span);
  if (span.size > 0)
    Insert(list, pango_attr_size_new_absolute(PangoUnits(span.size * scale)), span);
  if (span.weight > 0) {
    Insert(list, pango_attr_weight_new(static_cast<PangoWeight>(lround(span.weight))), span);
  }
  if (span.italic) Insert(list, pango_attr_style_new(PANGO_STYLE_ITALIC), span);
  if (span.underline) Insert(list, pango_attr_underline_new(PANGO_UNDERLINE_SINGLE), span);
  if (span.strike) Insert(list, pango_attr_strikethrough_new(TRUE), span);
}

}  // namespace

PreparedText PrepareText(const Element& element) { return Preparing(element).Run(element.text); }

std::unique_ptr<PangoFontDescription, FreeFont> FontOf(const Element& element, double scale) {
  std::unique_ptr<PangoFontDescription, FreeFont> font(pango_font_description_new());
  pango_font_description_set_family(font.get(), element.font.c_str());
  pango_font_description_set_absolute_size(
      font.get(), std::max(element.size * scale, kSmallestSize) * PANGO_SCALE);
  pango_font_description_set_weight(font.get(), static_cast<PangoWeight>(lround(element.weight)));
  pango_font_description_set_style(font.get(),
                                   element.italic ? PANGO_STYLE_ITALIC : PANGO_STYLE_NORMAL);
  return font;
}

std::unique_ptr<PangoAttrList, FreeAttributes> AttributesOf(const Element& element,
                                                            const std::vector<TextSpan>& spans,
                                                            double scale) {
  std::unique_ptr<PangoAttrList, FreeAttributes> list(pango_attr_list_new());
  if (element.letterSpacing != 0) {
    pango_attr_list_insert(
        list.get(), pango_attr_letter_spacing_new(PangoUnits(element.letterSpacing * scale)));
  }
  if (!element.features.empty()) {
    pango_attr_list_insert(list.get(), pango_attr_font_features_new(element.features.c_str()));
  }
  for (const TextSpan& span : spans) InsertSpan(list.get(), span, scale);
  return list;
}

}  // namespace plexion_host::player::application
