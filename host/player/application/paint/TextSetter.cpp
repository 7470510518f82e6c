#include "host/player/application/paint/TextSetter.h"

#include <fontconfig/fontconfig.h>
#include <math.h>
#include <pango/pangocairo.h>
#include <pango/pangofc-fontmap.h>

#include <algorithm>

namespace plexion_host::player::application {

namespace {

double Units(int pango) { return static_cast<double>(pango) / PANGO_SCALE; }
int PangoUnits(double units) { return static_cast<int>(lround(units * PANGO_SCALE)); }

PangoFontDescription* Describe(const Element& element) {
  PangoFontDescription* font = pango_font_description_new();
  pango_font_description_set_family(font, element.font.c_str());
  pango_font_description_set_absolute_size(font, element.size * PANGO_SCALE);
  pango_font_description_set_weight(font, static_cast<PangoWeight>(lround(element.weight)));
  pango_font_description_set_style(font, element.italic ? PANGO_STYLE_ITALIC : PANGO_STYLE_NORMAL);
  return font;
}

/// The system's fonts, read once for all applications; kept for as long as the process lives.
FcConfig* SystemFonts() {
  static FcConfig* const fonts = FcInitLoadConfigAndFonts();
  return fonts;
}

}  // namespace

void TextSetter::Release::operator()(void* object) const { g_object_unref(object); }

TextSetter::TextSetter() {
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

TextSetter::~TextSetter() {
  settings_.clear();
  line_.reset();
  g_object_unref(context_);
  g_object_unref(fontMap_);
  FcConfigDestroy(static_cast<FcConfig*>(fontConfig_));
}

bool TextSetter::AddFontFolder(const std::string& path) {
  FcConfig* config = static_cast<FcConfig*>(fontConfig_);
  if (config == SystemFonts()) {
    // Fonts of its own are nobody else's business.
    FcConfigDestroy(config);
    fontConfig_ = config = FcInitLoadConfigAndFonts();
    pango_fc_font_map_set_config(PANGO_FC_FONT_MAP(fontMap_), config);
  }
  const FcFontSet* before = FcConfigGetFonts(config, FcSetApplication);
  const int countBefore = before == nullptr ? 0 : before->nfont;
  const bool added =
      FcConfigAppFontAddDir(config, reinterpret_cast<const FcChar8*>(path.c_str())) == FcTrue;
  const FcFontSet* after = FcConfigGetFonts(config, FcSetApplication);
  pango_fc_font_map_config_changed(PANGO_FC_FONT_MAP(fontMap_));
  return added && after != nullptr && after->nfont > countBefore;
}

const TextSetter::Setting& TextSetter::Set(const Element& element) {
  Kept& kept = settings_[element.handle];
  if (kept.layout == nullptr || kept.revision != element.revision) Lay(element, kept);
  return kept.setting;
}

void TextSetter::Lay(const Element& element, Kept& kept) {
  if (kept.layout == nullptr) kept.layout.reset(pango_layout_new(context_));
  PangoLayout* layout = kept.layout.get();
  PangoFontDescription* font = Describe(element);
  pango_layout_set_font_description(layout, font);
  pango_font_description_free(font);
  pango_layout_set_text(layout, element.text.data(), static_cast<int>(element.text.size()));

  PangoAttrList* attributes = pango_attr_list_new();
  if (element.letterSpacing != 0) {
    pango_attr_list_insert(attributes,
                           pango_attr_letter_spacing_new(PangoUnits(element.letterSpacing)));
  }
  if (!element.features.empty()) {
    pango_attr_list_insert(attributes, pango_attr_font_features_new(element.features.c_str()));
  }
  pango_layout_set_attributes(layout, attributes);
  pango_attr_list_unref(attributes);

  const bool bounded = element.width > 0;
  const bool wraps = bounded && element.wrap == kWrapWord;
  pango_layout_set_width(layout, bounded ? PangoUnits(element.width) : -1);
  pango_layout_set_wrap(layout, PANGO_WRAP_WORD_CHAR);
  pango_layout_set_line_spacing(layout, static_cast<float>(element.lineSpacing));
  pango_layout_set_alignment(layout, element.align == kAlignCenter  ? PANGO_ALIGN_CENTER
                                     : element.align == kAlignRight ? PANGO_ALIGN_RIGHT
                                                                    : PANGO_ALIGN_LEFT);
  // What does not fit ends in an ellipsis: after one line, or after as many as are allowed.
  const bool limited = bounded && (!wraps || element.lines > 0);
  pango_layout_set_ellipsize(layout, limited ? PANGO_ELLIPSIZE_END : PANGO_ELLIPSIZE_NONE);
  pango_layout_set_height(layout,
                          wraps && element.lines > 0 ? -static_cast<int>(element.lines) : -1);

  PangoRectangle ink;
  PangoRectangle logical;
  pango_layout_get_extents(layout, &ink, &logical);
  Setting& setting = kept.setting;
  setting.layout = layout;
  setting.x = 0;
  if (!bounded && element.align != kAlignLeft) {
    setting.x = -Units(logical.width) * (element.align == kAlignCenter ? 0.5 : 1);
  }
  switch (element.valign) {
    case kAlignMiddle:
      setting.y = (element.height - Units(logical.height)) / 2;
      break;
    case kAlignBottom:
      setting.y = element.height - Units(logical.height);
      break;
    case kAlignBaseline:
      setting.y = -Units(pango_layout_get_baseline(layout));
      break;
    default:
      setting.y = 0;
      break;
  }
  setting.logical = {setting.x + Units(logical.x), setting.y + Units(logical.y),
                     Units(logical.width), Units(logical.height)};
  setting.ink = {setting.x + Units(ink.x), setting.y + Units(ink.y), Units(ink.width),
                 Units(ink.height)};
  kept.revision = element.revision;
}

PangoLayout* TextSetter::SetLine(const char* font, double size, const std::string& text) {
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
