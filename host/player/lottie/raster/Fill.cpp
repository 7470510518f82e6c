// Fills paths with colours, gradients and pictures: the sweep's spans go straight to the target's
// rows.

#include "host/player/lottie/raster/Fill.h"

#include <string.h>

#include <algorithm>
#include <vector>

#include "host/base/Check.h"
#include "host/player/lottie/raster/Cells.h"
#include "host/player/lottie/raster/Flatten.h"
#include "host/player/lottie/raster/Gradient.h"
#include "host/player/lottie/raster/Rows.h"
#include "host/player/lottie/raster/Sampler.h"

namespace plexion_host::movie {
namespace {

class ColourSpans final : public ISpans {
 public:
  ColourSpans(const Surface& target, uint32_t colour) : target_(target), colour_(colour) {}

  bool TakesRow(int x, int y, const CellRow& row, bool evenOdd) override {
    PaintCells(row, evenOdd, colour_, target_.Row(y) + x);
    return true;
  }
  // Of covers that were kept.
  void Flat(int x, int y, int n, uint8_t cover) override {
    const uint32_t colour = cover == 255 ? colour_ : PixelTimes(colour_, cover);
    uint32_t* const row = target_.Row(y) + x;
    // Most of most pictures: nothing below is read.
    if (colour >> 24 == 255) {
      FillRow(row, colour, n);
    } else {
      BlendColour(row, colour, n);
    }
  }
  void Mixed(int x, int y, int n, const uint8_t* cover) override {
    BlendColour(target_.Row(y) + x, colour_, cover, n);
  }

 private:
  const Surface& target_;
  const uint32_t colour_;
};

class GradientSpans final : public ISpans {
 public:
  GradientSpans(const Surface& target, const Gradient& gradient, uint32_t* room)
      : target_(target), gradient_(gradient), room_(room) {}

  void Flat(int x, int y, int n, uint8_t cover) override {
    gradient_.Row(x, y, n, room_);
    uint32_t* const row = target_.Row(y) + x;
    if (cover == 255 && gradient_.IsOpaque()) {
      memcpy(row, room_, static_cast<size_t>(n) * 4);
    } else {
      BlendPixels(row, room_, cover, n);
    }
  }
  void Mixed(int x, int y, int n, const uint8_t* cover) override {
    gradient_.Row(x, y, n, room_);
    BlendPixels(target_.Row(y) + x, room_, cover, n);
  }

 private:
  const Surface& target_;
  const Gradient& gradient_;
  uint32_t* const room_;
};

class PictureSpans final : public ISpans {
 public:
  PictureSpans(const Surface& target, const Sampler& sampler, uint8_t opacity, uint32_t* room)
      : target_(target), sampler_(sampler), opacity_(opacity), room_(room) {}

  void Flat(int x, int y, int n, uint8_t cover) override {
    BlendPixels(target_.Row(y) + x, sampler_.Row(x, y, n, room_),
                static_cast<uint8_t>(TimesByte(cover, opacity_)), n);
  }
  void Mixed(int x, int y, int n, const uint8_t* cover) override {
    const uint32_t* const pixels = sampler_.Row(x, y, n, room_);
    if (opacity_ == 255) {
      BlendPixels(target_.Row(y) + x, pixels, cover, n);
      return;
    }
    // Edges are few: pixel by pixel is quick enough.
    for (int i = 0; i < n; ++i) {
      BlendPixels(target_.Row(y) + x + i, pixels + i,
                  static_cast<uint8_t>(TimesByte(cover[i], opacity_)), 1);
    }
  }

 private:
  const Surface& target_;
  const Sampler& sampler_;
  const uint8_t opacity_;
  uint32_t* const room_;
};

class CoverSpans final : public ISpans {
 public:
  explicit CoverSpans(const Coverage& target) : target_(target) {}
  void Flat(int x, int y, int n, uint8_t cover) override {
    memset(target_.Row(y) + x, cover, static_cast<size_t>(n));
  }
  void Mixed(int x, int y, int n, const uint8_t* cover) override {
    memcpy(target_.Row(y) + x, cover, static_cast<size_t>(n));
  }

 private:
  const Coverage& target_;
};

IntRect ClipOf(const IntRect& bounds, const IntRect* clip) {
  return clip == nullptr ? bounds : bounds.Cut(*clip);
}

}  // namespace

class Rasterizer::Engine {
 public:
  uint32_t* Room(int width) {
    PLEXION_CHECK(width > 0, "spans are made for a clip that is not empty");
    const size_t needed = static_cast<size_t>(width) + std::max(Gradient::kSlack, Sampler::kSlack);
    if (room_.size() < needed) room_.resize(needed);
    return room_.data();
  }

  Cells cells;
  Gradient gradient;
  Sampler sampler;
  Path path;

 private:
  std::vector<uint32_t> room_;
};

Rasterizer::Rasterizer() : engine_(std::make_unique<Engine>()) {}
Rasterizer::~Rasterizer() = default;

void Rasterizer::Fill(const Surface& target, const Path& path, const Matrix& matrix, FillRule rule,
                      const Paint& paint, const IntRect* clip) {
  const IntRect area = ClipOf(target.Bounds(), clip);
  FillFrom(target, area, paint, [&](ISpans& spans) {
    engine_->cells.Clear();
    Flatten(path, matrix, area, engine_->cells);
    engine_->cells.Sweep(rule == FillRule::kEvenOdd, spans);
  });
}

void Rasterizer::Fill(const Surface& target, const KeptCover& cover, int dx, int dy,
                      const Paint& paint, const IntRect& clip) {
  const IntRect area = target.Bounds().Cut(clip);
  FillFrom(target, area, paint, [&](ISpans& spans) { cover.Replay(dx, dy, area, spans); });
}

/// `source` gives the spans that lie in `area`.
template <typename Source>
void Rasterizer::FillFrom(const Surface& target, const IntRect& area, const Paint& paint,
                          const Source& source) {
  if (area.IsEmpty()) return;
  const Gradient::Result result = engine_->gradient.Prepare(paint);
  if (result == Gradient::Result::kNothing) return;
  if (result == Gradient::Result::kRows) {
    GradientSpans spans(target, engine_->gradient, engine_->Room(area.Width()));
    source(spans);
  } else {
    ColourSpans spans(target, engine_->gradient.OneColour());
    source(spans);
  }
}

void Rasterizer::Record(const Path& path, const Matrix& matrix, FillRule rule, const IntRect& clip,
                        CoverRecorder& recorder) {
  engine_->cells.Clear();
  Flatten(path, matrix, clip, engine_->cells);
  engine_->cells.Sweep(rule == FillRule::kEvenOdd, recorder);
}

void Rasterizer::Cover(const Coverage& target, const Path& path, const Matrix& matrix,
                       FillRule rule, const IntRect* clip) {
  const IntRect area = ClipOf(target.Bounds(), clip);
  if (area.IsEmpty()) return;
  target.Clear(area);
  engine_->cells.Clear();
  Flatten(path, matrix, area, engine_->cells);
  CoverSpans spans(target);
  engine_->cells.Sweep(rule == FillRule::kEvenOdd, spans);
}

void Rasterizer::Draw(const Surface& target, Image& image, const Matrix& matrix, float opacity,
                      const IntRect* clip) {
  const IntRect area = ClipOf(target.Bounds(), clip);
  const auto alpha =
      static_cast<uint8_t>(opacity > 0 ? std::lrint(std::min(opacity, 1.0f) * 255) : 0);
  if (area.IsEmpty() || alpha == 0 || !engine_->sampler.Prepare(image, matrix)) return;
  const Sampler& sampler = engine_->sampler;
  PictureSpans spans(target, sampler, alpha, engine_->Room(area.Width()));
  if (sampler.IsPlain()) {
    const IntRect box = area.Cut(sampler.Box());
    for (int y = box.top; !box.IsEmpty() && y < box.bottom; ++y) {
      spans.Flat(box.left, y, box.Width(), 255);
    }
    return;
  }
  Path& frame = engine_->path;
  frame.Clear();
  frame.AddRect(
      {0, 0, static_cast<float>(image.Pixels().width), static_cast<float>(image.Pixels().height)});
  engine_->cells.Clear();
  Flatten(frame, matrix, area, engine_->cells);
  engine_->cells.Sweep(false, spans);
}

}  // namespace plexion_host::movie
