#include <gtest/gtest.h>
#include <png.h>
#include <stdlib.h>
#include <webp/demux.h>

#include <filesystem>
#include <fstream>

#include "host/kernel/HostKernel.h"
#include "host/player/render/ContentRenderer.h"
#include "tests/host/player/LinkedMovies.h"

namespace plexion_host::player {
namespace {

/// Half of the stage is red, and the right half of that is half transparent from frame 5 on.
constexpr char kMovie[] = R"({"v":"5.5.0","fr":10,"ip":0,"op":10,"w":40,"h":20,"layers":[
  {"ty":1,"ip":0,"op":10,"st":0,"sr":1,"ind":1,"sw":20,"sh":20,"sc":"#ff0000",
   "ks":{"o":{"a":1,"k":[{"t":0,"s":[100],"h":1},{"t":5,"s":[50],"h":1}]},
         "r":{"a":0,"k":0},"p":{"a":0,"k":[0,0,0]},"a":{"a":0,"k":[0,0,0]},
         "s":{"a":0,"k":[100,100,100]}}}]})";

class RenderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    static HostKernel kernel({"plexion"}, ModuleFiles{});
    LinkMovies(kernel);
    IQXModule_QXModule_PutKernel(&kernel);
    char name[] = "/tmp/plexion-render-XXXXXX";
    folder_ = mkdtemp(name);
    request_.content = folder_ + "/movie.mvx";
    request_.out = folder_ + "/out";
    Write("movie.mvx", kMovie);
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  void Write(const std::string& name, const std::string& text) const {
    std::ofstream(folder_ + "/" + name) << text;
  }
  RenderOutcome Render() {
    error_.clear();
    ContentRenderer renderer;
    return renderer.Render(request_, error_);
  }
  /// 0xAARRGGBB in the middle of the left and of the right half.
  static std::pair<uint32_t, uint32_t> Halves(const std::string& path, unsigned& width) {
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&image, path.c_str()) == 0) return {};
    image.format = PNG_FORMAT_BGRA;
    width = image.width;
    std::vector<uint32_t> pixels(size_t{image.width} * image.height);
    png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr);
    const size_t row = size_t{image.height} / 2 * image.width;
    return {pixels[row + image.width / 4], pixels[row + image.width * 3 / 4]};
  }

  std::string folder_;
  RenderRequest request_;
  std::string error_;
};

TEST_F(RenderTest, WritesExactFramesWithTheirTransparency) {
  request_.frames = {{0, 0}, {4, 5}};
  ASSERT_EQ(RenderOutcome::kDone, Render()) << error_;
  unsigned width = 0;
  EXPECT_EQ((std::pair<uint32_t, uint32_t>(0xffff0000, 0)),
            Halves(request_.out + "/frame-4.png", width));
  EXPECT_EQ(40u, width);
  const auto [left, right] = Halves(request_.out + "/frame-5.png", width);
  EXPECT_NEAR(0x80, left >> 24, 1);
  EXPECT_EQ(0xff0000u, left & 0xffffff) << "files have colours that are not multiplied by alpha";
  EXPECT_EQ(0u, right);
  EXPECT_FALSE(std::filesystem::exists(request_.out + "/frame-1.png"));
}

TEST_F(RenderTest, LaysABackgroundUnderAnotherSize) {
  request_.frames = {{7, 7}};
  request_.out = folder_ + "/one.png";
  request_.width = 80;
  request_.height = 40;
  request_.hasBackground = true;
  request_.background = 0x0000ff;
  ASSERT_EQ(RenderOutcome::kDone, Render()) << error_;
  unsigned width = 0;
  const auto [left, right] = Halves(request_.out, width);
  EXPECT_EQ(80u, width);
  EXPECT_NEAR(0x80, left >> 16 & 0xff, 1);
  EXPECT_NEAR(0x7f, left & 0xff, 1);
  EXPECT_EQ(0xff0000ffu, right);
}

TEST_F(RenderTest, AnAnimatedPictureHasTheContentsTimes) {
  request_.every = 2;
  request_.out = folder_ + "/all.webp";
  ASSERT_EQ(RenderOutcome::kDone, Render()) << error_;
  std::ifstream file(request_.out, std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  const WebPData data = {reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()};
  WebPAnimDecoder* const decoder = WebPAnimDecoderNew(&data, nullptr);
  ASSERT_NE(nullptr, decoder);
  uint8_t* pixels = nullptr;
  int end = 0;
  std::vector<int> ends;
  while (WebPAnimDecoderHasMoreFrames(decoder) != 0) {
    WebPAnimDecoderGetNext(decoder, &pixels, &end);
    ends.push_back(end);
  }
  WebPAnimDecoderDelete(decoder);
  EXPECT_EQ((std::vector<int>{600, 1000}), ends) << "frames that are alike become one";
}

TEST_F(RenderTest, WrongRequestsLeaveNothingBehind) {
  const std::string movie = request_.content;
  request_.frames = {{10, 10}};
  EXPECT_EQ(RenderOutcome::kWrongRequest, Render());
  EXPECT_EQ(movie + ": it has no frame 10; expected 0 to 9", error_);

  request_.frames = {{0, 1}};
  request_.out = folder_ + "/two.png";
  EXPECT_EQ(RenderOutcome::kCannotWrite, Render());
  EXPECT_NE(std::string::npos, error_.find("is one picture, and 2 frames")) << error_;

  request_.out = folder_ + "/movie.mvx/x";
  EXPECT_EQ(RenderOutcome::kCannotWrite, Render());
  EXPECT_NE(std::string::npos, error_.find("cannot make the folder")) << error_;

  request_.content = "http://127.0.0.1/a.mvx";
  EXPECT_EQ(RenderOutcome::kContentError, Render());
  request_.content = folder_ + "/cut.mvx";
  Write("cut.mvx", "{\"v\":");
  EXPECT_EQ(RenderOutcome::kContentError, Render());
  EXPECT_EQ(0u, error_.find(request_.content + ": ")) << error_;
  EXPECT_EQ(2, std::distance(std::filesystem::directory_iterator(folder_), {}));
}

}  // namespace
}  // namespace plexion_host::player
