// Lays out texts with Pango within bounds, and says what no font can show.
#include "host/player/application/paint/letters/TextLayouts.h"

#include <fontconfig/fontconfig.h>
#include <math.h>
#include <pango/pangocairo.h>
#include <pango/pangofc-fontmap.h>
#include <stdio.h>

#include <algorithm>
#include <utility>

#include "host/base/Check.h"
#include "host/base/Text.h"

namespace plexion_host::player::application {

namespace {

/// Of a text without a limit of its own; each line costs as much as a hundred letters. Texts that
/// are too short for so many are laid out without it.
constexpr int kMostLines = 2000;
/// Of texts whose layouts are kept; each takes about a hundred times as much.
constexpr size_t kMostKeptBytes = size_t{1024} * 1024;

double Units(int pango) { return static_cast<double>(pango) / PANGO_SCALE; }
Box BoxOf(const PangoRectangle& from) {
  return {Units(from.x), Units(from.y), Units(from.width), Units(from.height)};
}

/// Shrinking is looked for in so many steps, and only for texts that are quickly laid out.
constexpr int kShrinkSteps = 7;
constexpr size_t kLongestShrunk = 2000;
/// The library keeps the name of each language that it was ever told.
constexpr size_t kMostLanguages = 100;

/// As font names are compared: without blanks, capitals like small letters.
std::string Folded(std::string_view family) {
  std::string folded;
  for (const char c : family) {
    if (c != ' ') folded += static_cast<char>(c >= 'A' && c <= 'Z' ? c + 'a' - 'A' : c);
  }
  return folded;
}

bool IsGeneric(const std::string& folded) {
  constexpr std::string_view kGeneric[] = {"sans",      "sans-serif", "serif",   "mono",  "cursive",
                                           "monospace", "system-ui",  "fantasy", "emoji", "math"};
  return std::find(std::begin(kGeneric), std::end(kGeneric), folded) != std::end(kGeneric);
}

/// The system's fonts, read once for all applications; kept for as long as the process lives.
FcConfig* SystemFonts() {
  static FcConfig* const fonts = FcInitLoadConfigAndFonts();
  return fonts;
}

}  // namespace

void TextLayouts::Release::operator()(void* object) const { g_object_unref(object); }

TextLayouts::TextLayouts(DrawingHost host)
    : host_(std::move(host)), mostKeptBytes_(kMostKeptBytes) {
  FcConfig* config = FcConfigReference(SystemFonts());
  fontConfig_ = config;
  fontMap_ = pango_cairo_font_map_new_for_font_type(CAIRO_FONT_TYPE_FT);
  pango_fc_font_map_set_config(PANGO_FC_FONT_MAP(fontMap_), config);
  context_ = pango_font_map_create_context(fontMap_);
  // Glyphs stand where the stage says, at every size of the plane alike.
  pango_context_set_round_glyph_positions(context_, FALSE);
  cairo_font_options_t* options = cairo_font_options_create();
  cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
  cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
  cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
  pango_cairo_context_set_font_options(context_, options);
  cairo_font_options_destroy(options);
}

TextLayouts::~TextLayouts() {
  layouts_.clear();
  line_.reset();
  g_object_unref(context_);
  g_object_unref(fontMap_);
  FcConfigDestroy(static_cast<FcConfig*>(fontConfig_));
}

void TextLayouts::OwnFonts() {
  if (fontConfig_ != SystemFonts()) return;
  // Fonts of its own are nobody else's business.
  FcConfigDestroy(static_cast<FcConfig*>(fontConfig_));
  fontConfig_ = FcInitLoadConfigAndFonts();
  pango_fc_font_map_set_config(PANGO_FC_FONT_MAP(fontMap_), static_cast<FcConfig*>(fontConfig_));
}

bool TextLayouts::AddFont(OpenFile file) {
  PLEXION_CHECK(file.IsOpen(), "the font's file is open");
  if (!AddFont(file.Path())) return false;
  fontFiles_.push_back(std::move(file));
  return true;
}

bool TextLayouts::AddFont(const std::string& path) {
  OwnFonts();
  FcConfig* config = static_cast<FcConfig*>(fontConfig_);
  const FcFontSet* before = FcConfigGetFonts(config, FcSetApplication);
  const int countBefore = before == nullptr ? 0 : before->nfont;
  const bool added =
      FcConfigAppFontAddFile(config, reinterpret_cast<const FcChar8*>(path.c_str())) == FcTrue;
  const FcFontSet* after = FcConfigGetFonts(config, FcSetApplication);
  families_.clear();
  pango_fc_font_map_config_changed(PANGO_FC_FONT_MAP(fontMap_));
  return added && after != nullptr && after->nfont > countBefore;
}

void TextLayouts::CheckFamilies(const Element& element) {
  if (!checkedFonts_.insert(element.font).second) return;
  if (families_.empty()) {
    FcPattern* all = FcPatternCreate();
    FcObjectSet* wanted = FcObjectSetBuild(FC_FAMILY, nullptr);
    FcFontSet* fonts = FcFontList(static_cast<FcConfig*>(fontConfig_), all, wanted);
    for (int i = 0; fonts != nullptr && i < fonts->nfont; ++i) {
      FcChar8* family = nullptr;
      for (int n = 0; FcPatternGetString(fonts->fonts[i], FC_FAMILY, n, &family) == FcResultMatch;
           ++n) {
        families_.insert(Folded(reinterpret_cast<const char*>(family)));
      }
    }
    if (fonts != nullptr) FcFontSetDestroy(fonts);
    FcObjectSetDestroy(wanted);
    FcPatternDestroy(all);
  }
  for (const std::string& family : SplitAt(element.font, ',')) {
    const std::string folded = Folded(family);
    if (IsGeneric(folded) || families_.count(folded) != 0) return;
  }
  std::string instead = "another one";
  if (PangoFont* font = pango_context_load_font(context_, FontOf(element, 1).get())) {
    PangoFontDescription* found = pango_font_describe(font);
    if (const char* family = pango_font_description_get_family(found)) instead = family;
    pango_font_description_free(found);
    g_object_unref(font);
  }
  host_.refuse(element, "there is no font \"" + element.font + "\"; \"" + instead +
                            "\" is taken in its place");
}

void TextLayouts::CheckLetters(const Element& element, PangoLayout* layout) {
  if (pango_layout_get_unknown_glyphs_count(layout) == 0) return;
  const std::unique_ptr<PangoLayoutIter, void (*)(PangoLayoutIter*)> iter(
      pango_layout_get_iter(layout), pango_layout_iter_free);
  do {
    const PangoGlyphItem* run = pango_layout_iter_get_run_readonly(iter.get());
    for (int i = 0; run != nullptr && i < run->glyphs->num_glyphs; ++i) {
      const PangoGlyph glyph = run->glyphs->glyphs[i].glyph;
      if ((glyph & PANGO_GLYPH_UNKNOWN_FLAG) == 0 || glyph == PANGO_GLYPH_INVALID_INPUT) continue;
      char code[16];
      snprintf(code, sizeof code, "U+%04X", glyph & ~PANGO_GLYPH_UNKNOWN_FLAG);
      host_.refuse(element, std::string("no font has the letter ") + code + "; a box is drawn");
      return;
    }
  } while (pango_layout_iter_next_run(iter.get()) != FALSE);
}

const TextLayouts::Placed& TextLayouts::LayOut(const Element& element) {
  PLEXION_CHECK(element.kind == ElementKind::kText, "only texts are laid out");
  static const Placed kNothing;
  if (host_.cancelled()) return kNothing;
  const auto found = layouts_.find(element.handle);
  if (found != layouts_.end() && found->second.revision == element.revision) {
    return found->second.placed;
  }
  if (keptBytes_ + element.text.size() > mostKeptBytes_) {
    layouts_.clear();
    keptBytes_ = 0;
  }
  Kept& kept = layouts_[element.handle];
  keptBytes_ += element.text.size() - kept.bytes;
  kept.bytes = element.text.size();
  CheckFamilies(element);
  Lay(element, kept);
  CheckLetters(element, kept.layout.get());
  Place(element, kept);
  return kept.placed;
}

void TextLayouts::SaveMemory() {
  mostKeptBytes_ = kMostKeptBytes / 4;
  layouts_.clear();
  keptBytes_ = 0;
}

void TextLayouts::Lay(const Element& element, Kept& kept) {
  if (kept.layout == nullptr) kept.layout.reset(pango_layout_new(context_));
  PangoLayout* layout = kept.layout.get();
  const PreparedText prepared = PrepareText(element);
  if (prepared.marksCut) {
    host_.refuse(element, "more than " + std::to_string(kMostMarks) + " marks on one letter");
  }
  const std::string& text = prepared.text;
  pango_layout_set_text(layout, text.data(), static_cast<int>(text.size()));
  const bool bounded = element.width > 0;
  const bool wraps = bounded && element.wrap == kWrapWord;
  pango_layout_set_width(layout, bounded ? PangoUnits(element.width) : -1);
  pango_layout_set_wrap(layout, PANGO_WRAP_WORD_CHAR);
  pango_layout_set_line_spacing(layout, static_cast<float>(element.lineSpacing));
  // The library's left and right turn with the direction of a text; ours do so when asked.
  pango_layout_set_alignment(layout, element.align == kAlignCenter ? PANGO_ALIGN_CENTER
                                     : element.align == kAlignEnd  ? PANGO_ALIGN_RIGHT
                                                                   : PANGO_ALIGN_LEFT);
  SetSize(element, prepared.spans, *layout, ShrunkScale(element, prepared, *layout));
  // What does not fit ends in an ellipsis: after one line, or after as many as are allowed.
  const bool endless = wraps && element.lines <= 0 && text.size() > kMostLines;
  const bool limited = bounded && (!wraps || element.lines > 0 || endless);
  pango_layout_set_ellipsize(layout, limited ? PANGO_ELLIPSIZE_END : PANGO_ELLIPSIZE_NONE);
  pango_layout_set_height(layout, endless                      ? -kMostLines
                                  : wraps && element.lines > 0 ? -static_cast<int>(element.lines)
                                                               : -1);
  if (endless && pango_layout_is_ellipsized(layout) != FALSE) {
    host_.refuse(element, "it has more than " + std::to_string(kMostLines) + " lines");
  }
}

void TextLayouts::SetSize(const Element& element, const std::vector<TextSpan>& spans,
                          PangoLayout& layout, double scale) {
  pango_layout_set_font_description(&layout, FontOf(element, scale).get());
  const auto attributes = AttributesOf(element, spans, scale);
  if (!element.lang.empty()) {
    languages_.insert(element.lang);
    if (languages_.size() <= kMostLanguages) {
      pango_attr_list_insert(
          attributes.get(),
          pango_attr_language_new(pango_language_from_string(element.lang.c_str())));
    } else {
      languages_.erase(element.lang);
      host_.refuse(element, "more than " + std::to_string(kMostLanguages) + " languages");
    }
  }
  pango_layout_set_attributes(&layout, attributes.get());
}

double TextLayouts::ShrunkScale(const Element& element, const PreparedText& prepared,
                                PangoLayout& layout) {
  if (element.shrink <= 0 || element.shrink >= element.size || element.width <= 0) return 1;
  double smallest = element.shrink / element.size;
  if (prepared.text.size() > kLongestShrunk) return smallest;
  const auto fits = [&](double scale) {
    SetSize(element, prepared.spans, layout, scale);
    int width = 0;
    int height = 0;
    pango_layout_get_size(&layout, &width, &height);
    if (width > PangoUnits(element.width) + 1) return false;
    if (element.height > 0 && height > PangoUnits(element.height) + 1) return false;
    return element.lines <= 0 || pango_layout_get_line_count(&layout) <= element.lines;
  };
  // A line that does not break says how long it is only when it may be longer than the element.
  pango_layout_set_ellipsize(&layout, PANGO_ELLIPSIZE_NONE);
  pango_layout_set_height(&layout, -1);
  if (element.wrap != kWrapWord) pango_layout_set_width(&layout, -1);
  double largest = 1;
  if (fits(1)) {
    smallest = 1;
  } else {
    for (int step = 0; step < kShrinkSteps; ++step) {
      const double middle = (smallest + largest) / 2;
      (fits(middle) ? smallest : largest) = middle;
    }
  }
  pango_layout_set_width(&layout, PangoUnits(element.width));
  return smallest;
}

void TextLayouts::MoveLines(const Element& element, Kept& kept) {
  Placed& placed = kept.placed;
  placed.shifts.clear();
  PangoLayout* layout = kept.layout.get();
  if (element.align != kAlignLeft && element.align != kAlignRight) return;
  PangoRectangle whole;
  pango_layout_get_extents(layout, nullptr, &whole);
  const double right = element.width > 0 ? element.width : Units(whole.x + whole.width);
  const std::unique_ptr<PangoLayoutIter, void (*)(PangoLayoutIter*)> iter(
      pango_layout_get_iter(layout), pango_layout_iter_free);
  bool moved = false;
  do {
    PangoRectangle line;
    pango_layout_iter_get_line_extents(iter.get(), nullptr, &line);
    const double shift =
        element.align == kAlignLeft ? -Units(line.x) : right - Units(line.x + line.width);
    placed.shifts.push_back(shift);
    moved = moved || fabs(shift) > 0.01;
  } while (pango_layout_iter_next_line(iter.get()) != FALSE);
  if (!moved) placed.shifts.clear();
}

void TextLayouts::MeasureLines(const Kept& kept, Box& ink, Box& logical) {
  PangoRectangle inkOfAll;
  PangoRectangle logicalOfAll;
  pango_layout_get_extents(kept.layout.get(), &inkOfAll, &logicalOfAll);
  ink = BoxOf(inkOfAll);
  logical = BoxOf(logicalOfAll);
  const std::vector<double>& shifts = kept.placed.shifts;
  if (shifts.empty()) return;
  double inkEnds[2] = {HUGE_VAL, -HUGE_VAL};
  double ends[2] = {HUGE_VAL, -HUGE_VAL};
  const auto add = [](double(&to)[2], const PangoRectangle& line, double shift) {
    to[0] = std::min(to[0], Units(line.x) + shift);
    to[1] = std::max(to[1], Units(line.x + line.width) + shift);
  };
  const std::unique_ptr<PangoLayoutIter, void (*)(PangoLayoutIter*)> iter(
      pango_layout_get_iter(kept.layout.get()), pango_layout_iter_free);
  size_t line = 0;
  do {
    PangoRectangle lineInk;
    PangoRectangle lineLogical;
    pango_layout_iter_get_line_extents(iter.get(), &lineInk, &lineLogical);
    if (lineInk.width > 0) add(inkEnds, lineInk, shifts[line]);
    add(ends, lineLogical, shifts[line]);
  } while (pango_layout_iter_next_line(iter.get()) != FALSE && ++line < shifts.size());
  if (inkEnds[1] > inkEnds[0]) {
    ink.x = inkEnds[0];
    ink.width = inkEnds[1] - inkEnds[0];
  }
  logical.x = ends[0];
  logical.width = ends[1] - ends[0];
}

void TextLayouts::Place(const Element& element, Kept& kept) {
  PangoLayout* layout = kept.layout.get();
  Placed& placed = kept.placed;
  placed.layout = layout;
  placed.x = 0;
  MoveLines(element, kept);
  Box ink;
  Box logical;
  MeasureLines(kept, ink, logical);
  // Without a width, the text lies at its point as it is aligned.
  if (element.width <= 0) {
    const bool turned = pango_layout_get_direction(layout, 0) == PANGO_DIRECTION_RTL;
    const bool atEnd = element.align == kAlignRight || (element.align == kAlignEnd && !turned) ||
                       (element.align == kAlignStart && turned);
    if (element.align == kAlignCenter) placed.x = -logical.width / 2;
    if (atEnd) placed.x = -(logical.x + logical.width);
  }
  switch (element.valign) {
    case kAlignMiddle:
      placed.y = (element.height - logical.height) / 2;
      break;
    case kAlignBottom:
      placed.y = element.height - logical.height;
      break;
    case kAlignBaseline:
      placed.y = -Units(pango_layout_get_baseline(layout));
      break;
    default:
      placed.y = 0;
      break;
  }
  placed.logical = {placed.x + logical.x, placed.y + logical.y, logical.width, logical.height};
  placed.ink = {placed.x + ink.x, placed.y + ink.y, ink.width, ink.height};
  kept.revision = element.revision;
}

PangoLayout* TextLayouts::LayOutLine(const char* font, double size, const std::string& text) {
  if (line_ == nullptr) line_.reset(pango_layout_new(context_));
  PangoFontDescription* description = pango_font_description_new();
  pango_font_description_set_family(description, font);
  pango_font_description_set_absolute_size(description, size * PANGO_SCALE);
  pango_layout_set_font_description(line_.get(), description);
  pango_font_description_free(description);
  pango_layout_set_text(line_.get(), text.data(), static_cast<int>(text.size()));
  return line_.get();
}

}  // namespace plexion_host::player::application
