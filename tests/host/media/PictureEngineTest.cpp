// Pictures without the media framework: turned, of inks, scaled, and decoded again when they have to be.

#include <gmock/gmock.h>

#include <numeric>

#include "host/player/image/JpegTurn.h"
#include "host/player/picture/PictureEngine.h"
#include "tests/host/media/MediaClips.h"
#include "tests/host/media/PictureBuilders.h"
#include "tests/host/player/PlainHost.h"
#include "tests/host/player/PlayerFixture.h"

namespace plexion_host::player {
namespace {

using namespace std::string_literals;  // NOLINT(google-build-using-namespace): texts with zeros
using qx::plexion::Dims;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

/// A plane without padding.
struct Canvas {
  explicit Canvas(Dims size) : dims(size), pixels(size_t{size.width} * size.height, 0x12345678) {}
  DrawTarget Target(bool everything = true) {
    return {pixels.data(), dims.width * 4, dims, 255, everything};
  }
  uint32_t At(uint32_t x, uint32_t y) const { return pixels[y * dims.width + x]; }

  Dims dims;
  std::vector<uint32_t> pixels;
};

/// An Exif segment that says how the camera was held, and other things around it.
std::string Exif(char order, char orientation) {
  const auto number = [order](unsigned value, unsigned bytes) {
    std::string text;
    for (unsigned i = 0; i < bytes; ++i) {
      const unsigned shift = 8 * (order == 'I' ? i : bytes - 1 - i);
      text += static_cast<char>(value >> shift & 255);
    }
    return text;
  };
  const std::string entry = number(3, 2) + number(1, 4);
  const std::string tiff = std::string(2, order) + number(42, 2) + number(10, 4) + "xx" +
                           number(2, 2) + number(0x0100, 2) + entry + number(64, 2) + "\0\0"s +
                           number(0x0112, 2) + entry + number(orientation, 2) + "\0\0"s;
  const std::string body = "Exif\0\0"s + tiff;
  const size_t length = body.size() + 2;
  return "\xFF\xE1"s + static_cast<char>(length >> 8) + static_cast<char>(length & 255) + body;
}

JpegTurn TurnOf(const std::string& bytes) {
  return JpegTurnOf(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
}

TEST(JpegTurnTest, PixelsComeToStandAsTheCameraSays) {
  // As the file has them: 1 2 3 above 4 5 6.
  const uint32_t own[] = {1, 2, 3, 4, 5, 6};
  const std::vector<std::vector<uint32_t>> upright = {
      {1, 2, 3, 4, 5, 6}, {3, 2, 1, 6, 5, 4}, {6, 5, 4, 3, 2, 1}, {4, 5, 6, 1, 2, 3},
      {1, 4, 2, 5, 3, 6}, {4, 1, 5, 2, 6, 3}, {6, 3, 5, 2, 4, 1}, {3, 6, 2, 5, 1, 4}};
  for (char order : {'I', 'M'}) {
    for (char orientation = 1; orientation <= 8; ++orientation) {
      SCOPED_TRACE(static_cast<int>(orientation));
      const JpegTurn turn =
          TurnOf("\xFF\xD8\xFF\xE0\0\x04xx\xFF"s + Exif(order, orientation) + "\xFF\xDA"s);
      uint32_t turned[6] = {};
      turn.Apply(own, {3, 2}, turned);
      EXPECT_EQ(upright[orientation - 1], std::vector<uint32_t>(turned, turned + 6));
      EXPECT_EQ(turn.SwapsSides(), orientation >= 5);
    }
  }
}

TEST(JpegTurnTest, WhatMakesNoSenseIsNotTurned) {
  const std::string whole = "\xFF\xD8"s + Exif('M', 6);
  ASSERT_FALSE(TurnOf(whole).IsNone());
  // The last two bytes are the value's padding.
  for (size_t size = 0; size < whole.size() - 2; ++size) {
    EXPECT_TRUE(TurnOf(whole.substr(0, size)).IsNone()) << size;
  }
  EXPECT_TRUE(TurnOf("\xFF\xD8"s + Exif('M', 9)).IsNone());
  EXPECT_TRUE(TurnOf("\xFF\xD8\xFF\xDA\0\x02"s + Exif('M', 6)).IsNone()) << "behind the pixels";
  std::string far = whole;
  far.replace(far.find("MM") + 4, 4, "\xFF\xFF\xFF\xF0");
  EXPECT_TRUE(TurnOf(far).IsNone());
}

class PictureEngineTest : public ::testing::Test {
 protected:
  PictureEngineTest() { TestKernel(); }

  bool Load(const std::string& bytes) {
    engine_ = std::make_unique<PictureEngine>(host_);
    return engine_->Load({clips_.Write("picture", bytes), "", "picture"}, facts_, error_);
  }

  MediaClips clips_;
  PlainHost host_;
  std::unique_ptr<PictureEngine> engine_;
  ContentFacts facts_;
  EngineError error_;
};

TEST_F(PictureEngineTest, AJpegPictureIsShownTurnedAndAsFarAsItGoes) {
  std::string jpeg = MediaClips::Read(
      clips_.Make("ball.jpg",
                  "videotestsrc num-buffers=1 pattern=white ! video/x-raw,format=I420,width=320,"
                  "height=240 ! jpegenc ! filesink location=%"));
  jpeg.insert(2, Exif('I', 6));
  ASSERT_TRUE(Load(jpeg)) << error_.message;
  EXPECT_EQ(240u, facts_.stageDims.width);
  EXPECT_EQ(320u, facts_.stageDims.height);
  Canvas canvas({240, 320});
  EXPECT_TRUE(engine_->Draw(canvas.Target()).drawn);
  EXPECT_THAT(canvas.pixels, Each(0xFFEBEBEBu));
  // The rows that are there; turned, they are at the right.
  ASSERT_TRUE(Load(jpeg.substr(0, jpeg.size() - 200))) << error_.message;
  EXPECT_TRUE(engine_->Draw(canvas.Target()).drawn);
  EXPECT_EQ(0xFFEBEBEBu, canvas.At(239, 160));
  EXPECT_FALSE(Load(jpeg.substr(0, 20)));
  EXPECT_EQ(qx::plexion::kErrorCorruptMovie, error_.status);
  EXPECT_THAT(error_.message, HasSubstr("JPEG"));
}

TEST_F(PictureEngineTest, WhatWasDrawnGivesItsPixelsBackAndIsDecodedAgain) {
  const Dims dims = {100, 50};
  LimitedMemory memory(1 << 20);
  host_.memory = &memory;
  const std::string gif = BuildGif(dims, {{0, 0, PictureRows(50, std::string(100, 'r'))}});
  ASSERT_TRUE(Load(gif)) << error_.message;
  const unsigned long pixels = dims.width * dims.height * 4;
  EXPECT_GT(memory.GetBytesUsed(), pixels);
  for (const Dims& plane : {dims, Dims{40, 20}, dims}) {
    Canvas canvas(plane);
    EXPECT_TRUE(engine_->Draw(canvas.Target()).drawn);
    EXPECT_THAT(canvas.pixels, Each(0xFFFF0000u));
    EXPECT_LT(memory.GetBytesUsed(), pixels);
  }
  engine_.reset();
}

TEST_F(PictureEngineTest, SmallPicturesShowAllPixelsOfLargeOnes) {
  // Rows and columns one pixel wide: whatever left some of them out would be black, or white.
  std::vector<std::string> rows;
  for (int y = 0; y < 240; ++y) rows.push_back(std::string(y % 2 == 0 ? 480 : 0, 'w'));
  for (std::string& row : rows) row.resize(480, 'k');
  ASSERT_TRUE(Load(BuildApng({480, 240}, {{0, 0, rows}}))) << error_.message;
  for (const Dims& plane : {Dims{120, 60}, Dims{60, 30}, Dims{100, 50}, Dims{31, 16}}) {
    SCOPED_TRACE(plane.width);
    Canvas canvas(plane);
    EXPECT_TRUE(engine_->Draw(canvas.Target()).drawn);
    for (uint32_t y = 1; y + 1 < plane.height; ++y) {
      const uint32_t grey = canvas.At(plane.width / 2, y) & 0xFF;
      EXPECT_NEAR(grey, 0x80, 0x28) << "row " << y;
    }
  }
}

TEST_F(PictureEngineTest, OfWhatReachesOutThePartThatIsSeenIsTheSame) {
  std::vector<uint32_t> picture(64 * 64);
  std::iota(picture.begin(), picture.end(), 0xFF000000u);
  for (const bool opaque : {true, false}) {
    PicturePainter covering(nullptr);
    covering.SetFit(Fit::kCover);
    Canvas cut({128, 48});
    covering.Draw({picture.data(), {64, 64}, opaque}, {64, 64}, cut.Target());
    PicturePainter stretching(nullptr);
    stretching.SetFit(Fit::kStretch);
    Canvas whole({128, 128});
    stretching.Draw({picture.data(), {64, 64}, opaque}, {64, 64}, whole.Target());
    for (uint32_t y = 0; y < 48; ++y) {
      for (uint32_t x = 0; x < 128; ++x) {
        const auto blue = [&](const Canvas& canvas, uint32_t row) {
          return static_cast<int>(canvas.At(x, row) & 0xFF);
        };
        ASSERT_EQ(blue(whole, y + 40), blue(cut, y)) << x << "," << y;
      }
    }
  }
}

/// The largest and the mean difference of a channel between `shown` and `whole`, of whose pixels as many
/// as become one are averaged.
std::pair<int, double> DifferenceFromAverage(const Canvas& shown, const Canvas& whole) {
  const uint32_t across = whole.dims.width / shown.dims.width;
  const uint32_t down = whole.dims.height / shown.dims.height;
  int largest = 0;
  double sum = 0;
  for (uint32_t y = 0; y < shown.dims.height; ++y) {
    for (uint32_t x = 0; x < shown.dims.width; ++x) {
      for (int shift = 0; shift <= 24; shift += 8) {
        uint32_t all = 0;
        for (uint32_t i = 0; i < across * down; ++i) {
          all += whole.At(x * across + i % across, y * down + i / across) >> shift & 0xFF;
        }
        const int differs = abs(static_cast<int>(all / (across * down)) -
                                static_cast<int>(shown.At(x, y) >> shift & 0xFF));
        largest = std::max(largest, differs);
        sum += differs;
      }
    }
  }
  return {largest, sum / static_cast<double>(shown.pixels.size() * 4)};
}

TEST_F(PictureEngineTest, StillPicturesAreDecodedAtTheSizeThatIsShown) {
  std::vector<std::string> rows;
  for (int y = 0; y < 480; ++y) {
    std::string row;
    for (int x = 0; x < 640; ++x) row += "rgbwk"[(x / 40 + y / 48) % 5];
    rows.push_back(row);
  }
  const std::string webp = BuildWebp({640, 480}, {{0, 0, rows}});
  const std::string png =
      MediaClips::Read(clips_.Make("bars.png",
                                   "videotestsrc num-buffers=1 ! video/x-raw,format=RGB,width=640,"
                                   "height=480 ! pngenc ! filesink location=%"));
  const std::string jpeg =
      MediaClips::Read(clips_.Make("bars.jpg",
                                   "videotestsrc num-buffers=1 ! video/x-raw,format=I420,width=640,"
                                   "height=480 ! jpegenc ! filesink location=%"));
  LimitedMemory memory(size_t{640} * 480 * 4 + 300000);
  host_.memory = &memory;
  for (const std::string& bytes : {png, jpeg, webp}) {
    ASSERT_TRUE(Load(bytes)) << error_.message;
    EXPECT_LT(memory.GetBytesUsed(), bytes.size() + 100000) << "no pixels yet";
    Canvas whole({640, 480});
    EXPECT_TRUE(engine_->Draw(whole.Target()).drawn);
    for (const uint32_t part : {1, 2, 4, 5, 8, 16}) {
      SCOPED_TRACE(part);
      Canvas shown({640 / part, 480 / part});
      EXPECT_TRUE(engine_->Draw(shown.Target()).drawn);
      const auto [largest, mean] = DifferenceFromAverage(shown, whole);
      EXPECT_LT(mean, part == 1 ? 0.01 : 7);
      EXPECT_LE(largest, part == 1 ? 0 : 140) << "at an edge that a filter reaches over";
    }
    // Larger, cut and with bars: as the scaler has it.
    Canvas larger({1400, 960});
    EXPECT_TRUE(engine_->Draw(larger.Target()).drawn);
    EXPECT_EQ(0xFF000000u, larger.At(0, 0));
    EXPECT_EQ(whole.At(330, 310), larger.At(60 + 660, 620));
    engine_.reset();
    EXPECT_LE(memory.Peak(), size_t{640} * 480 * 4 + bytes.size() + 150000);
  }
}

TEST_F(PictureEngineTest, APhotographNeedsNoMoreMemoryThanItsShownSize) {
  const std::string jpeg = MediaClips::Read(
      clips_.Make("large.jpg",
                  "videotestsrc num-buffers=1 pattern=white ! video/x-raw,format=I420,"
                  "width=3200,height=2400 ! jpegenc ! filesink location=%"));
  LimitedMemory memory(jpeg.size() + (1 << 20));
  host_.memory = &memory;
  ASSERT_TRUE(Load(jpeg)) << error_.message;
  Canvas canvas({390, 293});
  EXPECT_TRUE(engine_->Draw(canvas.Target()).drawn);
  EXPECT_THAT(canvas.pixels, Each(0xFFEBEBEBu));
  Canvas whole({3000, 2250});
  EXPECT_THAT(engine_->Draw(whole.Target()).failure, HasSubstr("no memory"));
  engine_.reset();
}

TEST_F(PictureEngineTest, WhatIsMissingOfAStillPictureIsBackground) {
  const std::string png = MediaClips::Read(
      clips_.Make("snow.png",
                  "videotestsrc num-buffers=1 pattern=snow ! video/x-raw,format=RGB,"
                  "width=320,height=240 ! pngenc ! filesink location=%"));
  for (const Dims& plane : {Dims{320, 240}, Dims{160, 120}}) {
    ASSERT_TRUE(Load(png.substr(0, png.size() / 2))) << error_.message;
    Canvas canvas(plane);
    EXPECT_TRUE(engine_->Draw(canvas.Target()).drawn);
    EXPECT_EQ(0xFF000000u, canvas.pixels.back());
    EXPECT_NE(0xFF000000u, canvas.At(plane.width / 2, plane.height / 4));
  }
}

TEST_F(PictureEngineTest, LyingPicturesAreRefusedBeforeTheyAreDecoded) {
  const std::string header =
      "\xFF\xD8\xFF\xC0\0\x11\x08\xFD\xE8\xFD\xE8\x03\x01\x22\0\x02\x11\x01\x03\x11\x01"s;
  EXPECT_FALSE(Load(header + "\xFF\xDA\0\x0C\x03\x01\0\x02\x11\x03\x11\0\x3F\0"s));
  EXPECT_THAT(error_.message, HasSubstr("4225000000 pixels"));
  EXPECT_FALSE(Load("RIFX....WEBP"));
  EXPECT_THAT(error_.message, HasSubstr("expected PNG, JPEG"));
}

}  // namespace
}  // namespace plexion_host::player
