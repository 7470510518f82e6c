// Sets captions by libass, and lays its pixels over the picture.
#include "host/player/media/captions/CaptionTrack.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>

#include "host/base/Check.h"
#include "host/base/Pixels.h"

namespace plexion_host::player {

using qx::plexion::Dims;
using qx::plexion::Rect;

namespace {

constexpr int kGlyphsKept = 2000;
constexpr int kBitmapMegabytesKept = 16;
/// Events that come one by one are dropped when they are over, so many at a time.
constexpr int kMostEvents = 2000;
/// A caption that takes longer than this to be set holds up the picture.
constexpr std::chrono::milliseconds kSlow{250};

/// "Encoding" -1 lets a line's own letters say in which direction it runs.
constexpr char kHead[] =
    "[Script Info]\nScriptType: v4.00+\nWrapStyle: 0\nScaledBorderAndShadow: yes\n"
    "[V4+ Styles]\nFormat: Name, Fontname, Fontsize, PrimaryColour, SecondaryColour, "
    "OutlineColour, BackColour, Bold, Italic, Underline, StrikeOut, ScaleX, ScaleY, Spacing, "
    "Angle, BorderStyle, Outline, Shadow, Alignment, MarginL, MarginR, MarginV, Encoding\n"
    "Style: Default,DejaVu Sans,48,&H00FFFFFF,&H000000FF,&H30000000,&H80000000,0,0,0,0,100,100,0,"
    "0,1,3,1,2,48,48,40,-1\n"
    "[Events]\nFormat: Layer, Start, End, Style, Name, MarginL, MarginR, MarginV, Effect, Text\n";

void SayNothing(int, const char*, va_list, void*) {}

void Blend(const ASS_Image& image, const DrawTarget& target, const Rect& seen) {
  const int64_t left = std::max<int64_t>(image.dst_x, seen.x);
  const int64_t top = std::max<int64_t>(image.dst_y, seen.y);
  const int64_t right =
      std::min<int64_t>(int64_t{image.dst_x} + image.w, int64_t{seen.x} + seen.width);
  const int64_t bottom =
      std::min<int64_t>(int64_t{image.dst_y} + image.h, int64_t{seen.y} + seen.height);
  const uint32_t colour = image.color >> 8;
  const uint32_t opacity = 255 - (image.color & 0xFF);
  for (int64_t y = top; y < bottom; ++y) {
    const unsigned char* const mask = image.bitmap + (y - image.dst_y) * image.stride - image.dst_x;
    uint32_t* const row = RowAt(target.pixels, target.pitchBytes, static_cast<size_t>(y));
    for (int64_t x = left; x < right; ++x) {
      const uint32_t cover = TimesByte(mask[x], opacity);
      if (cover > 0) row[x] = Premultiplied(cover << 24 | colour) + PixelTimes(row[x], 255 - cover);
    }
  }
}

}  // namespace

CaptionTrack::CaptionTrack() : library_(ass_library_init()) {
  if (library_ == nullptr) return;
  ass_set_message_cb(library_.get(), SayNothing, nullptr);
  ass_set_extract_fonts(library_.get(), 0);
  renderer_.reset(ass_renderer_init(library_.get()));
  if (renderer_ == nullptr) return;
  ass_set_fonts(renderer_.get(), nullptr, "DejaVu Sans", ASS_FONTPROVIDER_AUTODETECT, nullptr, 1);
  ass_set_cache_limits(renderer_.get(), kGlyphsKept, kBitmapMegabytesKept);
  SetScriptHead(kHead);
  styled_ = true;
}

bool CaptionTrack::SetScript(std::string script, std::string& error) {
  PLEXION_CHECK(IsUsable(), "the library has started");
  track_.reset(ass_read_memory(library_.get(), script.data(), script.size(), nullptr));
  styled_ = false;
  if (track_ == nullptr || track_->n_events == 0) {
    error = "there is no event in it; expected \"Dialogue:\" lines below [Events]";
  } else if (static_cast<size_t>(track_->n_events) > kMostCues) {
    error = "it has " + std::to_string(track_->n_events) + " events; expected at most " +
            std::to_string(kMostCues);
  } else {
    return true;
  }
  track_.reset();
  return false;
}

void CaptionTrack::SetScriptHead(std::string head) {
  track_.reset(ass_new_track(library_.get()));
  styled_ = false;
  if (track_ == nullptr) return;
  ass_process_codec_private(track_.get(), head.data(), static_cast<int>(head.size()));
}

void CaptionTrack::AddEvent(std::string event, int64_t beginMs, int64_t endMs) {
  if (!IsUsable() || endMs <= beginMs) return;
  TrimEvents();
  if (event.size() > kLongestCue) event.resize(kLongestCue);
  ass_process_chunk(track_.get(), event.data(), static_cast<int>(event.size()), beginMs,
                    endMs - beginMs);
}

void CaptionTrack::AddCue(const Cue& cue) {
  const std::string place = cue.alignment == 2 ? "" : "{\\an" + std::to_string(cue.alignment) + "}";
  AddEvent(std::to_string(order_++) + ",0,Default,,0,0,0,," + place + cue.text, cue.beginMs,
           cue.endMs);
}

void CaptionTrack::Forget() {
  if (IsUsable()) ass_flush_events(track_.get());
}

void CaptionTrack::TrimEvents() {
  // Whole files have their own limit; what keeps coming would grow for ever.
  ASS_Track& track = *track_;
  if (track.n_events < static_cast<int>(kMostCues)) return;
  int kept = 0;
  for (int i = 0; i < track.n_events; ++i) {
    if (track.events[i].Start + track.events[i].Duration < drawnMs_ ||
        track.n_events - i > kMostEvents) {
      ass_free_event(&track, i);
    } else {
      track.events[kept++] = track.events[i];
    }
  }
  track.n_events = kept;
}

void CaptionTrack::SizeStyle(const StageFit& place, const Dims& plane) {
  if (!styled_ || track_->n_styles == 0) return;
  // What is cut off has no captions: they belong to what is seen of the picture.
  const int width = std::min<int>(place.width, static_cast<int>(plane.width));
  const int height = std::min<int>(place.height, static_cast<int>(plane.height));
  // A portrait picture is read from as far away as one that lies.
  const double size = std::max(12.0, 0.058 * std::min<double>(height, width * 0.9));
  track_->PlayResX = width;
  track_->PlayResY = height;
  ASS_Style& style = track_->styles[track_->default_style];
  style.FontSize = size;
  style.Outline = size / 16;
  style.Shadow = size / 40;
  style.MarginL = style.MarginR = static_cast<int>(width * 0.06);
  style.MarginV = static_cast<int>(height * 0.05);
}

void CaptionTrack::Draw(const DrawTarget& target, const StageFit& place, const Rect& seen,
                        const Dims& video, int64_t timeMs) {
  if (!IsUsable() || HasGivenUp() || timeMs < 0) return;
  drawnMs_ = timeMs;
  const auto width = static_cast<int>(target.dims.width);
  const auto height = static_cast<int>(target.dims.height);
  SizeStyle(place, target.dims);
  ass_set_frame_size(renderer_.get(), width, height);
  ass_set_storage_size(renderer_.get(), static_cast<int>(video.width),
                       static_cast<int>(video.height));
  ass_set_pixel_aspect(renderer_.get(), 1);
  ass_set_margins(renderer_.get(), place.y, height - place.y - place.height, place.x,
                  width - place.x - place.width);
  // Of a picture that reaches out of the plane, what is seen counts.
  ass_set_use_margins(renderer_.get(), place.width > width || place.height > height ? 1 : 0);
  const auto began = std::chrono::steady_clock::now();
  int changed = 0;
  for (const ASS_Image* image = ass_render_frame(renderer_.get(), track_.get(), timeMs, &changed);
       image != nullptr; image = image->next) {
    Blend(*image, target, seen);
  }
  if (std::chrono::steady_clock::now() - began > kSlow) ++slow_;
}

}  // namespace plexion_host::player
