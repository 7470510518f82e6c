// Captions: from a file's text to pixels.
#include <gtest/gtest.h>

#include <random>

#include "host/player/media/captions/CaptionFile.h"
#include "host/player/media/captions/CaptionTrack.h"
#include "tests/host/media/MediaFixture.h"

namespace plexion_host::player {
namespace {

using qx::plexion::Dims;
using qx::plexion::Rect;

CaptionFile Read(const std::string& text) {
  CaptionFile file;
  std::string error;
  EXPECT_TRUE(ReadCaptions(text, file, error)) << error;
  return file;
}

std::string WhyNot(const std::string& text) {
  CaptionFile file;
  std::string error;
  EXPECT_FALSE(ReadCaptions(text, file, error)) << text.substr(0, 80);
  return error;
}

TEST(CaptionFileTest, ReadsSubRip) {
  const CaptionFile file = Read(
      "\xEF\xBB\xBF"
      "1\r\n00:00:01,000 --> 00:00:02,500\r\nHello <i>there</i>\r\nsecond line\r\n\r\n"
      "2\r\n01:00:00,5 --> 01:00:01,25\r\n{\\an8}above\r\n");
  ASSERT_EQ(2u, file.cues.size());
  EXPECT_EQ(1000, file.cues[0].beginMs);
  EXPECT_EQ(2500, file.cues[0].endMs);
  EXPECT_EQ("Hello {\\i1}there{\\i0}\\Nsecond line", file.cues[0].text);
  EXPECT_EQ(3600500, file.cues[1].beginMs);
  EXPECT_EQ(3601250, file.cues[1].endMs);
  EXPECT_EQ("{\\an8}above", file.cues[1].text);
  EXPECT_EQ("", file.complaint);
}

TEST(CaptionFileTest, ReadsWebVtt) {
  const CaptionFile file = Read(
      "WEBVTT - a title\n\nSTYLE\n::cue { color: red }\n\nNOTE nothing\n\nfirst\n"
      "00:01.000 --> 00:02.000 line:0 align:start\n<v Anna>Tom &amp; <b>Jerry</b> &lt;3\n\n"
      "00:00:03.000 --> 00:00:04.000 line:90%\nbelow\n\n"
      "00:00:05.000 --> 00:00:06.000 line:auto\nwhere captions are\n\n"
      "00:00:07.000 --> 00:00:08.000 line:10.5%,start\nabove\n");
  ASSERT_EQ(4u, file.cues.size());
  EXPECT_EQ("Tom & {\\b1}Jerry{\\b0} <3", file.cues[0].text);
  EXPECT_EQ(7, file.cues[0].alignment);
  EXPECT_EQ(2, file.cues[1].alignment);
  EXPECT_EQ(2, file.cues[2].alignment);
  EXPECT_EQ(8, file.cues[3].alignment);
}

TEST(CaptionFileTest, TextIsNeverACommand) {
  EXPECT_EQ("\\{\\\xE2\\x81\\xA0p1\\}", std::string("\\{\\\xE2\\x81\\xA0p1\\}"));
  const std::string text = AsEventText("{\\p1}m 0 0 {\\fs900}big\\Nline");
  EXPECT_EQ(std::string::npos, text.find("{\\p"));
  EXPECT_EQ(std::string::npos, text.find("{\\f"));
  EXPECT_EQ(std::string::npos, text.find("\\N")) << "a backslash of the text stays one";
  EXPECT_EQ("a < b > c & d", AsEventText("a < b > c & d"));
  EXPECT_EQ("<i>", AsEventText("<i>", false));
  EXPECT_EQ("{\\c&H332211&}x{\\c}", AsEventText("<font color=\"#112233\">x</font>"));
}

TEST(CaptionFileTest, WhatIsWrongIsNamedAndTheRestIsRead) {
  const CaptionFile file = Read(
      "1\n00:00:01,000 --> soon\nlost\n\n2\n00:00:05,000 --> 00:00:04,000\nbackwards\n\n"
      "3\n00:00:06,000 --> 00:00:07,000\nfine\n");
  ASSERT_EQ(1u, file.cues.size());
  EXPECT_EQ(
      "2 of its captions cannot be read; line 2: \"00:00:01,000 --> soon\" is no time; expected "
      "HH:MM:SS,mmm --> HH:MM:SS,mmm",
      file.complaint);
  EXPECT_EQ(
      "line 1: \"00:00:09,000 --> 00:00:08,000\" ends before it begins; expected HH:MM:SS,mmm "
      "--> HH:MM:SS,mmm",
      WhyNot("00:00:09,000 --> 00:00:08,000\nx"));
  EXPECT_NE(std::string::npos, WhyNot("").find("there is no caption in it"));
  EXPECT_NE(std::string::npos, WhyNot("\xC3\x28").find("no text in UTF-8"));
  EXPECT_NE(std::string::npos, WhyNot(std::string("MZ\0\0", 4)).find("no text in UTF-8"));
}

TEST(CaptionFileTest, SizesAreBounded) {
  std::string many;
  for (size_t i = 0; i < kMostCues + 10; ++i) many += "00:00:01,000 --> 00:00:02,000\nx\n\n";
  const CaptionFile file = Read(many);
  EXPECT_EQ(kMostCues, file.cues.size());
  EXPECT_NE(std::string::npos, file.complaint.find("more than 20000"));
  const CaptionFile wide = Read("00:00:01,000 --> 00:00:02,000\n" + std::string(100000, 'x'));
  EXPECT_LE(wide.cues[0].text.size(), kLongestCue + 8);
}

TEST(CaptionFileTest, SixteenBitTextIsRead) {
  std::string text = "\xFF\xFE";
  for (const char c : std::string("00:00:01,000 --> 00:00:02,000\n")) text += {c, '\0'};
  text += "\x45\x06";  // an Arabic letter
  EXPECT_EQ("\xD9\x85", Read(text).cues.at(0).text);
}

/// A grey picture of 640x360, and what captions change of it.
class CaptionTrackTest : public ::testing::Test {
 protected:
  static constexpr Dims kPlane = {640, 360};
  static constexpr uint32_t kGrey = 0xff606060u;

  void Draw(int64_t timeMs, const StageFit& place, const Rect& seen) {
    std::fill(pixels_.begin(), pixels_.end(), kGrey);
    DrawTarget target;
    target.pixels = pixels_.data();
    target.pitchBytes = kPlane.width * 4;
    target.dims = kPlane;
    track_.Draw(target, place, seen, {640, 360}, timeMs);
  }
  void Draw(int64_t timeMs) {
    Draw(timeMs, StageFit::Of(640, 360, kPlane, Fit::kContain), {0, 0, 640, 360});
  }
  /// The box around everything that differs from the picture; empty: 0 wide.
  Rect Changed() const {
    uint32_t left = kPlane.width;
    uint32_t right = 0;
    uint32_t top = kPlane.height;
    uint32_t bottom = 0;
    for (uint32_t y = 0; y < kPlane.height; ++y) {
      for (uint32_t x = 0; x < kPlane.width; ++x) {
        if (pixels_[size_t{y} * kPlane.width + x] == kGrey) continue;
        left = std::min(left, x);
        right = std::max(right, x + 1);
        top = std::min(top, y);
        bottom = std::max(bottom, y + 1);
      }
    }
    if (right == 0) return {0, 0, 0, 0};
    return {left, top, right - left, bottom - top};
  }
  size_t CountWhite() const {
    return static_cast<size_t>(std::count(pixels_.begin(), pixels_.end(), 0xffffffffu));
  }

  CaptionTrack track_;
  std::vector<uint32_t> pixels_ = std::vector<uint32_t>(size_t{640} * 360);
};

TEST_F(CaptionTrackTest, IsSeenBelowTheMiddleWhileItLasts) {
  ASSERT_TRUE(track_.IsUsable());
  track_.AddCue({1000, 2000, "Fresh coffee", 2});
  Draw(999);
  EXPECT_EQ(0u, Changed().width);
  Draw(1000);
  const Rect box = Changed();
  EXPECT_GT(box.width, 100u);
  EXPECT_LT(box.width, 400u);
  EXPECT_GT(box.y, 300u);
  EXPECT_LT(box.y + box.height, 355u) << "a margin stays free below";
  EXPECT_NEAR(320, box.x + box.width / 2.0, 4) << "centred";
  EXPECT_GT(CountWhite(), 100u);
  Draw(2000);
  EXPECT_EQ(0u, Changed().width);
  track_.AddCue({1000, 2000, "above", 8});
  Draw(1500);
  EXPECT_LT(Changed().y, 60u);
  track_.Forget();
  Draw(1500);
  EXPECT_EQ(0u, Changed().width);
}

TEST_F(CaptionTrackTest, RightToLeftRunsFromTheRight) {
  // A word and its first letter alone: in a line of two words the first stands at the right.
  track_.AddCue({0, 1000, "\xD9\x85\xD8\xB1\xD8\xAD\xD8\xA8\xD8\xA7", 2});
  Draw(0);
  const Rect joined = Changed();
  track_.Forget();
  // The same letters that may not join are wider: the line above was shaped.
  track_.AddCue({0, 1000,
                 "\xD9\x85\xE2\x80\x8C\xD8\xB1\xE2\x80\x8C\xD8\xAD\xE2\x80\x8C\xD8\xA8\xE2\x80\x8C"
                 "\xD8\xA7",
                 2});
  Draw(0);
  EXPECT_GT(Changed().width, joined.width + 3);
  track_.Forget();
  // Of "word, red word" the coloured one, the second, lies at the left.
  track_.AddCue({0, 1000,
                 "\xD8\xB3\xD9\x84\xD8\xA7\xD9\x85 {\\c&H0000FF&}\xD8\xB9\xD8\xA7\xD9\x84\xD9\x85",
                 2});
  Draw(0);
  double red = 0;
  double white = 0;
  size_t reds = 0;
  size_t whites = 0;
  for (uint32_t y = 0; y < 360; ++y) {
    for (uint32_t x = 0; x < 640; ++x) {
      const uint32_t pixel = pixels_[size_t{y} * 640 + x];
      if (pixel == 0xffff0000u) {
        red += x;
        ++reds;
      }
      if (pixel == 0xffffffffu) {
        white += x;
        ++whites;
      }
    }
  }
  ASSERT_GT(reds, 20u);
  ASSERT_GT(whites, 20u);
  EXPECT_LT(red / reds, white / whites);
}

TEST_F(CaptionTrackTest, StaysOnThePicture) {
  track_.AddCue(
      {0, 1000, std::string(300, 'W') + " a line that is far too long for any picture", 2});
  for (const auto& [width, height] : {std::pair{200.0, 360.0}, {1280.0, 360.0}, {640.0, 100.0}}) {
    for (const Fit fit : {Fit::kContain, Fit::kCover}) {
      const StageFit place = StageFit::Of(width, height, kPlane, fit);
      const Rect seen = place.Visible(kPlane);
      Draw(0, place, seen);
      const Rect box = Changed();
      EXPECT_GT(box.width, 0u) << width << "x" << height << " " << NameOf(fit);
      EXPECT_GE(box.x, seen.x);
      EXPECT_LE(box.x + box.width, seen.x + seen.width);
      EXPECT_GE(box.y, seen.y);
      EXPECT_LE(box.y + box.height, seen.y + seen.height);
    }
  }
}

TEST_F(CaptionTrackTest, ScriptsHaveTheirOwnStyles) {
  const std::string script =
      "[Script Info]\nPlayResX: 640\nPlayResY: 360\n[V4+ Styles]\nFormat: Name, Fontname, "
      "Fontsize, "
      "PrimaryColour, Alignment, BorderStyle\nStyle: Default,DejaVu "
      "Sans,60,&H0000FF00,7,1\n[Events]\n"
      "Format: Layer, Start, End, Style, Text\n"
      "Dialogue: 0,0:00:01.00,0:00:02.00,Default,{\\pos(20,30)}Menu\n";
  std::string error;
  ASSERT_TRUE(track_.SetScript(script, error)) << error;
  Draw(1500);
  EXPECT_GT(std::count(pixels_.begin(), pixels_.end(), 0xff00ff00u), 200);
  EXPECT_LT(Changed().y, 60u);
  EXPECT_FALSE(CaptionTrack().SetScript("[Script Info]\n[Events]\n", error));
  EXPECT_NE(std::string::npos, error.find("no event"));
}

TEST_F(CaptionTrackTest, BrokenScriptsHurtNobody) {
  const std::string good =
      "[Script Info]\nPlayResX: 640\nPlayResY: 360\n[V4+ Styles]\nFormat: Name, Fontname, "
      "Fontsize\n"
      "Style: Default,DejaVu Sans,30\n[Events]\nFormat: Layer, Start, End, Style, Text\n"
      "Dialogue: 0,0:00:00.00,0:00:02.00,Default,{\\fs40\\bord3\\t(\\fscx200)}Menu {\\p1}m 0 0 l 9 "
      "9\n";
  std::mt19937 random(5);
  for (int round = 0; round < 150; ++round) {
    std::string bad = good;
    for (int change = 0; change < 4; ++change) {
      bad[random() % bad.size()] = static_cast<char>(random() % 127 + 1);
    }
    bad.resize(random() % bad.size() + 1);
    CaptionTrack track;
    std::string error;
    if (!track.SetScript(bad, error)) continue;
    DrawTarget target;
    target.pixels = pixels_.data();
    target.pitchBytes = kPlane.width * 4;
    target.dims = kPlane;
    track.Draw(target, StageFit::Of(640, 360, kPlane, Fit::kContain), {0, 0, 640, 360}, kPlane,
               1000);
  }
}

/// A black video of two seconds, and in which of its frames white letters are seen.
class CaptionPlayTest : public MediaFixture {
 protected:
  static constexpr char kCue[] = "1\n00:00:00,500 --> 00:00:01,200\nFresh coffee\n";
  static constexpr char kVideo[] =
      "videotestsrc pattern=black num-buffers=60 ! video/x-raw,width=320,height=180,framerate=30/1 "
      "! "
      "jpegenc ! matroskamux name=m ! filesink location=%";

  CaptionPlayTest() {
    plane_ = std::make_unique<FakePlane>(320, 180);
    window_.onStatus = [this](StageWindowStatus status) {
      if (status != kInfoRenderPlaneUpdated) return;
      bool seen = false;
      for (int y = 120; y < 180; ++y) {
        for (int x = 0; x < 320; ++x) seen = seen || (plane_->At(x, y) & 0xFF) > 200;
      }
      const char now = seen ? 'x' : '.';
      if (seen_.empty() || seen_.back() != now) seen_ += now;
    };
  }

  std::string seen_;  ///< changes only: "." without, "x" with a caption
};

TEST_F(CaptionPlayTest, AFileBesideTheVideoIsShownInItsTime) {
  const std::string video = clips_.Make("black.mkv", kVideo);
  clips_.Write("black.srt", kCue);
  PlayToEnd(video, "captions=on&loop=2");
  EXPECT_EQ(".x.x.", seen_);
}

TEST_F(CaptionPlayTest, NothingIsShownUnasked) {
  const std::string video = clips_.Make("black.mkv", kVideo);
  clips_.Write("black.srt", kCue);
  PlayToEnd(video);
  EXPECT_EQ(".", seen_);
}

TEST_F(CaptionPlayTest, AStreamInsideIsShownInItsTimeInEachPass) {
  const std::string cue = clips_.Write("cue.txt", kCue);
  const std::string video = clips_.Make(
      "inside.mkv", std::string(kVideo) + " filesrc location=" + cue + " ! subparse ! m.");
  PlayToEnd(video, "captions=on&loop=2");
  EXPECT_EQ(".x.x.", seen_);
}

TEST_F(CaptionPlayTest, ABrokenFileIsNamedAndTheVideoPlaysOn) {
  const std::string video = clips_.Make("black.mkv", kVideo);
  clips_.Write("black.srt", "1\n00:00:00,5 -> 00:00:01\nx\n");
  PlayToEnd(video, "captions=on");
  EXPECT_EQ(".", seen_);
  const auto notes = window_.Events(qx::plexion::kInfoUnsupportedPlaceholderRendered);
  ASSERT_EQ(1u, notes.size());
  EXPECT_NE(std::string::npos,
            notes[0].message.find("captions \"black.srt\": there is no caption in it"))
      << notes[0].message;
}

TEST_F(CaptionPlayTest, AFileThatIsNamedCountsAlone) {
  const std::string video = clips_.Make("black.mkv", kVideo);
  clips_.Write("other.vtt", "WEBVTT\n\n00:00.500 --> 00:01.200\nFresh coffee\n");
  PlayToEnd(video, "captions=other.vtt");
  EXPECT_EQ(".x.", seen_);
}

}  // namespace
}  // namespace plexion_host::player
