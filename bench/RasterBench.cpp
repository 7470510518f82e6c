// What the movie raster costs against Cairo's, on the same shapes at 1280x720. The table at the end
// has the ratios of this run.

#include <benchmark/benchmark.h>
#include <cairo.h>

#include <cmath>
#include <cstdio>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "host/player/lottie/compositing/Composite.h"
#include "host/player/lottie/compositing/Effects.h"
#include "host/player/lottie/raster/Fill.h"
#include "host/player/lottie/raster/Stroke.h"

namespace plexion_host::movie {
namespace {

constexpr int kWidth = 1280;
constexpr int kHeight = 720;

/// One surface for both, and a path in both forms.
struct Bench {
  std::vector<uint32_t> pixels = std::vector<uint32_t>(size_t{kWidth} * kHeight, 0xff203040u);
  Surface target{pixels.data(), kWidth, kHeight, kWidth * 4};
  Rasterizer raster;
  Stroker stroker;
  Path outline;
  cairo_surface_t* cairoSurface = cairo_image_surface_create_for_data(
      reinterpret_cast<uint8_t*>(pixels.data()), CAIRO_FORMAT_ARGB32, kWidth, kHeight, kWidth * 4);
  cairo_t* cairo = cairo_create(cairoSurface);

  ~Bench() {
    cairo_destroy(cairo);
    cairo_surface_destroy(cairoSurface);
  }
  void ToCairo(const Path& path) const {
    const Point* p = path.points.data();
    for (const Path::Verb verb : path.verbs) {
      if (verb == Path::kMove) cairo_move_to(cairo, p->x, p->y);
      if (verb == Path::kLine) cairo_line_to(cairo, p->x, p->y);
      if (verb == Path::kCubic) cairo_curve_to(cairo, p->x, p->y, p[1].x, p[1].y, p[2].x, p[2].y);
      if (verb == Path::kClose) cairo_close_path(cairo);
      p += verb == Path::kCubic ? 3 : verb == Path::kClose ? 0 : 1;
    }
  }
};

Paint Solid(float alpha) {
  Paint paint;
  paint.colour = {0.9f, 0.4f, 0.1f, alpha};
  return paint;
}

std::vector<Path> ManySmall() {
  std::mt19937 random(1);
  std::uniform_real_distribution<float> x(0, kWidth);
  std::uniform_real_distribution<float> y(0, kHeight);
  std::uniform_real_distribution<float> radius(2, 14);
  std::vector<Path> paths(500);
  for (Path& path : paths) path.AddEllipse({x(random), y(random)}, radius(random), radius(random));
  return paths;
}

/// Shapes like letters: two bowls and stems, some 20 pixels high, in rows.
std::vector<Path> Glyphs() {
  std::vector<Path> paths;
  for (int i = 0; i < 400; ++i) {
    Path path;
    const auto left = static_cast<float>(20 + i % 50 * 24) + 0.3f;
    const auto top = static_cast<float>(20 + i / 50 * 40) + 0.7f;
    path.AddRect({left, top, left + 2.4f, top + 20});
    path.AddEllipse({left + 8, top + 14}, 6, 6);
    path.AddEllipse({left + 8, top + 14}, 3.8f, 4.2f);
    path.AddRect({left + 13.5f, top + 8, left + 15.6f, top + 20});
    paths.push_back(path);
  }
  return paths;
}

std::vector<Path> Large() {
  std::vector<Path> paths(1);
  paths[0].AddEllipse({640, 360}, 620, 350);
  return paths;
}

std::vector<Path> Star() {
  std::vector<Path> paths(1);
  for (int i = 0; i < 101; ++i) {
    const double angle = i * 2 * M_PI * 50 / 101;
    const auto x = static_cast<float>(640 + 600 * std::cos(angle));
    const auto y = static_cast<float>(360 + 340 * std::sin(angle));
    i == 0 ? paths[0].Move(x, y) : paths[0].Line(x, y);
  }
  paths[0].Close();
  return paths;
}

using MakePaths = std::vector<Path> (*)();

void FillOurs(benchmark::State& state, MakePaths make, float alpha, FillRule rule) {
  Bench bench;
  const std::vector<Path> paths = make();
  const Paint paint = Solid(alpha);
  for (auto _ : state) {
    for (const Path& path : paths) bench.raster.Fill(bench.target, path, Matrix(), rule, paint);
  }
}

void FillCairo(benchmark::State& state, MakePaths make, float alpha, FillRule rule) {
  const Bench bench;
  const std::vector<Path> paths = make();
  cairo_set_source_rgba(bench.cairo, 0.9, 0.4, 0.1, alpha);
  cairo_set_fill_rule(
      bench.cairo, rule == FillRule::kEvenOdd ? CAIRO_FILL_RULE_EVEN_ODD : CAIRO_FILL_RULE_WINDING);
  for (auto _ : state) {
    for (const Path& path : paths) {
      bench.ToCairo(path);
      cairo_fill(bench.cairo);
    }
  }
}

constexpr float kDashes[] = {14, 9};

void StrokeOurs(benchmark::State& state, MakePaths make, float width, bool dashed) {
  Bench bench;
  const std::vector<Path> paths = make();
  StrokeStyle style;
  style.width = width;
  style.cap = LineCap::kRound;
  style.join = LineJoin::kRound;
  style.dashes = kDashes;
  style.dashCount = dashed ? 2 : 0;
  const Paint paint = Solid(1);
  for (auto _ : state) {
    for (const Path& path : paths) {
      bench.stroker.Stroke(path, style, 1, bench.outline);
      bench.raster.Fill(bench.target, bench.outline, Matrix(), FillRule::kNonZero, paint);
    }
  }
}

void StrokeCairo(benchmark::State& state, MakePaths make, float width, bool dashed) {
  const Bench bench;
  const std::vector<Path> paths = make();
  cairo_set_source_rgba(bench.cairo, 0.9, 0.4, 0.1, 1);
  cairo_set_line_width(bench.cairo, width);
  cairo_set_line_cap(bench.cairo, CAIRO_LINE_CAP_ROUND);
  cairo_set_line_join(bench.cairo, CAIRO_LINE_JOIN_ROUND);
  const double dashes[] = {kDashes[0], kDashes[1]};
  if (dashed) cairo_set_dash(bench.cairo, dashes, 2, 0);
  for (auto _ : state) {
    for (const Path& path : paths) {
      bench.ToCairo(path);
      cairo_stroke(bench.cairo);
    }
  }
}

void GradientOurs(benchmark::State& state, Paint::Kind kind) {
  Bench bench;
  Path path;
  path.AddRect({0, 0, kWidth, kHeight});
  const GradientStop stops[] = {{0, {1, 0, 0, 1}}, {0.4f, {0, 1, 0, 1}}, {1, {0, 0, 1, 1}}};
  Paint paint;
  paint.kind = kind;
  paint.stops = stops;
  paint.stopCount = 3;
  paint.start = kind == Paint::kLinear ? Point{100, 50} : Point{640, 360};
  paint.end = {1200, 700};
  paint.focus = {700, 300};
  paint.radius = 600;
  for (auto _ : state) {
    bench.raster.Fill(bench.target, path, Matrix(), FillRule::kNonZero, paint);
  }
}

void GradientCairo(benchmark::State& state, Paint::Kind kind) {
  const Bench bench;
  cairo_pattern_t* const pattern = kind == Paint::kLinear
                                       ? cairo_pattern_create_linear(100, 50, 1200, 700)
                                       : cairo_pattern_create_radial(700, 300, 0, 640, 360, 600);
  cairo_pattern_add_color_stop_rgba(pattern, 0, 1, 0, 0, 1);
  cairo_pattern_add_color_stop_rgba(pattern, 0.4, 0, 1, 0, 1);
  cairo_pattern_add_color_stop_rgba(pattern, 1, 0, 0, 1, 1);
  cairo_set_source(bench.cairo, pattern);
  for (auto _ : state) {
    cairo_rectangle(bench.cairo, 0, 0, kWidth, kHeight);
    cairo_fill(bench.cairo);
  }
  cairo_pattern_destroy(pattern);
}

std::vector<uint32_t> Group() {
  std::vector<uint32_t> pixels(size_t{kWidth} * kHeight);
  for (size_t i = 0; i < pixels.size(); ++i) {
    pixels[i] = i % 3 == 0 ? 0x80402010u : 0xff8090a0u;
  }
  return pixels;
}

void GroupOurs(benchmark::State& state, BlendMode mode) {
  const Bench bench;
  std::vector<uint32_t> group = Group();
  const Surface source{group.data(), kWidth, kHeight, kWidth * 4};
  for (auto _ : state) {
    Composite(bench.target, source, 0, 0, bench.target.Bounds(), 0.5f, mode);
  }
}

void GroupCairo(benchmark::State& state, cairo_operator_t mode) {
  const Bench bench;
  std::vector<uint32_t> group = Group();
  cairo_surface_t* const source = cairo_image_surface_create_for_data(
      reinterpret_cast<uint8_t*>(group.data()), CAIRO_FORMAT_ARGB32, kWidth, kHeight, kWidth * 4);
  cairo_set_source_surface(bench.cairo, source, 0, 0);
  cairo_set_operator(bench.cairo, mode);
  for (auto _ : state) cairo_paint_with_alpha(bench.cairo, 0.5);
  cairo_surface_destroy(source);
}

void PictureOurs(benchmark::State& state, double scale) {
  Bench bench;
  std::vector<uint32_t> group = Group();
  Image image({group.data(), kWidth, kHeight, kWidth * 4});
  for (auto _ : state) {
    bench.raster.Draw(bench.target, image, {scale, 0.1, -0.1, scale, 60.5, 0.25}, 1);
  }
}

void PictureCairo(benchmark::State& state, double scale) {
  const Bench bench;
  std::vector<uint32_t> group = Group();
  cairo_surface_t* const source = cairo_image_surface_create_for_data(
      reinterpret_cast<uint8_t*>(group.data()), CAIRO_FORMAT_ARGB32, kWidth, kHeight, kWidth * 4);
  const cairo_matrix_t matrix{scale, 0.1, -0.1, scale, 60.5, 0.25};
  cairo_set_matrix(bench.cairo, &matrix);
  cairo_set_source_surface(bench.cairo, source, 0, 0);
  for (auto _ : state) cairo_paint(bench.cairo);
  cairo_surface_destroy(source);
}

void BlurOurs(benchmark::State& state) {
  const Bench bench;
  Blur blur;
  const auto sigma = static_cast<float>(state.range(0));
  for (auto _ : state) blur.Run(bench.target, bench.target.Bounds(), sigma, sigma);
}

/// Keeps the time of each measurement, for the table of ratios.
class Ratios : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Aggregate && run.aggregate_name != "median") continue;
      const std::string name = run.benchmark_name();
      const size_t slash = name.find('/');
      if (slash != std::string::npos) {
        times_[name.substr(0, slash)][name.substr(slash + 1, 4)] = run.GetAdjustedCPUTime();
      }
    }
  }
  void Print() const {
    std::printf("\n%-26s %10s %10s %8s\n", "microseconds", "ours", "Cairo", "ratio");
    for (const auto& [name, times] : times_) {
      const auto ours = times.find("ours");
      const auto cairo = times.find("cair");
      if (ours == times.end() || cairo == times.end()) continue;
      std::printf("%-26s %10.1f %10.1f %8.2f\n", name.c_str(), ours->second, cairo->second,
                  ours->second / cairo->second);
    }
  }

 private:
  std::map<std::string, std::map<std::string, double>> times_;
};

template <class... Args>
void Pair(const std::string& name, void (*ours)(benchmark::State&, Args...),
          void (*cairo)(benchmark::State&, Args...), Args... args) {
  benchmark::RegisterBenchmark((name + "/ours").c_str(), ours, args...)
      ->Unit(benchmark::kMicrosecond);
  benchmark::RegisterBenchmark((name + "/cairo").c_str(), cairo, args...)
      ->Unit(benchmark::kMicrosecond);
}

void RegisterAll() {
  Pair("500 small ellipses", FillOurs, FillCairo, &ManySmall, 1.0f, FillRule::kNonZero);
  Pair("400 glyphs", FillOurs, FillCairo, &Glyphs, 1.0f, FillRule::kEvenOdd);
  Pair("large ellipse", FillOurs, FillCairo, &Large, 1.0f, FillRule::kNonZero);
  Pair("large ellipse, half", FillOurs, FillCairo, &Large, 0.5f, FillRule::kNonZero);
  Pair("star of 101 points", FillOurs, FillCairo, &Star, 1.0f, FillRule::kEvenOdd);
  Pair("500 strokes of 2", StrokeOurs, StrokeCairo, &ManySmall, 2.0f, false);
  Pair("stroke of 24", StrokeOurs, StrokeCairo, &Large, 24.0f, false);
  Pair("dashes", StrokeOurs, StrokeCairo, &Large, 4.0f, true);
  Pair("linear gradient", GradientOurs, GradientCairo, Paint::kLinear);
  Pair("radial gradient", GradientOurs, GradientCairo, Paint::kRadial);
  Pair("picture, enlarged", PictureOurs, PictureCairo, 1.3);
  Pair("picture, at 0.3", PictureOurs, PictureCairo, 0.3);
  const auto group = [](const std::string& name, BlendMode mode, cairo_operator_t other) {
    benchmark::RegisterBenchmark((name + "/ours").c_str(), GroupOurs, mode)
        ->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark((name + "/cairo").c_str(), GroupCairo, other)
        ->Unit(benchmark::kMicrosecond);
  };
  group("group at half", BlendMode::kNormal, CAIRO_OPERATOR_OVER);
  group("multiply", BlendMode::kMultiply, CAIRO_OPERATOR_MULTIPLY);
  group("soft light", BlendMode::kSoftLight, CAIRO_OPERATOR_SOFT_LIGHT);
  group("luminosity", BlendMode::kLuminosity, CAIRO_OPERATOR_HSL_LUMINOSITY);
  benchmark::RegisterBenchmark("blur", BlurOurs)
      ->Arg(1)
      ->Arg(8)
      ->Arg(40)
      ->Unit(benchmark::kMicrosecond);
}

}  // namespace
}  // namespace plexion_host::movie

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  plexion_host::movie::RegisterAll();
  plexion_host::movie::Ratios reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.Print();
  return 0;
}
