// Draws the feature movies and compares each with its reference picture: five frames side by side.
// PLEXION_WRITE_REFERENCES=1 in the environment writes them instead; look at what it wrote.
#include <gtest/gtest.h>
#include <png.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>

#include "host/kernel/HostKernel.h"
#include "host/player/render/OffscreenContent.h"
#include "host/player/render/PictureFiles.h"
#include "tests/host/player/LinkedMovies.h"

namespace plexion_host::player {
namespace {

namespace fs = std::filesystem;

constexpr uint32_t kSide = 100;
constexpr uint64_t kFrames[] = {0, 7, 15, 22, 29};
constexpr uint32_t kWidth = kSide * std::size(kFrames);
/// What another processor's arithmetic may change: a little in some pixels of edges.
constexpr int kNear = 8;
constexpr double kMostOff = 0.002;

std::vector<std::string> Movies() {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(PLEXION_MOVIES)) {
    if (entry.path().extension() == ".json") names.push_back(entry.path().stem().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

class FeatureMoviesTest : public ::testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    static HostKernel kernel({"plexion"}, ModuleFiles{});
    LinkMovies(kernel);
    IQXModule_QXModule_PutKernel(&kernel);
  }
};

std::vector<uint32_t> DrawStrip(const std::string& movie) {
  std::vector<uint32_t> strip(size_t{kWidth} * kSide);
  OffscreenContent content;
  EngineError error;
  EXPECT_TRUE(content.Open(movie, "", error)) << error.message;
  std::vector<uint32_t> pixels;
  for (size_t i = 0; i < std::size(kFrames); ++i) {
    // As a window draws: only what changed, into the pixels of the frame before.
    EXPECT_TRUE(content.Draw(kFrames[i], {kSide, kSide}, pixels, i > 0, error)) << error.message;
    if (pixels.size() != size_t{kSide} * kSide) return strip;
    for (uint32_t y = 0; y < kSide; ++y) {
      std::copy_n(pixels.begin() + y * kSide, kSide, strip.begin() + y * kWidth + i * kSide);
    }
  }
  EXPECT_TRUE(content.NotDrawn().empty()) << content.NotDrawn().front();
  PreparePixels(strip, false, 0);
  return strip;
}

bool Near(uint32_t one, uint32_t other) {
  // Colours count as much as they are seen.
  const int alpha = static_cast<int>(one >> 24);
  const int otherAlpha = static_cast<int>(other >> 24);
  if (std::abs(alpha - otherAlpha) > kNear) return false;
  for (const int shift : {16, 8, 0}) {
    const int a = static_cast<int>(one >> shift & 255) * alpha / 255;
    const int b = static_cast<int>(other >> shift & 255) * otherAlpha / 255;
    if (std::abs(a - b) > kNear) return false;
  }
  return true;
}

TEST_P(FeatureMoviesTest, LooksLikeItsReference) {
  const std::string base = std::string(PLEXION_MOVIES) + "/" + GetParam();
  const std::vector<uint32_t> strip = DrawStrip(base + ".json");
  std::string error;
  if (getenv("PLEXION_WRITE_REFERENCES") != nullptr) {
    ASSERT_TRUE(WritePngFile(base + ".png", {kWidth, kSide}, strip, error)) << error;
    return;
  }
  png_image image = {};
  image.version = PNG_IMAGE_VERSION;
  ASSERT_NE(0, png_image_begin_read_from_file(&image, (base + ".png").c_str())) << image.message;
  image.format = PNG_FORMAT_BGRA;
  ASSERT_EQ(kWidth, image.width);
  ASSERT_EQ(kSide, image.height);
  std::vector<uint32_t> reference(strip.size());
  ASSERT_NE(0, png_image_finish_read(&image, nullptr, reference.data(), 0, nullptr));
  size_t off = 0;
  for (size_t i = 0; i < strip.size(); ++i) off += Near(strip[i], reference[i]) ? 0 : 1;
  if (static_cast<double>(off) <= kMostOff * static_cast<double>(strip.size())) return;
  const std::string drawn = (fs::temp_directory_path() / (GetParam() + "-drawn.png")).string();
  WritePngFile(drawn, {kWidth, kSide}, strip, error);
  ADD_FAILURE() << off << " of " << strip.size() << " pixels differ from " << base
                << ".png; what was drawn: " << drawn;
}

INSTANTIATE_TEST_SUITE_P(All, FeatureMoviesTest, ::testing::ValuesIn(Movies()),
                         [](const auto& movie) {
                           std::string name = movie.param;
                           std::replace(name.begin(), name.end(), '-', '_');
                           return name;
                         });

}  // namespace
}  // namespace plexion_host::player
