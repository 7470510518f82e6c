// Lines of text through Pango, outlines through HarfBuzz.
#include "host/player/lottie/text/Fonts.h"

#include <dlfcn.h>
#include <hb.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <utility>

namespace plexion_host::movie {

namespace {

constexpr double kSize = 100;

/// Writes pixels of a size of 100, y downwards.
struct OutlinePen {
  GlyphOutline* outline;
  double scale;
  double moveX;
  double moveY;

  void Add(GlyphOutline::Verb verb) const { outline->verbs.push_back(verb); }
  void At(double x, double y) const {
    outline->points.push_back(moveX + x * scale);
    outline->points.push_back(moveY - y * scale);
  }
};

void MoveTo(hb_draw_funcs_t*, void* data, hb_draw_state_t*, float x, float y, void*) {
  const auto& pen = *static_cast<OutlinePen*>(data);
  pen.Add(GlyphOutline::kMove);
  pen.At(x, y);
}

void LineTo(hb_draw_funcs_t*, void* data, hb_draw_state_t*, float x, float y, void*) {
  const auto& pen = *static_cast<OutlinePen*>(data);
  pen.Add(GlyphOutline::kLine);
  pen.At(x, y);
}

void QuadraticTo(hb_draw_funcs_t*, void* data, hb_draw_state_t* state, float cx, float cy, float x,
                 float y, void*) {
  const auto& pen = *static_cast<OutlinePen*>(data);
  const auto part = [](double from, double control) { return from + (control - from) * 2 / 3; };
  pen.Add(GlyphOutline::kCubic);
  pen.At(part(state->current_x, cx), part(state->current_y, cy));
  pen.At(part(x, cx), part(y, cy));
  pen.At(x, y);
}

void CubicTo(hb_draw_funcs_t*, void* data, hb_draw_state_t*, float x1, float y1, float x2, float y2,
             float x, float y, void*) {
  const auto& pen = *static_cast<OutlinePen*>(data);
  pen.Add(GlyphOutline::kCubic);
  pen.At(x1, y1);
  pen.At(x2, y2);
  pen.At(x, y);
}

void ClosePath(hb_draw_funcs_t*, void* data, hb_draw_state_t*, void*) {
  static_cast<OutlinePen*>(data)->Add(GlyphOutline::kClose);
}

hb_draw_funcs_t* NewPen() {
  hb_draw_funcs_t* pen = hb_draw_funcs_create();
  hb_draw_funcs_set_move_to_func(pen, MoveTo, nullptr, nullptr);
  hb_draw_funcs_set_line_to_func(pen, LineTo, nullptr, nullptr);
  hb_draw_funcs_set_quadratic_to_func(pen, QuadraticTo, nullptr, nullptr);
  hb_draw_funcs_set_cubic_to_func(pen, CubicTo, nullptr, nullptr);
  hb_draw_funcs_set_close_path_func(pen, ClosePath, nullptr, nullptr);
  return pen;
}

/// The style's words, as the format's players read them.
void ReadStyle(const TextFont& font, PangoFontDescription* description) {
  int weight = 400;
  std::string style = font.style;
  std::transform(style.begin(), style.end(), style.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  const auto has = [&style](const char* word) { return style.find(word) != std::string::npos; };
  if (has("thin")) weight = 200;
  if (has("light")) weight = 200;
  if (has("medium")) weight = 500;
  if (has("bold")) weight = 700;
  if (has("semibold") || has("semi bold") || has("demi")) weight = 600;
  if (has("black") || has("heavy")) weight = 900;
  const int given = std::atoi(font.weight.c_str());
  if (given >= 1 && given <= 1000) weight = given;
  if (font.weight == "bold") weight = 700;
  pango_font_description_set_weight(description, static_cast<PangoWeight>(weight));
  if (has("italic") || has("oblique")) {
    pango_font_description_set_style(description, PANGO_STYLE_ITALIC);
  }
}

/// The first font map starts a thread of Pango's that reads the fonts' configuration, and nobody waits
/// for it where no font is needed: its code has to stay when this module goes.
void KeepPango() {
  Dl_info info;
  if (dladdr(reinterpret_cast<void*>(&pango_cairo_font_map_new), &info) == 0) return;
  (void)dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);
}

}  // namespace

class Fonts::Map {
 public:
  Map() : map_(pango_cairo_font_map_new()), pen_(NewPen()) {
    KeepPango();
    context_ = pango_font_map_create_context(map_);
    cairo_font_options_t* options = cairo_font_options_create();
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
    cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
    pango_cairo_context_set_font_options(context_, options);
    cairo_font_options_destroy(options);
    pango_cairo_context_set_resolution(context_, 72);
    pango_context_set_round_glyph_positions(context_, FALSE);
    layout_ = pango_layout_new(context_);
    pango_layout_set_single_paragraph_mode(layout_, TRUE);
    // The author's alignment counts from the left.
    pango_layout_set_alignment(layout_, PANGO_ALIGN_LEFT);
  }
  Map(const Map&) = delete;
  Map& operator=(const Map&) = delete;
  ~Map() {
    for (const auto& each : outlines_) g_object_unref(each.first.first);
    hb_draw_funcs_destroy(pen_);
    g_object_unref(layout_);
    g_object_unref(context_);
    g_object_unref(map_);
  }

  bool Shape(const TextFont& font, std::string_view line, bool apart,
             std::vector<FontCluster>& clusters);
  size_t Bytes() const { return bytes_; }

 private:
  void Prepare(const TextFont& font, std::string_view line, bool apart);
  /// The glyphs of one run from `first` to before `last` as one outline.
  const GlyphOutline* Outline(PangoFont* font, const PangoGlyphString* glyphs, int first, int last,
                              bool& missing);

  PangoFontMap* map_;
  PangoContext* context_ = nullptr;
  PangoLayout* layout_ = nullptr;
  hb_draw_funcs_t* pen_;
  /// By font and the glyphs with their offsets.
  std::map<std::pair<PangoFont*, std::string>, GlyphOutline> outlines_;
  size_t bytes_ = 0;  ///< of these
};

void Fonts::Map::Prepare(const TextFont& font, std::string_view line, bool apart) {
  PangoFontDescription* description = pango_font_description_new();
  std::string families;
  for (const char c : font.family) {
    if (c != '\'' && c != '"') families += c;
  }
  pango_font_description_set_family(description,
                                    families.empty() ? "sans-serif" : families.c_str());
  ReadStyle(font, description);
  pango_font_description_set_absolute_size(description, kSize * PANGO_SCALE);
  pango_layout_set_font_description(layout_, description);
  pango_font_description_free(description);
  PangoAttrList* attributes = pango_attr_list_new();
  if (apart) {
    pango_attr_list_insert(attributes, pango_attr_font_features_new("kern=0,liga=0,clig=0,dlig=0"));
  }
  pango_layout_set_attributes(layout_, attributes);
  pango_attr_list_unref(attributes);
  pango_layout_set_text(layout_, line.data(), static_cast<int>(line.size()));
}

const GlyphOutline* Fonts::Map::Outline(PangoFont* font, const PangoGlyphString* glyphs, int first,
                                        int last, bool& missing) {
  std::string key;
  for (int i = first; i < last; ++i) {
    const PangoGlyphInfo& glyph = glyphs->glyphs[i];
    const int32_t numbers[4] = {static_cast<int32_t>(glyph.glyph), glyph.geometry.width,
                                glyph.geometry.x_offset, glyph.geometry.y_offset};
    key.append(reinterpret_cast<const char*>(numbers), sizeof(numbers));
    if ((glyph.glyph & PANGO_GLYPH_UNKNOWN_FLAG) != 0 && glyph.glyph != PANGO_GLYPH_EMPTY) {
      missing = true;
    }
  }
  const auto [entry, fresh] = outlines_.try_emplace({font, std::move(key)});
  if (!fresh) return &entry->second;
  g_object_ref(font);
  hb_font_t* shapes = pango_font_get_hb_font(font);
  int scaleX = 0;
  int scaleY = 0;
  hb_font_get_scale(shapes, &scaleX, &scaleY);
  const double scale = scaleX == 0 ? 0 : kSize / scaleX;
  int at = 0;
  for (int i = first; i < last; ++i) {
    const PangoGlyphInfo& info = glyphs->glyphs[i];
    if (info.glyph < PANGO_GLYPH_UNKNOWN_FLAG && info.glyph != PANGO_GLYPH_EMPTY) {
      OutlinePen pen{&entry->second, scale,
                     static_cast<double>(at + info.geometry.x_offset) / PANGO_SCALE,
                     static_cast<double>(info.geometry.y_offset) / PANGO_SCALE};
      hb_font_get_glyph_shape(shapes, info.glyph, pen_, &pen);
    }
    at += info.geometry.width;
  }
  bytes_ += sizeof(*entry) + entry->first.second.capacity() + entry->second.verbs.capacity() +
            entry->second.points.capacity() * sizeof(double);
  return &entry->second;
}

bool Fonts::Map::Shape(const TextFont& font, std::string_view line, bool apart,
                       std::vector<FontCluster>& clusters) {
  clusters.clear();
  if (line.empty()) return true;
  Prepare(font, line, apart);
  bool missing = false;
  const PangoLayoutLine* shaped = pango_layout_get_line_readonly(layout_, 0);
  int place = 0;
  // Runs come from left to right.
  for (GSList* at = shaped == nullptr ? nullptr : shaped->runs; at != nullptr; at = at->next) {
    const auto* run = static_cast<const PangoGlyphItem*>(at->data);
    const PangoGlyphString* glyphs = run->glyphs;
    const bool backwards = (run->item->analysis.level & 1) != 0;
    for (int first = 0; first < glyphs->num_glyphs;) {
      int last = first + 1;
      double width = glyphs->glyphs[first].geometry.width;
      while (last < glyphs->num_glyphs &&
             glyphs->log_clusters[last] == glyphs->log_clusters[first]) {
        width += glyphs->glyphs[last++].geometry.width;
      }
      FontCluster cluster;
      const int start = glyphs->log_clusters[first];
      int end = run->item->length;
      if (backwards ? first > 0 : last < glyphs->num_glyphs) {
        end = glyphs->log_clusters[backwards ? first - 1 : last];
      }
      cluster.start = static_cast<size_t>(run->item->offset) + static_cast<size_t>(start);
      cluster.bytes = static_cast<size_t>(std::max(end - start, 0));
      cluster.advance = width / PANGO_SCALE;
      cluster.place = place++;
      cluster.outline = Outline(run->item->analysis.font, glyphs, first, last, missing);
      clusters.push_back(cluster);
      first = last;
    }
  }
  std::sort(clusters.begin(), clusters.end(),
            [](const FontCluster& a, const FontCluster& b) { return a.start < b.start; });
  return !missing;
}

Fonts::Fonts() : map_(std::make_unique<Map>()) {}
Fonts::~Fonts() = default;

bool Fonts::Shape(const TextFont& font, std::string_view line, bool apart,
                  std::vector<FontCluster>& clusters) {
  return map_->Shape(font, line, apart, clusters);
}

size_t Fonts::Bytes() const { return map_->Bytes(); }

}  // namespace plexion_host::movie
