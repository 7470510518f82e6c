// Pictures of the screen in files.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <png.h>
#include <sys/resource.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <random>

#include "host/graphics/Display.h"
#include "host/graphics/GraphicsDriver.h"
#include "host/graphics/pixels/PngFile.h"

namespace plexion_host {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

class SnapshotTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "plexion-png-XXXXXX").string();
    ASSERT_NE(nullptr, mkdtemp(pattern.data()));
    root_ = pattern;
  }
  void TearDown() override { fs::remove_all(root_); }

  static std::vector<uint32_t> ReadPng(const std::string& path, uint32_t& width, uint32_t& height) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    std::vector<uint32_t> pixels;
    if (png_image_begin_read_from_file(&image, path.c_str()) == 0) return pixels;
    image.format = PNG_FORMAT_BGRA;
    width = image.width;
    height = image.height;
    pixels.resize(size_t{width} * height);
    png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr);
    return pixels;
  }
  size_t FilesThere() const {
    return static_cast<size_t>(std::distance(fs::directory_iterator(root_), {}));
  }

  std::string root_;
};

TEST_F(SnapshotTest, HoldsTheComposedScreenPixelForPixel) {
  const auto screen = std::make_shared<Screen>(qx::plexion::Dims{31, 17});
  GraphicsDriver driver(screen);
  Display display(screen, nullptr);
  auto* plane = driver.CreateOutputPlane({3, 4, 20, 9}, false, nullptr, nullptr, "");
  auto* pixels = static_cast<uint32_t*>(plane->LockPixels(false));
  for (uint32_t i = 0; i < 180; ++i) pixels[i] = 0xff000000u | i * 71723u;
  plane->UnlockPixels();
  plane->ShowRegion({0, 0, 20, 9});
  std::string error;
  ASSERT_TRUE(display.SaveSnapshot(root_ + "/a.png", error)) << error;
  qx::plexion::Dims dims{};
  std::vector<uint32_t> expected;
  display.CopyScreen(dims, expected);
  uint32_t width = 0;
  uint32_t height = 0;
  EXPECT_EQ(expected, ReadPng(root_ + "/a.png", width, height));
  EXPECT_EQ(31u, width);
  EXPECT_EQ(17u, height);
  EXPECT_EQ(0xff000000u | 71723u, expected[4 * 31 + 4]);
  EXPECT_EQ(1u, FilesThere()) << "nothing but the picture is left";
  driver.DestroyOutputPlane(plane);
}

TEST_F(SnapshotTest, NamesThePathAndTheReasonAndLeavesNothingBehind) {
  std::ofstream(root_ + "/file") << "kept";
  fs::create_directory(root_ + "/folder");
  ASSERT_EQ(0, mkfifo((root_ + "/fifo").c_str(), 0600));
  ASSERT_EQ(0, symlink("/dev/null", (root_ + "/null").c_str()));
  const std::pair<std::string, std::string> cases[] = {
      {root_ + "/fifo", "it is no regular file; expected the name of a file"},
      {root_ + "/null", "it is no regular file; expected the name of a file"},
      {root_ + "/missing/a.png", "No such file or directory"},
      {root_ + "/file/a.png", "Not a directory"},
      {root_ + "/folder", "it is a directory; expected the name of a file"},
      {"", "expected the name of a PNG file"},
      {"/proc/a.png", "No such file or directory"},
  };
  const std::vector<uint32_t> pixels(4, 0xffffffffu);
  for (const auto& [path, reason] : cases) {
    std::string error;
    EXPECT_FALSE(WritePng(path, {2, 2}, pixels, error)) << path;
    EXPECT_THAT(error, HasSubstr("cannot write '" + path + "': "));
    EXPECT_THAT(error, HasSubstr(reason));
  }
  EXPECT_EQ(4u, FilesThere());
}

TEST_F(SnapshotTest, APictureThatDoesNotFitLeavesTheOldOneInPlace) {
  std::ofstream(root_ + "/a.png") << "old picture";
  std::vector<uint32_t> pixels(size_t{300} * 300);
  std::mt19937 random(1);
  for (uint32_t& pixel : pixels) pixel = static_cast<uint32_t>(random());
  // A limit on the size of files stands in for a full disk.
  rlimit before{};
  ASSERT_EQ(0, getrlimit(RLIMIT_FSIZE, &before));
  rlimit small = before;
  small.rlim_cur = 20000;
  const auto handler = signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &small));
  std::string error;
  const bool written = WritePng(root_ + "/a.png", {300, 300}, pixels, error);
  ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &before));
  signal(SIGXFSZ, handler);
  EXPECT_FALSE(written);
  EXPECT_EQ("cannot write '" + root_ + "/a.png': File too large", error);
  EXPECT_EQ(11u, fs::file_size(root_ + "/a.png"));
  EXPECT_EQ(1u, FilesThere());
}

}  // namespace
}  // namespace plexion_host
