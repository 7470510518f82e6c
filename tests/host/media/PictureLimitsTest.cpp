// Pictures of a few bytes that ask for much: what is reckoned, refused, drawn smaller or left.

#include <gmock/gmock.h>

#include "host/player/image/PictureDecoder.h"
#include "host/player/image/PictureSize.h"
#include "host/player/image/SvgCost.h"
#include "host/player/picture/AnimationCompositor.h"
#include "tests/host/media/MediaClips.h"
#include "tests/host/media/PictureBuilders.h"

namespace plexion_host::player {
namespace {

using namespace std::string_literals;  // NOLINT(google-build-using-namespace): texts with zeros
using ::testing::HasSubstr;

std::string Svg(const std::string& attributes, const std::string& inside) {
  return R"(<?xml version="1.0"?><svg xmlns="http://www.w3.org/2000/svg" )"
         R"(xmlns:xlink="http://www.w3.org/1999/xlink" )" +
         attributes + ">" + inside + "</svg>";
}

std::string Times(int count, const std::string& text) {
  std::string all;
  for (int i = 0; i < count; ++i) all += text;
  return all;
}

class SvgLimitsTest : public ::testing::Test {
 protected:
  bool Open(const std::string& text) {
    error_ = EngineError();
    const auto* const bytes = reinterpret_cast<const uint8_t*>(text.data());
    EXPECT_EQ(PictureFormatOf(bytes, text.size()), PictureFormat::kSvg);
    picture_ = OpenPicture(PictureFormat::kSvg,
                           {bytes, text.size(), nullptr, [this] { return cancelled_; }}, error_);
    return picture_ != nullptr;
  }
  uint32_t Width() const { return picture_->Facts().dims.width; }
  uint32_t Height() const { return picture_->Facts().dims.height; }

  bool cancelled_ = false;
  EngineError error_;
  std::unique_ptr<PictureDecoder> picture_;
};

TEST_F(SvgLimitsTest, ASizeIsNotMemory) {
  ASSERT_TRUE(Open(Svg(R"(width="30000" height="15000")", R"(<rect width="9" height="9"/>)")));
  EXPECT_EQ(Width(), 4096u);
  EXPECT_EQ(Height(), 2048u);
  ASSERT_TRUE(Open(Svg(R"(width="1e9" height="1")", "")));
  EXPECT_EQ(Height(), 1u);
  ASSERT_TRUE(Open(Svg(R"(viewBox="0 0 30 20")", R"(<rect width="30" height="20" fill="#f00"/>)")));
  EXPECT_EQ(Width(), 30u);
  std::vector<uint32_t> pixels(size_t{Width()} * Height());
  EXPECT_EQ(picture_->Decode(0, pixels.data()), Decoded::kAll);
  EXPECT_EQ(pixels[315], 0xFFFF0000u);
}

TEST_F(SvgLimitsTest, WhatIsInMemoryAtTheSameTimeIsReckoned) {
  struct Case {
    std::string inside;
    uint64_t surfaces;
  };
  const std::string group = R"(<g opacity=".5"><rect/>)";
  const Case cases[] = {
      {R"(<g opacity="1" style="opacity: 1; fill-opacity: .3"/>)", 2},
      {Times(5, group) + Times(5, "</g>"), 7},
      {Times(5, group + "</g>"), 3},             // one after the other
      {Times(5, group + "</g>") + "<use/>", 7},  // or inside each other, by way of references
      {R"(<g style="a:b; filter : url(#f) "/>)", 3},
      {"<style>g { opacity: .5 }</style>" + Times(5, "<g/>"), 9},
      {"<filter>" + Times(9, "<feFlood/>") + "</filter><filter><feBlend/></filter>", 11}};
  for (const Case& each : cases) {
    const std::string text = Svg("", each.inside);
    SvgCost cost;
    std::string reason;
    EXPECT_TRUE(ReckonSvg(reinterpret_cast<const uint8_t*>(text.data()), text.size(), cost, reason))
        << reason;
    EXPECT_EQ(cost.surfaces, each.surfaces) << each.inside;
  }
  // So many layers fit into memory only if each is small.
  ASSERT_TRUE(Open(Svg(R"(width="4000" height="4000")", Times(98, group) + Times(98, "</g>"))));
  EXPECT_LT(uint64_t{Width()} * Height() * 4 * 100, 520u << 20);
  EXPECT_GT(Width(), 1000u);
}

TEST_F(SvgLimitsTest, RefusesWhatItCannotReckon) {
  const std::string png = "iVBORw0KGgoAAAANSUhEUgAAw1AAAMNQCAYAAAA";  // 50000 x 50000
  const std::pair<std::string, const char*> cases[] = {
      {R"(<image xlink:href="data:image/png;base64,)" + png + R"("/>)", "it has 2500000000 pixels"},
      {R"(<feImage href="&#100;ata:image/png;base64,)" + png + R"("/>)", "2500000000"},
      {R"(<image href="data:image/svg+xml;base64,PHN2Zz4="/>)", "of no known format (line 1)"},
      {R"(<image href="data:image/svg+xml,%3Csvg/%3E"/>)", "of no known format"},
      {Times(2000, "<g>") + Times(2000, "</g>"), "more than 1000 elements"},
      {"<g>", "mismatched tag"}};
  for (const auto& [inside, expected] : cases) {
    EXPECT_FALSE(Open(Svg("", inside))) << inside.substr(0, 80);
    EXPECT_THAT(error_.message, HasSubstr(expected));
  }
  std::string laughs = "<!ENTITY a0 'ha'>";
  for (int i = 1; i < 12; ++i) {
    const std::string last = "&a" + std::to_string(i - 1) + ";";
    laughs += "<!ENTITY a" + std::to_string(i) + " '" + Times(10, last) + "'>";
  }
  EXPECT_FALSE(Open("<!DOCTYPE svg [" + laughs + "]><svg>&a11;</svg>"));
}

TEST_F(SvgLimitsTest, ADrawingThatTakesForEverIsLeft) {
  cancelled_ = true;
  const auto before = std::chrono::steady_clock::now();
  EXPECT_FALSE(Open(Svg(R"(width="1000" height="1000")",
                        R"(<filter id="f"><feTurbulence baseFrequency=".05" numOctaves="300"/>)"
                        R"(</filter><rect width="1000" height="1000" filter="url(#f) "/>)")));
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(2));
  EXPECT_EQ(error_.message, "loading was stopped");
}

TEST(PictureLimits, SizesAreReadFromHeaders) {
  struct Case {
    const char* name;
    std::string bytes;
    uint64_t pixels;
  };
  const Case cases[] = {
      {"JPEG", "\xFF\xD8\xFF\xE0\0\x04xx\xFF\xC4\0\x02\xFF\xC2\0\x11\x08\xFF\xFF\xFF\xFE"s,
       65535ull * 65534},
      {"BMP", "BM" + std::string(12, 'x') + "\x28\0\0\0\x30\x75\0\0\xD0\x8A\xFF\xFF"s,
       30000ull * 30000},
      {"PNM", "P6\n# a comment\n30000 20000\n255\n", 600000000},
      {"PAM", "P7\nWIDTH 30000\nHEIGHT 30000\nDEPTH 4\n", 900000000},
      {"TIFF",
       "II*\0\x08\0\0\0\x02\0\0\x01\x03\0\x01\0\0\0\x30\x75\0\0\x01\x01\x04\0\x01\0\0\0\x30\x75\0\0"s,
       900000000},
      {"TGA", "\0\0\x02\0\0\0\0\0\0\0\0\0\x30\x75\x30\x75\x18\0"s, 900000000},
      {"JPEG 2000", "\xFF\x4F\xFF\x51\0\x29\0\0\0\0\x75\x30\0\0\x75\x30"s + std::string(40, '\0'),
       900000000},
      {"MPEG program stream", "\0\0\x01\xBA\x44\0\x04\0\x04\x01\x01\x89\xC3\xF8\0\0\x01\xBB"s, 0},
      {"cut", "BM"s, 0}};
  for (const Case& each : cases) {
    EXPECT_EQ(
        DeclaredPixels(reinterpret_cast<const uint8_t*>(each.bytes.data()), each.bytes.size()),
        each.pixels)
        << each.name;
  }
}

TEST(PictureLimits, AnAnimationThatNobodyWantsIsNotDecodedToItsEnd) {
  MediaClips clips;
  const std::vector<BuiltFrame> frames(300, BuiltFrame{0, 0, {"r"}});
  const std::string bytes = BuildGif({1, 1}, frames, 0);
  bool cancelled = false;
  AnimationCompositor compositor(nullptr, [&] { return cancelled; });
  EngineError error;
  const PictureSource source{reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()};
  ASSERT_TRUE(compositor.Open(PictureFormat::kGif, source, error)) << error.message;
  compositor.Show(200, std::chrono::milliseconds(0));
  EXPECT_EQ(compositor.Shown(), 1u);  // one at a time when there is no time
  cancelled = true;
  compositor.Show(200);
  EXPECT_EQ(compositor.Shown(), 2u);
  cancelled = false;
  compositor.Show(200);
  EXPECT_EQ(compositor.Shown(), 200u);
}

TEST(PictureLimits, AnAnimationMayHaveFewerPixelsThanAPicture) {
  const BuiltFrame frame{0, 0, {"r"}};
  for (const size_t count : {1, 2}) {
    const std::string bytes = BuildGif({6000, 6000}, std::vector<BuiltFrame>(count, frame), 0);
    EngineError error;
    const PictureSource source{reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()};
    EXPECT_EQ(OpenPicture(PictureFormat::kGif, source, error) != nullptr, count == 1);
    EXPECT_THAT(error.message, HasSubstr(count == 1 ? "" : "it has 36000000 pixels; the most"));
  }
}

}  // namespace
}  // namespace plexion_host::player
