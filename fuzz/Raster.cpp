// The movie raster from bytes: paths with any numbers, strokes, gradients, pictures, blends, effects,
// what layer styles are made from.

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz/FuzzInput.h"
#include "host/player/lottie/compositing/Composite.h"
#include "host/player/lottie/compositing/Effects.h"
#include "host/player/lottie/compositing/Grow.h"
#include "host/player/lottie/compositing/Mask.h"
#include "host/player/lottie/compositing/Styles.h"
#include "host/player/lottie/raster/Fill.h"
#include "host/player/lottie/raster/Stroke.h"

namespace {

using namespace plexion_host::movie;  // NOLINT(google-build-using-namespace): a program of one file

/// Mostly near the target, at times any number that there is.
float Number(FuzzBytes& in) {
  const uint8_t kind = in.Byte();
  if (kind < 230) return static_cast<float>(static_cast<int16_t>(in.Word())) / 256;
  const uint32_t bits = static_cast<uint32_t>(in.Word()) << 16 | in.Word();
  float number = 0;
  memcpy(&number, &bits, sizeof(number));
  return number;
}

Point Place(FuzzBytes& in) {
  const float x = Number(in);
  return {x, Number(in)};
}

float Unit(FuzzBytes& in) { return static_cast<float>(in.Byte()) / 255; }

Colour AnyColour(FuzzBytes& in) {
  const float red = Unit(in);
  const float green = Unit(in);
  return {red, green, Unit(in), Unit(in)};
}

Matrix AnyMatrix(FuzzBytes& in) {
  if (in.Byte() % 3 != 0) return {};
  const double a = Number(in);
  const double b = Number(in);
  const double c = Number(in);
  const double d = Number(in);
  const double e = Number(in);
  return {a, b, c, d, e, Number(in)};
}

void MakePath(FuzzBytes& in, Path& path) {
  path.Clear();
  for (int n = in.Byte() % 24; n > 0; --n) {
    const uint8_t verb = in.Byte() % 6;
    const Point a = Place(in);
    if (verb == 0) path.Move(a.x, a.y);
    if (verb == 1 || verb == 2) path.Line(a.x, a.y);
    if (verb == 3 || verb == 4) {
      const Point b = Place(in);
      const Point c = Place(in);
      path.Cubic(a.x, a.y, b.x, b.y, c.x, c.y);
    }
    if (verb == 5) path.Close();
  }
}

/// The pixels lie in a frame that nothing may write to.
class Target {
 public:
  static constexpr int kMargin = 8;
  Target(int width, int height)
      : width_(width),
        height_(height),
        pixels_(
            static_cast<size_t>(width + 2 * kMargin) * static_cast<size_t>(height + 2 * kMargin),
            kFrame) {
    View().Clear(View().Bounds());
  }
  Surface View() {
    const size_t stride = static_cast<size_t>(width_ + 2 * kMargin);
    return {pixels_.data() + kMargin * stride + kMargin, width_, height_, stride * 4};
  }
  void Check() const {
    const int stride = width_ + 2 * kMargin;
    for (size_t i = 0; i < pixels_.size(); ++i) {
      const int x = static_cast<int>(i) % stride - kMargin;
      const int y = static_cast<int>(i) / stride - kMargin;
      const uint32_t pixel = pixels_[i];
      if (x < 0 || y < 0 || x >= width_ || y >= height_) {
        Require(pixel == kFrame, "nothing is written outside");
        continue;
      }
      const uint32_t alpha = pixel >> 24;
      Require((pixel >> 16 & 255) <= alpha && (pixel >> 8 & 255) <= alpha && (pixel & 255) <= alpha,
              "pixels stay premultiplied");
    }
  }

 private:
  static constexpr uint32_t kFrame = 0x12345678;
  int width_, height_;
  std::vector<uint32_t> pixels_;
};

struct Tools {
  Rasterizer raster;
  Stroker stroker;
  Blur blur;
  Grow grow;
  ColourSpread spread;
  Path path, outline;
};

Paint AnyPaint(FuzzBytes& in, GradientStop (&stops)[12]) {
  Paint paint;
  paint.kind = static_cast<Paint::Kind>(in.Byte() % 3);
  paint.colour = AnyColour(in);
  paint.opacity = in.Byte() < 200 ? 1 : Number(in);
  if (paint.kind == Paint::kSolid) return paint;
  paint.start = Place(in);
  paint.end = Place(in);
  paint.focus = Place(in);
  paint.radius = Number(in);
  paint.matrix = AnyMatrix(in);
  paint.stopCount = in.Byte() % 12;
  for (GradientStop& stop : stops) stop = {in.Byte() < 250 ? Unit(in) : Number(in), AnyColour(in)};
  paint.stops = stops;
  return paint;
}

void Step(FuzzBytes& in, Tools& tools, Target& target, Target& other, Coverage cover,
          Coverage spare) {
  const Surface view = target.View();
  const IntRect clip{in.Byte() % 64 - 8, in.Byte() % 64 - 8, in.Byte() % 80, in.Byte() % 80};
  const IntRect* const maybeClip = in.Byte() % 2 == 0 ? &clip : nullptr;
  const auto rule = static_cast<FillRule>(in.Byte() % 2);
  GradientStop stops[12];
  switch (in.Byte() % 9) {
    case 0:
    case 1:
      MakePath(in, tools.path);
      tools.raster.Fill(view, tools.path, AnyMatrix(in), rule, AnyPaint(in, stops), maybeClip);
      break;
    case 2: {
      MakePath(in, tools.path);
      float dashes[3] = {Number(in), Number(in), Number(in)};
      StrokeStyle style;
      style.width = Number(in);
      style.cap = static_cast<LineCap>(in.Byte() % 3);
      style.join = static_cast<LineJoin>(in.Byte() % 3);
      style.miterLimit = Number(in);
      style.dashes = dashes;
      style.dashCount = in.Byte() % 4;
      style.dashOffset = Number(in);
      tools.stroker.Stroke(tools.path, style, Number(in), tools.outline);
      tools.raster.Fill(view, tools.outline, AnyMatrix(in), FillRule::kNonZero, AnyPaint(in, stops),
                        maybeClip);
      break;
    }
    case 3: {
      Image image(other.View());
      tools.raster.Draw(view, image, AnyMatrix(in), Number(in), maybeClip);
      break;
    }
    case 4:
      Composite(view, other.View(), in.Byte() - 128, in.Byte() - 128, clip, Number(in),
                static_cast<BlendMode>(in.Byte() % kBlendModes));
      break;
    case 5:
      MakePath(in, tools.path);
      CoverExpanded(tools.raster, tools.stroker, tools.outline, cover, spare, tools.path,
                    AnyMatrix(in), rule, Number(in), maybeClip);
      AddMask(cover, spare, clip, static_cast<MaskMode>(in.Byte() % 6), Number(in),
              in.Byte() % 2 == 0);
      tools.blur.Run(cover, clip, std::fmod(Number(in), 100.0f), std::fmod(Number(in), 100.0f));
      ApplyMask(view, cover, clip);
      break;
    case 6:
      ApplyMatte(view, other.View(), clip, static_cast<MatteMode>(in.Byte() % 4));
      break;
    case 7:
      tools.blur.Run(view, clip, std::fmod(Number(in), 100.0f), std::fmod(Number(in), 100.0f),
                     static_cast<Blur::Edge>(in.Byte() % 2));
      break;
    default: {
      const Colour a = AnyColour(in);
      const Colour b = AnyColour(in);
      const Levels levels{Number(in), Number(in), Number(in), Number(in), Number(in)};
      const uint8_t effect = in.Byte() % 8;
      if (effect == 0) FillEffect(view, clip, a, Number(in));
      if (effect == 1) TintEffect(view, clip, a, b, Number(in));
      if (effect == 2) TritoneEffect(view, clip, a, b, AnyColour(in));
      if (effect == 3) LevelsEffect(view, clip, levels, {}, levels, {}, levels);
      if (effect == 4) {
        DropShadowEffect(tools.blur, view, other.View(), clip, a, Number(in), Number(in),
                         std::fmod(Number(in), 100.0f), in.Byte() % 2 == 0);
      }
      if (effect == 5) {
        OpacityOf(view, cover);
        tools.grow.Run(cover, other.View(), Number(in));
        InsideOf(spare, cover);
        in.Byte() % 2 == 0 ? CutPlane(cover, spare) : ClearPlane(cover, spare);
        ColourPlane(other.View(), cover, a);
      }
      if (effect == 6) {
        OpacityOf(view, cover);
        MovePlane(spare, cover, Number(in), Number(in), in.Byte());
        StretchPlane(spare, Number(in));
        DifferPlane(cover, spare);
        LightRelief(cover, spare, cover, {Number(in), Number(in), Number(in), Number(in)});
        MakeOpaque(view);
      }
      if (effect == 7) {
        const Spread spread = {static_cast<Spread::Kind>(in.Byte() % 5), AnyMatrix(in)};
        const std::vector<GradientStop> list = {{Unit(in), a}, {Unit(in), b}};
        tools.spread.Run(view, in.Byte(), in.Byte(), spread, list, Number(in));
      }
    }
  }
  target.Check();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static Tools tools;  // as in a movie: memory from the last drawing is still there
  FuzzBytes in(data, size);
  Target target(1 + in.Byte() % 70, 1 + in.Byte() % 70);
  Target other(target.View().width, target.View().height);
  const auto width = static_cast<size_t>(target.View().width);
  const auto height = static_cast<size_t>(target.View().height);
  std::vector<uint8_t> cover(width * height);
  std::vector<uint8_t> spare(width * height);
  const Coverage coverView{cover.data(), target.View().width, target.View().height, width};
  const Coverage spareView{spare.data(), target.View().width, target.View().height, width};
  for (int steps = 0; steps < 6 && !in.IsEmpty(); ++steps) {
    Step(in, tools, steps % 2 == 0 ? target : other, steps % 2 == 0 ? other : target, coverView,
         spareView);
    other.Check();
  }
  return 0;
}
