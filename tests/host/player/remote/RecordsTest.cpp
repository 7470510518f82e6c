// Records between the player and a content's process: what is written is what is read, and lies are
// refused.

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <type_traits>

#include "host/player/remote/Answers.h"
#include "host/player/remote/Orders.h"
#include "host/player/remote/SettingsText.h"

namespace plexion_host::player::remote {
namespace {

using namespace qx::plexion;
using ::testing::EndsWith;
using ::testing::HasSubstr;

/// A record with one word changed.
Record With(Record record, size_t word, uint64_t value) {
  record.words[word] = value;
  return record;
}

TEST(RecordsTest, AnswersComeOutAsTheyWentIn) {
  std::string fault;
  ContentFacts facts;
  ASSERT_TRUE(ReadLoaded(LoadedRecord({{640, 360}, 29.97, 300}), facts, fault));
  EXPECT_EQ(360u, facts.stageDims.height);
  EXPECT_EQ(29.97, facts.framesPerSecond);
  EXPECT_EQ(300u, facts.frameCount);

  StepResult step;
  ASSERT_TRUE(ReadAdvanced(AdvancedRecord({true, kNoFrame}), step, fault));
  EXPECT_TRUE(step.changed);
  EXPECT_EQ(kNoFrame, step.nextPosition);

  DrawResult drawn;
  uint64_t next = 0;
  ASSERT_TRUE(
      ReadDrawn(DrawnRecord({true, {1, 2, 63, 34}, "too wide"}, 9), {64, 36}, drawn, next, fault));
  EXPECT_TRUE(drawn.drawn);
  EXPECT_EQ(63u, drawn.dirty.width);
  EXPECT_EQ("too wide", drawn.failure);
  EXPECT_EQ(9u, next);

  std::string answer;
  ASSERT_TRUE(ReadSought(SoughtRecord("it has no length"), answer, fault));
  EXPECT_EQ("it has no length", answer);
  ASSERT_TRUE(ReadSought(SoughtRecord(""), answer, fault));
  EXPECT_EQ("", answer);
  EXPECT_FALSE(ReadSought(With(SoughtRecord(""), 0, 0), answer, fault)) << "refused without a word";

  Event event;
  ASSERT_TRUE(ReadEvent(ErrorRecord(Kind::kGaveUp, {kErrorCorruptMovie, "cut"}), event, fault));
  EXPECT_EQ(kErrorCorruptMovie, event.error.status);
  EXPECT_EQ("cut", event.error.message);
  ASSERT_TRUE(ReadEvent(NoticeRecord(kInfoNotifyTSTrace, "said"), event, fault));
  EXPECT_EQ("said", event.error.message);
  ASSERT_TRUE(ReadEvent(ProgressRecord(200), event, fault));
  EXPECT_EQ(100u, event.percent);
  ASSERT_TRUE(ReadEvent(NoMemoryRecord(77), event, fault));
  EXPECT_EQ(77u, event.bytes);
}

TEST(RecordsTest, LyingAnswersAreRefusedWithTheLie) {
  std::string fault;
  ContentFacts facts;
  const Record loaded = LoadedRecord({{64, 36}, 25, 100});
  const double wrongRates[] = {std::nan(""), -1, std::numeric_limits<double>::infinity(), 1e12};
  for (const double rate : wrongRates) {
    EXPECT_FALSE(ReadLoaded(With(loaded, 2, BitsOf(rate)), facts, fault)) << rate;
  }
  EXPECT_FALSE(ReadLoaded(With(loaded, 0, uint64_t{1} << 32), facts, fault));
  EXPECT_FALSE(ReadLoaded(With(loaded, 3, UINT64_MAX), facts, fault));
  EXPECT_FALSE(ReadLoaded(AdvancedRecord({}), facts, fault));
  EXPECT_THAT(fault, HasSubstr("67 instead of 65"));

  DrawResult drawn;
  uint64_t next = 0;
  const Record whole = DrawnRecord({true, {0, 0, 64, 36}, ""});
  const std::pair<size_t, uint64_t> outside[] = {
      {0, 2}, {1, 1}, {2, 37}, {3, 65}, {4, UINT64_MAX}, {1, UINT64_MAX - 1}, {1, UINT32_MAX}};
  for (const auto& [word, value] : outside) {
    EXPECT_FALSE(ReadDrawn(With(whole, word, value), {64, 36}, drawn, next, fault)) << word;
  }

  Event event;
  const uint64_t noErrors[] = {0, kStatusComplete, kErrorUnsupportedVersion + 1u, UINT64_MAX};
  for (const uint64_t status : noErrors) {
    const Record lie = With(ErrorRecord(Kind::kGaveUp, {}), 0, status);
    EXPECT_FALSE(ReadEvent(lie, event, fault)) << status;
  }
  EXPECT_FALSE(
      ReadEvent(With(NoticeRecord(kInfoNotifyTSTrace, ""), 0, kInfoWindowMoved), event, fault))
      << "what only windows say";
  EXPECT_FALSE(ReadEvent(With(ProgressRecord(1), 0, 101), event, fault));
  for (const uint32_t kind : {0u, 5u, 64u, 99999u}) {
    Record stranger;
    stranger.kind = kind;
    EXPECT_FALSE(ReadEvent(stranger, event, fault)) << kind;
    EXPECT_THAT(fault, HasSubstr(std::to_string(kind)));
  }
  Record endless = NoticeRecord(kInfoNotifyTSTrace, "x");
  endless.textBytes = UINT32_MAX;
  EXPECT_FALSE(ReadEvent(endless, event, fault));
  EXPECT_LE(TextOf(endless).size(), kMostText);
}

TEST(RecordsTest, TextsAreCutAtACharacterAndMadeFitForLogs) {
  std::string umlauts;
  while (umlauts.size() < 2 * kMostText) umlauts += "\xc3\xa4";
  Event event;
  std::string fault;
  ASSERT_TRUE(ReadEvent(NoticeRecord(kInfoNotifyTSTrace, umlauts), event, fault));
  EXPECT_LE(event.error.message.size(), kMostText);
  EXPECT_THAT(event.error.message, EndsWith("\xc3\xa4..."));
  ASSERT_TRUE(ReadEvent(NoticeRecord(kInfoNotifyTSTrace, "a\xff\x1b"), event, fault));
  EXPECT_EQ("a\\xFF\\x1B", event.error.message);
}

TEST(RecordsTest, OrdersComeOutAsTheyWentInAndNoOthersDo) {
  std::string fault;
  FrameStep step;
  ASSERT_TRUE(ReadStep(StepRecord({1, 2, 3, true}), step, fault));
  EXPECT_TRUE(step.frame == 1 && step.pass == 2 && step.position == 3 && step.playing);
  EXPECT_FALSE(ReadStep(With(StepRecord({}), 3, 2), step, fault));

  InputEvent sent;
  sent.kind = InputEvent::kScroll;
  sent.code = 0x0100000A;
  sent.button = kMouseButtonRight;
  sent.direction = kScrollWheelLeft;
  sent.x = 65535;
  sent.y = 1;
  sent.delta = 3;
  sent.stageRect = {4294967295u, 2, 3, 4};
  InputEvent input;
  ASSERT_TRUE(ReadInput(InputRecord(sent), input, fault));
  EXPECT_TRUE(input.kind == sent.kind && input.code == sent.code && input.button == sent.button &&
              input.direction == sent.direction && input.x == sent.x && input.y == sent.y &&
              input.delta == sent.delta && input.stageRect.x == sent.stageRect.x &&
              input.stageRect.height == 4);
  for (const size_t word : {0u, 2u, 3u}) {
    EXPECT_FALSE(ReadInput(With(InputRecord(sent), word, UINT64_MAX), input, fault)) << word;
  }

  PlaneMemory plane;
  const Record good = PlaneRecord({{64, 36}, 64 * 4, 64 * 4 * 36});
  ASSERT_TRUE(ReadPlane(good, plane, fault));
  const std::pair<size_t, uint64_t> wrong[] = {{0, 0},   {0, 65},    {1, 37},
                                               {2, 255}, {2, 0},     {3, 64 * 4 * 36 - 1},
                                               {1, 0},   {0, 16385}, {2, uint64_t{1} << 40}};
  for (const auto& [word, value] : wrong) {
    EXPECT_FALSE(ReadPlane(With(good, word, value), plane, fault)) << word << " " << value;
  }

  double volume = 0;
  ASSERT_TRUE(ReadVolume(VolumeRecord(0.25), volume, fault));
  EXPECT_EQ(0.25, volume);
  EXPECT_FALSE(ReadVolume(VolumeRecord(std::nan("")), volume, fault));
  EXPECT_FALSE(ReadVolume(VolumeRecord(1.5), volume, fault));
  SeekOrder seek;
  ASSERT_TRUE(ReadSeek(SeekRecord({-2.5, true}), seek, fault));
  EXPECT_TRUE(seek.seconds == -2.5 && seek.relative);
  EXPECT_FALSE(ReadSeek(SeekRecord({std::nan(""), true}), seek, fault));
  DrawOrder draw;
  ASSERT_TRUE(ReadDraw(DrawRecord({7, true}), draw, fault));
  EXPECT_TRUE(draw.bgAlpha == 7 && draw.everything && !draw.step);
  ASSERT_TRUE(ReadDraw(DrawRecord({7, true, FrameStep{1, 2, 3, true}}), draw, fault));
  EXPECT_TRUE(draw.step && draw.step->position == 3 && draw.step->playing);
  EXPECT_FALSE(ReadDraw(With(DrawRecord({}), 2, 2), draw, fault));
  EXPECT_FALSE(ReadDraw(With(DrawRecord({}), 0, 256), draw, fault));
  bool playing = false;
  EXPECT_TRUE(ReadFlag(FlagRecord(Kind::kPlaying, true), Kind::kPlaying, playing, fault));
  EXPECT_TRUE(playing);
  ContentOrder content;
  ASSERT_TRUE(ReadContent(ContentRecord(Kind::kProtect, {ContentKind::kMedia, true}),
                          Kind::kProtect, content, fault));
  EXPECT_TRUE(content.kind == ContentKind::kMedia && content.network);
  EXPECT_FALSE(ReadContent(ContentRecord(Kind::kPrepare, {}), Kind::kProtect, content, fault));
}

TEST(RecordsTest, SettingsTravelWhole) {
  PlayerSettings settings;
  settings.contentUrl = "a:b\n:";
  settings.locale = "";
  settings.proxyPassword = std::string("s\0t", 3);
  settings.profile = -1;
  settings.gl = 2;
  settings.bgAlpha = 9;
  settings.loops = UINT64_MAX;
  settings.speed = 1.0 / 3;
  settings.instrument = settings.loopsGiven = true;
  settings.variables = {{"title", "50%"}, {"", ""}};
  const std::string text = WriteSettings(settings);
  PlayerSettings read;
  ASSERT_TRUE(ReadSettings(text, read));
  EXPECT_EQ(text, WriteSettings(read));
  EXPECT_EQ(settings.proxyPassword, read.proxyPassword);
  EXPECT_EQ(settings.variables, read.variables);
  EXPECT_TRUE(read.profile == -1 && read.bgAlpha == 9 && read.loops == UINT64_MAX &&
              read.speed == settings.speed && read.loopsGiven && !read.debugMode);

  // Every cut, and every byte changed, is refused or is a text that can be written.
  for (size_t i = 0; i < text.size(); ++i) {
    EXPECT_FALSE(ReadSettings(text.substr(0, i), read)) << i;
    std::string changed = text;
    changed[i] = static_cast<char>(changed[i] ^ 0x11);
    PlayerSettings other;
    const bool taken = ReadSettings(changed, other);
    EXPECT_TRUE(!taken || !WriteSettings(other).empty());
  }
  EXPECT_FALSE(ReadSettings(text + "0:", read));
  ContentAddress address;
  EXPECT_FALSE(ReadAddress("99999999999999999999:x", address));
  EXPECT_FALSE(ReadAddress("18446744073709551615:x0:0:", address));
  ASSERT_TRUE(ReadAddress(WriteAddress({"/p", "", "p"}), address));
  EXPECT_EQ("/p", address.path);
  ProxySettings proxy;
  ASSERT_TRUE(ReadProxy(WriteProxy({"h", 80, "u", "p"}), proxy));
  EXPECT_TRUE(proxy.port == 80 && proxy.password == "p");
}

}  // namespace
}  // namespace plexion_host::player::remote
