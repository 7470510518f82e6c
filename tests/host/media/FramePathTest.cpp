// What a decoded frame goes through on its way to the plane, and what is set up around it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "host/player/media/pipeline/DecoderThreads.h"
#include "host/player/media/pixels/YuvConversion.h"
#include "host/player/media/pixels/YuvRows.h"
#include "host/player/media/sound/SoundOutput.h"
#include "tests/host/media/MediaFixture.h"

namespace plexion_host::player {
namespace {

struct Colour {
  double red, green, blue;  // 0 to 1
};

/// A frame of one colour, or of columns of different ones.
class TestFrame {
 public:
  TestFrame(GstVideoFormat format, const char* colorimetry, Dims dims) {
    gst_video_info_set_format(&frame_.info, format, dims.width, dims.height);
    gst_video_colorimetry_from_string(&frame_.info.colorimetry, colorimetry);
    memory_.resize(frame_.info.size);
    for (guint i = 0; i < GST_VIDEO_INFO_N_PLANES(&frame_.info); ++i) {
      frame_.data[i] = memory_.data() + GST_VIDEO_INFO_PLANE_OFFSET(&frame_.info, i);
    }
  }

  /// By the definition of the matrices (ITU-R BT.601, BT.709, BT.2020).
  void Fill(const Colour& colour) {
    double kr = 0;
    double kb = 0;
    ASSERT_TRUE(gst_video_color_matrix_get_Kr_Kb(frame_.info.colorimetry.matrix, &kr, &kb));
    const double y = kr * colour.red + (1 - kr - kb) * colour.green + kb * colour.blue;
    const double values[] = {y, (colour.blue - y) / (2 - 2 * kb), (colour.red - y) / (2 - 2 * kr)};
    const bool full = frame_.info.colorimetry.range == GST_VIDEO_COLOR_RANGE_0_255;
    for (int component = 0; component < 3; ++component) {
      const double scale = full ? 255 : component == 0 ? 219 : 224;
      const double offset = component > 0 ? 128 : full ? 0 : 16;
      const double value = offset + scale * values[component];
      Plane(component, static_cast<int>(std::lround(std::min(value, 255.0))));
    }
  }

  /// One sample of a component.
  void Set(int component, int x, int y, int value) {
    static_cast<uint8_t*>(GST_VIDEO_FRAME_COMP_DATA(
        &frame_, component))[y * GST_VIDEO_FRAME_COMP_STRIDE(&frame_, component) + x] =
        static_cast<uint8_t>(value);
  }

  const GstVideoFrame& Get() const { return frame_; }
  GstVideoInfo& Info() { return frame_.info; }

 private:
  void Plane(int component, int value) {
    const int step = GST_VIDEO_FRAME_COMP_PSTRIDE(&frame_, component);
    for (int y = 0; y < GST_VIDEO_FRAME_COMP_HEIGHT(&frame_, component); ++y) {
      auto* row = static_cast<uint8_t*>(GST_VIDEO_FRAME_COMP_DATA(&frame_, component)) +
                  size_t(y) * size_t(GST_VIDEO_FRAME_COMP_STRIDE(&frame_, component));
      for (int x = 0; x < GST_VIDEO_FRAME_COMP_WIDTH(&frame_, component); ++x) {
        row[x * step] = static_cast<uint8_t>(value);
      }
    }
  }

  GstVideoFrame frame_ = {};
  std::vector<uint8_t> memory_;
};

/// All of a frame, scaled to `dims`.
FrameCut Whole(const Dims& own, const Dims& dims) {
  const StageFit fit = StageFit::Of(own.width, own.height, dims, Fit::kStretch);
  return FrameCut::Of(own, fit, fit.Visible(dims));
}

int FarthestChannel(uint32_t pixel, const Colour& colour) {
  int farthest = std::abs(static_cast<int>(pixel >> 24) - 255);
  const double wanted[] = {colour.blue, colour.green, colour.red};
  for (int i = 0; i < 3; ++i) {
    const int value = static_cast<int>(pixel >> (8 * i) & 0xFF);
    farthest = std::max(farthest, std::abs(value - static_cast<int>(std::lround(wanted[i] * 255))));
  }
  return farthest;
}

TEST(YuvConversionTest, GivesTheColoursOfEveryKindOfFrameInEverySize) {
  constexpr GstVideoFormat kFormats[] = {GST_VIDEO_FORMAT_I420, GST_VIDEO_FORMAT_YV12,
                                         GST_VIDEO_FORMAT_Y42B, GST_VIDEO_FORMAT_NV12};
  constexpr const char* kColorimetries[] = {"bt601",   "bt709",   "bt2020",
                                            "1:4:0:0", "1:3:0:0", "1:6:0:0"};
  constexpr Colour kColours[] = {
      {0, 0, 0}, {1, 1, 1}, {0.8, 0.1, 0.2}, {0.1, 0.7, 0.3}, {0.2, 0.3, 0.9}};
  constexpr Dims kOwn = {63, 35};
  for (const GstVideoFormat format : kFormats) {
    for (const char* colorimetry : kColorimetries) {
      TestFrame frame(format, colorimetry, kOwn);
      YuvConversion conversion(nullptr);
      for (const Dims dims : {kOwn, Dims{20, 11}, Dims{129, 70}, Dims{64, 2}}) {
        for (const Colour& colour : kColours) {
          frame.Fill(colour);
          // A pixel beside the rows must stay as it is.
          const uint32_t pitch = (dims.width + 1) * 4;
          std::vector<uint32_t> pixels(size_t{dims.width + 1} * dims.height, 0x01020304u);
          ASSERT_TRUE(conversion.Paint(frame.Get(), Whole(kOwn, dims), pixels.data(), pitch))
              << gst_video_format_to_string(format) << " " << colorimetry;
          int farthest = 0;
          for (uint32_t y = 0; y < dims.height; ++y) {
            const uint32_t* row = &pixels[size_t{y} * (dims.width + 1)];
            for (uint32_t x = 0; x < dims.width; ++x) {
              farthest = std::max(farthest, FarthestChannel(row[x], colour));
            }
            ASSERT_EQ(0x01020304u, row[dims.width]);
          }
          // Scaling rounds each plane, and chroma counts double.
          const bool scaled = dims.width != kOwn.width;
          EXPECT_LE(farthest, scaled ? 6 : 2)
              << gst_video_format_to_string(format) << " " << colorimetry << " " << dims.width
              << "x" << dims.height << " colour " << &colour - kColours;
        }
      }
    }
  }
}

TEST(YuvConversionTest, RepeatsChromaAndKeepsItsPlace) {
  // A red square of 2x2 in the middle of grey, on even places.
  TestFrame frame(GST_VIDEO_FORMAT_I420, "bt709", {8, 8});
  frame.Fill({0.5, 0.5, 0.5});
  frame.Set(2, 1, 2, 240);
  uint32_t pixels[64] = {};
  YuvConversion conversion(nullptr);
  ASSERT_TRUE(conversion.Paint(frame.Get(), Whole({8, 8}, {8, 8}), pixels, 8 * 4));
  for (int y = 0; y < 8; ++y) {
    for (int x = 0; x < 8; ++x) {
      const bool red = (pixels[y * 8 + x] >> 16 & 0xFF) > 200;
      EXPECT_EQ(x / 2 == 1 && y / 2 == 2, red) << x << "," << y;
    }
  }
}

TEST(YuvConversionTest, CutsWhatReachesOutOfThePlane) {
  // Brighter to the right and below, so that a place tells itself apart from its neighbours.
  constexpr Dims kOwn = {128, 96};
  constexpr auto kLuma = [](double x, double y) { return 20 + x + y / 2; };
  for (const GstVideoFormat format : {GST_VIDEO_FORMAT_I420, GST_VIDEO_FORMAT_NV12}) {
    TestFrame frame(format, "1:3:0:0", kOwn);
    frame.Fill({0.5, 0.5, 0.5});
    for (int y = 0; y < 96; ++y) {
      for (int x = 0; x < 128; ++x) frame.Set(0, x, y, static_cast<int>(kLuma(x, y)));
    }
    for (const Dims plane :
         {Dims{64, 96}, Dims{128, 40}, Dims{300, 500}, Dims{31, 11}, Dims{7, 301}}) {
      for (const Fit how : {Fit::kCover, Fit::kNone}) {
        const StageFit fit = StageFit::Of(kOwn.width, kOwn.height, plane, how);
        const FrameCut cut = FrameCut::Of(kOwn, fit, fit.Visible(plane));
        const uint32_t width = cut.seen.width;
        std::vector<uint32_t> pixels(size_t{width} * cut.seen.height);
        YuvConversion conversion(nullptr);
        ASSERT_TRUE(conversion.Paint(frame.Get(), cut, pixels.data(), width * 4));
        const qx::plexion::Rect seen = fit.Visible(plane);
        double farthest = 0;
        for (uint32_t y = 1; y + 1 < cut.seen.height; ++y) {
          for (uint32_t x = 1; x + 1 < width; ++x) {
            const double ownX = (double(seen.x) + x + 0.5 - fit.x) / fit.scaleX - 0.5;
            const double ownY = (double(seen.y) + y + 0.5 - fit.y) / fit.scaleY - 0.5;
            if (ownX < 0 || ownY < 0 || ownX > 127 || ownY > 95) continue;
            const double value = pixels[size_t{y} * width + x] & 0xFF;
            farthest = std::max(farthest, std::abs(value - kLuma(ownX, ownY)));
          }
        }
        // One pixel of the frame, or of the plane where that is coarser, and rounding.
        EXPECT_LE(farthest, 2.5 + 1.5 / std::min(1.0, fit.scaleX))
            << plane.width << "x" << plane.height << " " << NameOf(how);
        EXPECT_LE(cut.scaled.width, plane.width + 8 * std::max(1.0, fit.scaleX))
            << "not more than is seen";
      }
    }
  }
}

TEST(YuvConversionTest, ComputesTheSameWithAndWithoutVectors) {
  std::mt19937 random(1);
  for (const YuvMatrix& matrix :
       {YuvMatrix::Make(0.2627, 0.0593, false), YuvMatrix::Make(0.299, 0.114, true)}) {
    for (const size_t count : {size_t{1}, size_t{31}, size_t{32}, size_t{97}, size_t{1280}}) {
      std::vector<uint8_t> y(count);
      std::vector<uint8_t> u((count + 1) / 2);
      std::vector<uint8_t> v(u.size());
      for (auto* samples : {&y, &u, &v}) {
        for (uint8_t& sample : *samples) {
          // Extremes, where sums are largest, as often as all the rest.
          const uint32_t value = static_cast<uint32_t>(random());
          sample = static_cast<uint8_t>((value & 0x300) == 0       ? 0
                                        : (value & 0x300) == 0x100 ? 255
                                                                   : value & 0xFF);
        }
      }
      std::vector<uint32_t> vectors(count);
      std::vector<uint32_t> portable(count);
      ConvertYuvRow(y.data(), u.data(), v.data(), vectors.data(), count, matrix);
      ConvertYuvRowPortable(y.data(), u.data(), v.data(), portable.data(), count, matrix);
      EXPECT_EQ(portable, vectors) << count << " pixels";
    }
  }
}

TEST(YuvConversionTest, LeavesOtherKindsToTheFramework) {
  uint32_t pixels[16 * 16] = {};
  const auto paints = [&pixels](TestFrame& frame) {
    YuvConversion conversion(nullptr);
    return conversion.Paint(frame.Get(), Whole({16, 16}, {16, 16}), pixels, 16 * 4);
  };
  TestFrame packed(GST_VIDEO_FORMAT_YUY2, "bt709", {16, 16});
  EXPECT_FALSE(paints(packed));
  TestFrame rare(GST_VIDEO_FORMAT_I420, "smpte240m", {16, 16});
  EXPECT_FALSE(paints(rare));
  TestFrame fields(GST_VIDEO_FORMAT_I420, "bt709", {16, 16});
  fields.Info().interlace_mode = GST_VIDEO_INTERLACE_MODE_INTERLEAVED;
  EXPECT_FALSE(paints(fields));
  EXPECT_EQ(0u, pixels[0]);
}

class DecoderThreadsTest : public MediaFixture {};

TEST_F(DecoderThreadsTest, GivesOneThreadToSmallVideoOfLightCodecs) {
  const struct {
    const char* caps;
    double speed;
    int threads;
  } kCases[] = {
      {"video/x-h264, width=1280, height=720, framerate=30/1", 1, 1},
      {"video/x-h264, width=720, height=1280, framerate=30000/1001", 1, 1},
      {"video/x-h264, width=1280, height=720, framerate=30/1", 2, 0},
      {"video/x-h264, width=1280, height=720, framerate=60/1", 1, 0},
      {"video/x-h264, width=1920, height=1080, framerate=30/1", 1, 0},
      {"video/x-h264, width=640, height=360", 1, 1},
      {"video/x-h264, width=1280, height=720", 1, 0},
      {"video/x-h264, width=1280, height=720, framerate=0/1", 1, 0},
      {"video/x-h264", 1, 0},
      {"video/x-h265, width=640, height=360, framerate=25/1", 1, 0},
      {"video/mpeg, mpegversion=2, width=720, height=576, framerate=25/1", 1, 1},
  };
  for (const auto& test : kCases) {
    const GstCapsPointer caps(gst_caps_from_string(test.caps));
    EXPECT_EQ(test.threads, DecoderThreads(caps.get(), test.speed)) << test.caps;
  }
}

TEST(SoundOutputTest, IsExpectedWhereADeviceAServerOrASettingIs) {
  const auto heard = [](const std::set<std::string>& variables,
                        const std::set<std::string>& files) {
    SoundSurroundings surroundings;
    surroundings.variable = [&](const char* name) -> std::string {
      if (std::string(name) == "HOME") return "/home/sign";
      if (std::string(name) == "XDG_RUNTIME_DIR") return "/run/user/7";
      return variables.count(name) > 0 ? "set" : "";
    };
    surroundings.exists = [&](const std::string& path) { return files.count(path) > 0; };
    return SoundMayBeHeard(surroundings);
  };
  EXPECT_FALSE(heard({}, {}));
  EXPECT_FALSE(heard({}, {"/dev/snd/timer", "/dev/snd/seq", "/home/sign"}));
  for (const char* file : {"/dev/snd/controlC0", "/dev/snd/controlC3", "/dev/dsp",
                           "/run/user/7/pulse/native", "/run/user/7/pipewire-0",
                           "/run/pulse/native", "/etc/asound.conf", "/home/sign/.asoundrc"}) {
    EXPECT_TRUE(heard({}, {file})) << file;
  }
  EXPECT_TRUE(heard({"PULSE_SERVER"}, {}));
  EXPECT_TRUE(heard({"PIPEWIRE_REMOTE"}, {}));
}

}  // namespace
}  // namespace plexion_host::player
