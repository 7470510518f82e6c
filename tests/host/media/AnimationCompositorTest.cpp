// Pictures put together by our own decoders: what is seen after each frame, and files that are not
// as they should be.
#include <gmock/gmock.h>

#include <random>

#include "host/player/image/PictureTimes.h"
#include "host/player/picture/AnimationCompositor.h"
#include "tests/host/media/MediaClips.h"
#include "tests/host/media/PictureBuilders.h"
#include "tests/host/player/PlainHost.h"

namespace plexion_host::player {
namespace {

using After = PictureFrame::After;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr PictureFormat kFormats[] = {PictureFormat::kGif, PictureFormat::kAnimatedPng,
                                      PictureFormat::kWebp};

class AnimationCompositorTest : public ::testing::Test {
 protected:
  /// Opens a file of these bytes in a new compositor.
  bool Open(PictureFormat format, const std::string& bytes) {
    compositor_ = std::make_unique<AnimationCompositor>(host_.memory);
    auto file = std::make_unique<PictureBytes>(host_);
    error_ = EngineError();
    return file->ReadFile(clips_.Write("picture", bytes), error_) &&
           compositor_->Open(format, std::move(file), error_);
  }
  static std::string Build(PictureFormat format, qx::plexion::Dims dims,
                           const std::vector<BuiltFrame>& frames, unsigned plays = 0) {
    if (format == PictureFormat::kGif) return BuildGif(dims, frames, static_cast<int>(plays));
    return format == PictureFormat::kWebp ? BuildWebp(dims, frames, plays)
                                          : BuildApng(dims, frames, plays);
  }
  PictureRows Seen(size_t frame) {
    compositor_->Show(frame);
    return LettersOf(compositor_->Pixels(), compositor_->Facts().dims);
  }
  bool SaysItIsOpaque() { return compositor_->IsOpaque(); }

  MediaClips clips_;
  PlainHost host_;
  std::unique_ptr<AnimationCompositor> compositor_;
  EngineError error_;
};

/// A film and what is seen after each of its frames, in every format that can hold it.
struct Film {
  const char* name;
  std::vector<BuiltFrame> frames;
  std::vector<PictureRows> seen;
};

const Film kFilms[] = {
    {"what a frame leaves alone stays",
     {{0, 0, {"rrrr", "rrrr"}}, {2, 0, {"gg"}}, {0, 0, {"b..b"}}},
     {{"rrrr", "rrrr"}, {"rrgg", "rrrr"}, {"brgb", "rrrr"}}},
    {"a frame's own rectangle becomes transparent",
     {{0, 0, {"rrrr", "rrrr"}}, {2, 0, {"gg", "gg"}, 100, After::kClear}, {0, 0, {"b"}}},
     {{"rrrr", "rrrr"}, {"rrgg", "rrgg"}, {"br..", "rr.."}}},
    {"the first frame is cleared as well",
     {{0, 0, {"rrrr", "rrrr"}, 100, After::kClear}, {0, 0, {"g"}}},
     {{"rrrr", "rrrr"}, {"g...", "...."}}},
    {"frames smaller than the picture lie on nothing",
     {{0, 0, {"rr"}}, {2, 0, {"gg", "gg"}}},
     {{"rr..", "...."}, {"rrgg", "..gg"}}},
};

TEST_F(AnimationCompositorTest, FramesAreLaidOnWhatTheFilesSay) {
  for (const PictureFormat format : kFormats) {
    for (const Film& film : kFilms) {
      SCOPED_TRACE(std::string(PictureTypeOf(format)) + ": " + film.name);
      std::vector<BuiltFrame> frames = film.frames;
      // These two always have a whole first frame.
      if (format == PictureFormat::kAnimatedPng && frames[0].rows.size() < 2) continue;
      ASSERT_TRUE(Open(format, Build(format, {4, 2}, frames))) << error_.message;
      EXPECT_EQ(0u, compositor_->Facts().plays);
      ASSERT_EQ(frames.size(), compositor_->Facts().frames.size());
      for (size_t i = 0; i < frames.size(); ++i) EXPECT_EQ(film.seen[i], Seen(i)) << i;
      // Back to the beginning, and to the end in one step.
      EXPECT_EQ(film.seen.front(), Seen(0));
      EXPECT_EQ(film.seen.back(), Seen(frames.size() - 1));
      EXPECT_EQ(0u, compositor_->Damaged());
    }
  }
}

TEST_F(AnimationCompositorTest, AFrameThatGoesAgainBringsBackWhatItCovered) {
  const std::vector<BuiltFrame> frames = {
      {0, 0, {"rgrg", "gbgb"}}, {1, 0, {"ww", "w."}, 100, After::kRestore}, {3, 1, {"k"}}};
  for (const PictureFormat format : {PictureFormat::kGif, PictureFormat::kAnimatedPng}) {
    ASSERT_TRUE(Open(format, Build(format, {4, 2}, frames))) << error_.message;
    EXPECT_EQ((PictureRows{"rwwg", "gwgb"}), Seen(1));
    EXPECT_EQ((PictureRows{"rgrg", "gbgk"}), Seen(2));
    EXPECT_TRUE(SaysItIsOpaque());
  }
}

TEST_F(AnimationCompositorTest, TransparentPixelsReplaceWhereTheFileSaysSo) {
  std::vector<BuiltFrame> frames = {{0, 0, {"rrrr", "rrrr"}}, {2, 0, {".g", "h."}}};
  for (const PictureFormat format : {PictureFormat::kAnimatedPng, PictureFormat::kWebp}) {
    frames[1].replaces = false;
    ASSERT_TRUE(Open(format, Build(format, {4, 2}, frames))) << error_.message;
    EXPECT_EQ((PictureRows{"rrrg", "rrrr"}), Seen(1));
    EXPECT_TRUE(SaysItIsOpaque());
    frames[1].replaces = true;
    ASSERT_TRUE(Open(format, Build(format, {4, 2}, frames))) << error_.message;
    EXPECT_EQ((PictureRows{"rr.g", "rrh."}), Seen(1));
    EXPECT_FALSE(SaysItIsOpaque());
  }
}

TEST_F(AnimationCompositorTest, InterlacedRowsComeToTheirPlaces) {
  PictureRows rows;
  for (int y = 0; y < 11; ++y) rows.push_back(std::string(3, "rgbwk"[y % 5]));
  for (const bool interlaced : {false, true}) {
    ASSERT_TRUE(Open(PictureFormat::kGif, BuildGif({3, 11}, {{0, 0, rows}}, kNoLoops, interlaced)));
    EXPECT_EQ(rows, Seen(0));
  }
}

TEST_F(AnimationCompositorTest, CompressedPixelsOfEveryDepthComeBackAsTheyWere) {
  std::mt19937 random(7);
  for (const unsigned colours : {2u, 4u, 16u, 256u}) {
    // Noise fills the dictionary, runs make strings longer than it.
    for (const unsigned run : {1u, 3u, 500u}) {
      SCOPED_TRACE(std::to_string(colours) + " colours, runs of " + std::to_string(run));
      std::vector<uint8_t> indices;
      while (indices.size() < 200 * 100) {
        indices.insert(indices.end(), 1 + random() % run, static_cast<uint8_t>(random() % colours));
      }
      indices.resize(200 * 100);
      ASSERT_TRUE(Open(PictureFormat::kGif, BuildIndexedGif({200, 100}, indices, colours)));
      EXPECT_EQ(0u, compositor_->Damaged());
      const uint32_t* const pixels = compositor_->Pixels();
      for (size_t i = 0; i < indices.size(); ++i) {
        ASSERT_EQ(0xFF000000u | indices[i] * 0x010101u, pixels[i]) << i;
      }
    }
  }
}

TEST_F(AnimationCompositorTest, AGifScreenGrowsToItsFirstFrame) {
  ASSERT_TRUE(Open(PictureFormat::kGif, BuildGif({1, 1}, {{0, 0, {"rg", "bw"}}, {0, 0, {"k"}}})));
  EXPECT_EQ((PictureRows{"rg", "bw"}), Seen(0));
  // What later frames have outside of it is cut off.
  ASSERT_TRUE(Open(PictureFormat::kGif,
                   BuildGif({2, 1}, {{0, 0, {"rr"}}, {1, 0, {"gb", "bb"}}, {9, 9, {"w"}}})));
  EXPECT_EQ((PictureRows{"rg"}), Seen(1));
  EXPECT_EQ((PictureRows{"rg"}), Seen(2));
}

TEST_F(AnimationCompositorTest, ThePosterOfAnAnimatedPngIsNoFrame) {
  ASSERT_TRUE(Open(PictureFormat::kAnimatedPng,
                   BuildApng({2, 1}, {{0, 0, {"rr"}}, {0, 0, {"gg"}}}, 3, true)));
  EXPECT_EQ(2u, compositor_->Facts().frames.size());
  EXPECT_EQ(3u, compositor_->Facts().plays);
  EXPECT_EQ((PictureRows{"rr"}), Seen(0));
  EXPECT_EQ((PictureRows{"gg"}), Seen(1));
}

TEST_F(AnimationCompositorTest, PassesAreCountedAsEachFormatDoes) {
  const std::vector<BuiltFrame> frames = {{0, 0, {"r"}}, {0, 0, {"g"}}};
  // A GIF file says how often its frames are shown once more.
  for (const auto& [number, plays] : {std::pair(kNoLoops, 1u), {0, 0u}, {1, 2u}, {4, 5u}}) {
    ASSERT_TRUE(Open(PictureFormat::kGif, BuildGif({1, 1}, frames, number)));
    EXPECT_EQ(plays, compositor_->Facts().plays);
  }
  for (const unsigned plays : {0u, 1u, 4u}) {
    ASSERT_TRUE(Open(PictureFormat::kAnimatedPng, BuildApng({1, 1}, frames, plays)));
    EXPECT_EQ(plays, compositor_->Facts().plays);
    ASSERT_TRUE(Open(PictureFormat::kWebp, BuildWebp({1, 1}, frames, plays)));
    EXPECT_EQ(plays, compositor_->Facts().plays);
  }
}

TEST_F(AnimationCompositorTest, AFileThatIsCutOffShowsItsWholeFrames) {
  const std::vector<BuiltFrame> frames = {{0, 0, {"rrrrrrrr", "rgrgrgrg"}},
                                          {0, 0, {"gbgbgbgb", "bbbbbbbb"}},
                                          {0, 0, {"wwwwwwww", "rgbwkrgb"}}};
  for (const PictureFormat format : kFormats) {
    const std::string whole = Build(format, {8, 2}, frames);
    size_t before = 0;
    for (size_t size = 12; size < whole.size(); ++size) {
      SCOPED_TRACE(std::string(PictureTypeOf(format)) + " of " + std::to_string(size) + " bytes");
      if (!Open(format, whole.substr(0, size))) {
        EXPECT_EQ(qx::plexion::kErrorCorruptMovie, error_.status);
        EXPECT_NE("", error_.message);
        EXPECT_EQ(0u, before) << "a longer beginning shows no less";
        continue;
      }
      const size_t count = compositor_->Facts().frames.size();
      EXPECT_GE(count, before);
      before = count;
      for (size_t i = 1; i < count; ++i) EXPECT_EQ(frames[i].rows, Seen(i));
    }
    EXPECT_GE(before, 2u);
  }
}

TEST_F(AnimationCompositorTest, DamageAnywhereEndsInAPictureOrInAReason) {
  std::mt19937 random(11);
  const std::vector<BuiltFrame> frames = {{0, 0, {"rrrrrrrr", "rgrgrgrg"}},
                                          {2, 0, {"gb.b", "bbbb"}, 40, After::kClear},
                                          {0, 0, {"wwwwww.w", "rgbwkrgb"}}};
  size_t shown = 0;
  for (const PictureFormat format : kFormats) {
    const std::string whole = Build(format, {8, 2}, frames);
    for (int round = 0; round < 250; ++round) {
      std::string bytes = whole;
      for (int i = 0; i < 1 + round % 4; ++i) {
        bytes[random() % bytes.size()] = static_cast<char>(random());
      }
      LimitedMemory watchdog(1024 * 1024);
      host_.memory = &watchdog;
      if (Open(format, bytes)) {
        ++shown;
        for (size_t i = 0; i < compositor_->Facts().frames.size(); ++i) compositor_->Show(i);
      } else {
        EXPECT_TRUE(qx::plexion::IsTerminalStatus(error_.status));
        EXPECT_NE("", error_.message);
      }
      compositor_.reset();
    }
  }
  EXPECT_GT(shown, 100u);
}

TEST_F(AnimationCompositorTest, MemoryIsTheWindowsAndBounded) {
  std::vector<BuiltFrame> frames;
  const PictureRows rows(100, std::string(100, 'r'));
  for (int i = 0; i < 50; ++i) frames.push_back({0, 0, rows});
  for (const PictureFormat format : kFormats) {
    SCOPED_TRACE(PictureTypeOf(format));
    const std::string bytes = Build(format, {100, 100}, frames);
    LimitedMemory enough(1 << 20);
    host_.memory = &enough;
    ASSERT_TRUE(Open(format, bytes)) << error_.message;
    for (size_t i = 0; i < frames.size(); ++i) compositor_->Show(i);
    // The file, the picture, a frame, and what a library needs to decode one; not all frames.
    EXPECT_LT(enough.Peak(), bytes.size() + 5 * 100 * 100 * 4);
    compositor_.reset();

    LimitedMemory little(bytes.size() + 50000);
    host_.memory = &little;
    EXPECT_FALSE(Open(format, bytes));
    EXPECT_EQ(qx::plexion::kErrorNotEnoughMemory, error_.status);
    EXPECT_THAT(error_.message, HasSubstr("80000 bytes"));
    compositor_.reset();
  }
}

TEST_F(AnimationCompositorTest, WhatCannotBeRestoredIsNotShown) {
  const PictureRows part(50, std::string(50, 'r'));
  LimitedMemory memory(1 << 20);
  host_.memory = &memory;
  ASSERT_TRUE(Open(PictureFormat::kGif, BuildGif({100, 100}, {{0, 0, part}}))) << error_.message;
  const PictureRows seen = Seen(0);
  compositor_->Release();
  ASSERT_EQ(nullptr, compositor_->Pixels());
  // Enough for the picture, not for its frame as well.
  void* others = memory.Alloc(memory.GetBytesAvailable() - 45000, "", 0);
  EXPECT_FALSE(compositor_->Restore());
  EXPECT_EQ(nullptr, compositor_->Pixels()) << "nobody has put anything into it";
  memory.Free(others, "", 0);
  EXPECT_TRUE(compositor_->Restore());
  EXPECT_EQ(seen, LettersOf(compositor_->Pixels(), compositor_->Facts().dims));
  compositor_.reset();
}

TEST_F(AnimationCompositorTest, APictureLargerThanAnyDisplayIsRefused) {
  std::string gif = BuildGif({1, 1}, {{0, 0, {"r"}}, {0, 0, {"g"}}});
  gif.replace(6, 4, "\xff\xff\xff\xff");
  EXPECT_FALSE(Open(PictureFormat::kGif, gif));
  EXPECT_EQ(qx::plexion::kErrorNotEnoughMemory, error_.status);
  EXPECT_THAT(error_.message, HasSubstr("4294836225 pixels"));
}

TEST(PictureFormatTest, IsToldByTheFirstBytes) {
  const std::string png = BuildApng({1, 1}, {{0, 0, {"r"}}});
  const std::string still = std::string(png).replace(png.find("acTL"), 4, "tEXt");
  const struct {
    std::string bytes;
    PictureFormat format;
  } cases[] = {
      {"GIF89a", PictureFormat::kGif},
      {"GIF87a", PictureFormat::kGif},
      {"GIF90a", PictureFormat::kNone},
      {std::string("RIFF\0\0\0\0WEBP", 12), PictureFormat::kWebp},
      {std::string("RIFF\0\0\0\0WAVE", 12), PictureFormat::kNone},
      {png, PictureFormat::kAnimatedPng},
      {still, PictureFormat::kPng},
      {png.substr(0, 20), PictureFormat::kPng},
      {png.substr(0, 7), PictureFormat::kNone},
      {"\xFF\xD8\xFF\xE0", PictureFormat::kJpeg},
      {"", PictureFormat::kNone},
  };
  for (const auto& test : cases) {
    EXPECT_EQ(test.format, PictureFormatOf(reinterpret_cast<const uint8_t*>(test.bytes.data()),
                                           test.bytes.size()))
        << test.bytes.substr(0, 12);
  }
}

PictureTimes TimesOf(std::initializer_list<uint64_t> durationsMs) {
  std::vector<PictureFrame> frames;
  for (const uint64_t duration : durationsMs) {
    frames.emplace_back();
    frames.back().durationUs = duration * 1000;
  }
  return PictureTimes(frames);
}

TEST(PictureTimesTest, TicksAreAsLongAsTheDurationsAllow) {
  const struct {
    PictureTimes times;
    double ticksPerSecond;
    uint64_t ticks;
  } cases[] = {
      {TimesOf({100, 100, 100}), 10, 3},
      {TimesOf({100, 250, 50}), 20, 8},
      {TimesOf({40, 30}), 100, 7},
      // What browsers show for a tenth of a second, and what they do not.
      {TimesOf({0, 10}), 10, 2},
      {TimesOf({20, 20}), 50, 2},
  };
  for (const auto& test : cases) {
    EXPECT_DOUBLE_EQ(test.ticksPerSecond, test.times.TicksPerSecond());
    EXPECT_EQ(test.ticks, test.times.TicksOfPass());
  }
}

TEST(PictureTimesTest, FramesOfAThirdOfATickDoNotDrift) {
  std::vector<PictureFrame> frames(301);
  for (PictureFrame& frame : frames) frame.durationUs = 33333;
  frames[300].durationUs = 50000;
  const PictureTimes times(frames);
  EXPECT_DOUBLE_EQ(1000, times.TicksPerSecond());
  EXPECT_EQ(uint64_t{10050}, times.TicksOfPass());
}

TEST(PictureTimesTest, FindsTheFrameOfATick) {
  const PictureTimes times = TimesOf({100, 250, 50});
  std::vector<size_t> frames;
  for (uint64_t tick = 0; tick < times.TicksOfPass(); ++tick) frames.push_back(times.FrameAt(tick));
  EXPECT_THAT(frames, ElementsAre(0, 0, 1, 1, 1, 1, 1, 2));
  EXPECT_EQ(1u, times.PassesFor(0.1));
  EXPECT_EQ(1u, times.PassesFor(0.4));
  EXPECT_EQ(2u, times.PassesFor(0.41));
  EXPECT_EQ(25u, times.PassesFor(10));
}

}  // namespace
}  // namespace plexion_host::player
