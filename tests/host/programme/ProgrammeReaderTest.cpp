#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>

#include "host/calendar/Calendar.h"
#include "host/launcher/programme/document/ContentKinds.h"
#include "host/launcher/programme/document/FieldReader.h"
#include "host/launcher/programme/document/Programme.h"

namespace plexion_host {
namespace {

namespace fs = std::filesystem;

Calendar calendar;

constexpr char kWhole[] = R"({
  // A restaurant.
  "name": "Lume", "timezone": "Europe/Rome", "duration": "20s",
  "screen": {"size": "1920x1080", "background": "#203040"},
  "playlists": {
    "day": [ "a.mvx", {"content": "/b.mp4", "duration": "1m30s", "fit": "cover", "volume": 50,
             "transition": {"kind": "fade", "duration": "700ms"},
             "variables": {"title": "5 & 6"}}, {"playlist": "more"} ],
    "more": {"folder": "more", "align": "1h"}
  },
  "zones": [ {"name": "main", "rect": [0, 0, "100%", "85%"], "playlist": "day", "transition": "fade"},
             {"name": "ticker", "rect": [0, "85%", "100%", "15%"], "fit": "stretch", "volume": 0} ],
  "schedule": [ {"playlist": "day", "days": ["mon", "sun"], "from": "07:00", "to": "11:30",
                 "firstDate": "2026-01-01", "lastDate": "2026-12-31", "priority": 2,
                 "interrupt": "resume"} ],
  "fallback": "more"
})";

TEST(ProgrammeReaderTest, ReadsAWholeDocument) {
  Programme programme;
  std::string error;
  ASSERT_TRUE(ReadProgramme(kWhole, "/shop", calendar, programme, error)) << error;
  EXPECT_EQ(1920u, programme.width);
  EXPECT_EQ(0x203040u, *programme.background);
  EXPECT_EQ(20000, programme.defaultDurationMs);
  const Playlist* const day = programme.FindPlaylist("day");
  ASSERT_NE(nullptr, day);
  ASSERT_EQ(3u, day->items.size());
  EXPECT_EQ("/shop/a.mvx", day->items[0].content);
  const Item& video = day->items[1];
  EXPECT_EQ("/b.mp4", video.content);
  EXPECT_EQ(90000, *video.durationMs);
  EXPECT_EQ(Fit::kCover, *video.fit);
  EXPECT_EQ(0.5, *video.volume);
  EXPECT_EQ(Transition::Kind::kFade, video.transition->kind);
  EXPECT_EQ(700, video.transition->durationMs);
  EXPECT_EQ("title=5%20%26%206", video.variables);
  EXPECT_EQ(3600000, programme.FindPlaylist("more")->alignMs);
  EXPECT_EQ(500, programme.zones[0].transition.durationMs) << "unless it is given";
  EXPECT_EQ(918, programme.zones[1].y.Of(1080));
  const Entry& entry = programme.schedule[0];
  EXPECT_EQ("FREQ=WEEKLY;BYDAY=MO,SU", entry.rule);
  EXPECT_EQ(7 * 3600000, entry.fromMs);
  EXPECT_EQ(Interruption::kResume, entry.interruption);
}

TEST(ProgrammeReaderTest, SaysLinePathAndExpectation) {
  const struct {
    const char* text;
    const char* expected;
  } cases[] = {
      {"", "the document ends here"},
      {"{\n\"name\": ]}", "line 2, name: "},
      {"{\"playlists\":{\"a\":[\"x\",\n\"y\",\n]}}",
       "line 3, playlists.a[2]: ']' is not JSON; expected "},
      {"{\"playlists\":{\"a\":[{\"content\":\"x\",\n\"transition\":{\"kind\":\"wipe\","
       "\"duration\":\"61s\"}}]}}",
       "line 2, playlists.a[0].transition.duration: it is too long for a transition; expected at "
       "most"},
      {"{\"playlists\":{\"a\":[]},\"zones\":[{\"name\":\"z\",\n\"playlist\":\"b\"}]}",
       "line 2, zones[0].playlist: there is no playlist \"b\"; expected a"},
      {"{\"playlists\":{\"a\":[\"x.png\"", "the document ends here, and is not complete"},
      {"{\"playlists\":{\"a\":[]},\"screen\":{\"background\":\"blue\"}}",
       "screen.background: \"blue\" is no colour; expected one like"},
      {"{\"name\":\"a\",\n\"name\":\"b\"}", "line 2: \"name\" stands here twice"},
      {"[]", "line 1, document: it is a list; expected an object"},
      {"{}", "\"playlists\" is missing"},
      {"{\"playlists\":{\"a\":[\n{\"contents\":\"x\"}]}}",
       "line 2, playlists.a[0]: \"content\" is missing"},
      {"{\"playlists\":{\"a\":[{\"content\":\"x\",\n\"duraton\":\"1s\"}]}}",
       "line 2, playlists.a[0]: there is no \"duraton\" here; expected \"duration\", maybe"},
      {"{\"playlists\":{\"a\":[{\"content\":\"x\",\"duration\":\"soon\"}]}}",
       "playlists.a[0].duration: expected a duration of at least 100 ms"},
      {"{\"playlists\":{\"a\":[{\"content\":\"x\",\"passes\":0}]}}", "it has no end"},
      {"{\"playlists\":{\"a\":[{\"playlist\":\"b\"}]}}", "there is no playlist \"b\"; expected a"},
      {"{\"playlists\":{\"a\":[{\"playlist\":\"b\"}],\"b\":[{\"playlist\":\"a\"}]}}",
       "playlists.a: it holds itself"},
      {"{\"playlists\":{\"a\":[]},\"timezone\":\"Mars/Sea\"}",
       "timezone: \"Mars/Sea\" is not known"},
      {"{\"playlists\":{\"a\":[]},\"zones\":[{\"name\":\"z\",\"rect\":[0,0,\"x%\",1]}]}",
       "zones[0].rect[2]: expected [x, y, width, height]"},
      {"{\"playlists\":{\"a\":[]},\"schedule\":[{\"playlist\":\"a\",\"from\":\"25:00\"}]}",
       "schedule[0].from: \"25:00\" is no time of day"},
      {"{\"playlists\":{\"a\":[]},\"schedule\":[{\"playlist\":\"a\",\"firstDate\":\"2026-02-30\"}]"
       "}",
       "is no date"},
      {"{\"playlists\":{\"a\":[]},\"schedule\":[{\"playlist\":\"a\",\"rule\":\"FREQ=NOW\"}]}",
       "is no rule"},
      {"{\"playlists\":{\"a\":[]},\"schedule\":[{\"playlist\":\"a\",\"rule\":\"FREQ=HOURLY\"}]}",
       "recurs within a day"},
      {"{\"playlists\":{\"a\":[]},\"screen\":{\"size\":\"big\"}}", "expected WIDTHxHEIGHT"},
      {"{\"playlists\":{\"a\":[]},\"fallback\":\"z\"}", "fallback: there is no playlist \"z\""},
  };
  for (const auto& [text, expected] : cases) {
    Programme programme;
    programme.name = "kept";
    std::string error;
    EXPECT_FALSE(ReadProgramme(text, "", calendar, programme, error)) << text;
    EXPECT_NE(std::string::npos, error.find(expected)) << text << "\n" << error;
    EXPECT_EQ("kept", programme.name) << "a wrong document changes nothing";
  }
}

TEST(ProgrammeReaderTest, WhoSaysNeitherWhereNorWhenMeansTheFirstList) {
  Programme programme;
  std::string error;
  ASSERT_TRUE(
      ReadProgramme(R"({"playlists":{"b":["x"],"a":["y"]}})", "", calendar, programme, error));
  EXPECT_EQ("b", programme.zones[0].playlist);
  ASSERT_TRUE(
      ReadProgramme(R"({"playlists":{"b":["x"]},"schedule":[{"playlist":"b","to":"07:00"}]})", "",
                    calendar, programme, error));
  EXPECT_EQ("", programme.zones[0].playlist) << "a schedule says when";
}

TEST(ProgrammeReaderTest, ReadsDurations) {
  const std::pair<const char*, std::optional<int64_t>> cases[] = {
      {"10s", 10000},  {"1m30s", 90000},        {"500ms", 500},     {"2h", 7200000},
      {"12.5", 12500}, {"1.5s", 1500},          {"", std::nullopt}, {"s", std::nullopt},
      {"1d", {}},      {"1..2s", std::nullopt}, {"9999999h", {}},   {"1s 2s", std::nullopt}};
  for (const auto& [text, expected] : cases) EXPECT_EQ(expected, ReadDurationMs(text)) << text;
}

std::string ErrorOf(const std::string& text) {
  Programme programme;
  std::string error;
  ReadProgramme(text, "", calendar, programme, error);
  return error;
}

/// Each holds the next `times`; the last one holds a content.
std::string ListsInLists(size_t lists, size_t times) {
  std::string text = R"({"playlists":{)";
  for (size_t i = 0; i < lists; ++i) {
    text += (i == 0 ? "\"l" : ",\"l") + std::to_string(i) + "\":[";
    const bool last = i + 1 == lists;
    const std::string item = last ? R"("x")" : R"({"playlist":"l)" + std::to_string(i + 1) + "\"}";
    for (size_t j = 0; j < times; ++j) text += (j == 0 ? "" : ",") + item;
    text += "]";
  }
  return text + "}}";
}

TEST(ProgrammeReaderTest, ListsInListsStayWithinWhatCanBePlayed) {
  const auto has = [](const std::string& text, const char* part) {
    return text.find(part) != std::string::npos;
  };
  EXPECT_EQ("", ErrorOf(ListsInLists(17, 1)));
  const char* const deep = "playlists.l0: playlists lie more than 16 deep in each other";
  EXPECT_TRUE(has(ErrorOf(ListsInLists(18, 1)), deep));
  // Neither a stack nor an hour is used for it.
  EXPECT_TRUE(has(ErrorOf(ListsInLists(10000, 2)), deep));
  EXPECT_TRUE(has(ErrorOf(ListsInLists(10001, 1)), "more than 10000 names in one object"));
  EXPECT_EQ("", ErrorOf(ListsInLists(6, 10)));
  EXPECT_TRUE(has(ErrorOf(ListsInLists(7, 10)), "playlists.l0: it comes to more than 1000000"));
}

TEST(ProgrammeReaderTest, NamesTellWhatHasNoEndAndWhatIsAPhoto) {
  for (const char* const endless :
       {"http://a/live.m3u8", "HTTPS://a/live.m3u8?token=a.mp4#x", "rtsp://camera/1",
        "udp://@1.2.3.4:5", "board/application.xml", "/", "a.GIF"}) {
    EXPECT_TRUE(MayBeEndless(endless)) << endless;
  }
  for (const char* const other :
       {"http://a/film.mp4?list=x.m3u8", "list.m3u8", "a.mp4", "a.jpg", "none"}) {
    EXPECT_FALSE(MayBeEndless(other)) << other;
  }
  Item photo;
  photo.content = "http://a/menu.PNG?size=large";
  EXPECT_TRUE(IsStillPicture(photo));
  photo.variables = "duration=3";
  EXPECT_FALSE(IsStillPicture(photo)) << "the player knows better";
  photo = Item();
  for (const char* const other : {"a.mp4", "a.gif", "jpg", "a.png.mvx"}) {
    photo.content = other;
    EXPECT_FALSE(IsStillPicture(photo)) << other;
  }
}

TEST(ProgrammeReaderTest, FoldersAndListsArePlaylists) {
  char name[] = "/tmp/plexion-programme-XXXXXX";
  const std::string folder = mkdtemp(name);
  for (const char* const file : {"10.png", "2.png", ".hidden.png", "2.srt", "app/application.xml",
                                 "plain/x.png", "b 1.mp4"}) {
    fs::create_directories(fs::path(folder + "/" + file).parent_path());
    std::ofstream(folder + "/" + file) << "x";
  }
  Programme programme;
  std::string error;
  ASSERT_TRUE(OpenProgramme(folder, calendar, programme, error)) << error;
  std::string names;
  for (const Item& item : FlatItems(programme, programme.zones[0].playlist)) {
    names += fs::path(item.content).filename().string() + " ";
  }
  EXPECT_EQ("2.png 10.png app b 1.mp4 ", names);
  fs::remove(folder + "/2.png");
  EXPECT_EQ(3u, FlatItems(programme, "main").size()) << "the folder is read anew";

  std::ofstream(folder + "/list.m3u")
      << "\xef\xbb\xbf#EXTM3U\r\n#EXTINF:30,Ten\r\n10.png\r\n\r\n/c.mp4\n"
         "http://127.0.0.1/d.mp4\n";
  ASSERT_TRUE(OpenProgramme(folder + "/list.m3u", calendar, programme, error)) << error;
  const std::vector<Item>& items = programme.playlists[0].items;
  ASSERT_EQ(3u, items.size());
  EXPECT_EQ(folder + "/10.png", items[0].content);
  EXPECT_EQ(30000, *items[0].durationMs);
  EXPECT_EQ("/c.mp4", items[1].content);
  EXPECT_FALSE(items[1].durationMs.has_value());
  EXPECT_EQ("http://127.0.0.1/d.mp4", items[2].content);

  EXPECT_FALSE(OpenProgramme(folder + "/none.json", calendar, programme, error));
  EXPECT_EQ(0u, error.find(folder + "/none.json: ")) << error;
  fs::remove_all(folder);
}

}  // namespace
}  // namespace plexion_host
