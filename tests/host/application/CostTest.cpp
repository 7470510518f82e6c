// What costs too much ends with the content or is refused, and what is not drawn is told once.
#include <fcntl.h>
#include <sys/stat.h>

#include "host/player/application/paint/Picture.h"
#include "tests/host/application/ApplicationFixture.h"

namespace plexion_host::player::application {
namespace {

constexpr char kFont[] = "/usr/share/fonts/truetype/dejavu/DejaVuSansMono.ttf";

std::string Stage(const std::string& elements) {
  return "<application width='64' height='36' rate='10'><scene id='s'>" + elements +
         "</scene></application>";
}

TEST_F(ApplicationTest, FontsAreFilesOfTheApplicationOnly) {
  std::filesystem::create_directories(folder_ / "fonts/more");
  std::filesystem::copy_file(kFont, folder_ / "fonts/more/real.ttf");
  std::filesystem::create_symlink(kFont, folder_ / "fonts/link.ttf");
  ASSERT_EQ(0, mkfifo((folder_ / "fonts/pipe.ttf").c_str(), 0600));
  ASSERT_TRUE(LoadDocument(Stage("<text>A</text>"))) << "a pipe is not waited for";
  EXPECT_EQ((std::vector<std::string>{
                "cannot open \"fonts/link.ttf\": it leads out of the application's folder",
                "cannot open \"fonts/pipe.ttf\": it is not a file"}),
            host_.Notices());
}

TEST_F(ApplicationTest, WhatNoFontShowsIsToldOnce) {
  ASSERT_TRUE(LoadDocument(Stage(
      "<text id='a' font='No Such Font, Neither'>A</text>"
      "<text id='b' font='No Such Font, Neither'>B</text><text font='No, DejaVu Sans'>C</text>"
      "<text id='c' font='DejaVu Sans'>x&#x10ABCD;</text>")));
  RunTo(0);
  Draw(true);
  const std::vector<std::string> notices = host_.Notices();
  ASSERT_EQ(2u, notices.size());
  EXPECT_EQ(0u, notices[0].find("<text> \"a\": there is no font \"No Such Font, Neither\"; \""));
  EXPECT_NE(notices[0].find("\" is taken in its place"), std::string::npos) << notices[0];
  EXPECT_EQ("<text> \"c\": no font has the letter U+10ABCD; a box is drawn", notices[1]);
}

TEST_F(ApplicationTest, LettersThatTheFirstFontLacksComeFromAnother) {
  // EB Garamond has no arrows of this kind, DejaVu does.
  ASSERT_TRUE(LoadDocument(Stage("<text font='EB Garamond' size='30'>&#x2B06;</text>")));
  RunTo(0);
  EXPECT_TRUE(host_.Notices().empty()) << host_.Notices()[0];
  EXPECT_NE(0, std::count_if(pixels_.begin(), pixels_.end(),
                             [](uint32_t pixel) { return pixel == 0xFFFFFFFF; }));
}

TEST_F(ApplicationTest, SizesAreReckonedBeforeAnythingIsDrawn) {
  std::string groups;
  for (int i = 0; i < 8; ++i) groups += "<group scale='1000' width='9' height='9' rotation='7'>";
  std::string ends;
  for (int i = 0; i < 8; ++i) ends += "</group>";
  ASSERT_TRUE(LoadDocument(
      Stage(groups + "<rectangle id='r' width='9' height='9' radius='2' stroke='#fff'/>" + ends)));
  RunTo(0);
  Draw(true);
  EXPECT_EQ(std::vector<std::string>{"<rectangle> \"r\": it would be more than 1000000 pixels wide "
                                     "or high; expected less, see scale"},
            host_.Notices());
}

TEST_F(ApplicationTest, LayersInsideOfEachOtherHaveALimit) {
  std::string groups;
  std::string ends;
  for (int i = 0; i < 12; ++i) {
    groups += "<group opacity='0.9'><rectangle width='9' height='9' fill='#f00'/>";
    ends += "</group>";
  }
  ASSERT_TRUE(LoadDocument(Stage(groups + ends)));
  RunTo(0);
  ASSERT_EQ(1u, host_.Notices().size());
  EXPECT_NE(host_.Notices()[0].find("more than 8 half transparent groups"), std::string::npos);
}

TEST_F(ApplicationTest, DrawingEndsWithTheContent) {
  Write("main.lua",
        "local s = ('word '):rep(13000)\n"
        "for i = 1, 60 do stage.create('text', stage.find('s'), {text = s, width = 60,\n"
        "  wrap = 'word', size = 8 + i / 100}) end");
  ASSERT_TRUE(
      LoadDocument("<application width='64' height='36' rate='10'><scene id='s'/>"
                   "<script src='main.lua'/></application>"))
      << error_.message;
  host_.looks = 0;
  host_.cancelAfter = 3;
  const auto began = std::chrono::steady_clock::now();
  RunTo(0);
  EXPECT_GT(host_.looks, 3u) << "it is asked for while texts are laid out";
  EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(20)) << "not all sixty";
}

TEST_F(ApplicationTest, OneWordAndOneLetterHaveTheirLimits) {
  // What the layout library takes minutes for as it is.
  std::string marks = "a";
  for (int i = 0; i < 20000; ++i) marks += "\xcc\x81";
  ASSERT_TRUE(LoadDocument(Stage("<text width='1' wrap='word'>" + std::string(30000, 'w') +
                                 "</text><text id='m'>" + marks + "</text>")));
  RunTo(0);
  ASSERT_EQ(2u, host_.Notices().size());
  EXPECT_NE(host_.Notices()[0].find("...\": it has more than 2000 lines"), std::string::npos);
  EXPECT_EQ("<text> \"m\": more than 30 marks on one letter", host_.Notices()[1]);
}

TEST_F(ApplicationTest, AFileIsOnePictureHoweverOftenItIsShown) {
  const auto open = [this](const char* name) {
    return OpenFile(::open((folder_ / name).c_str(), O_RDONLY));
  };
  std::filesystem::copy_file(std::string(PLEXION_DOCS) + "/clock.png", folder_ / "a.png");
  PictureCache cache(nullptr, {});
  std::string error;
  const std::shared_ptr<Picture> first = cache.Open(open("a.png"), error);
  ASSERT_NE(nullptr, first) << error;
  EXPECT_EQ(first, cache.Open(open("a.png"), error));
  std::filesystem::remove(folder_ / "a.png");
  std::filesystem::copy_file(std::string(PLEXION_DOCS) + "/gallery.png", folder_ / "a.png");
  EXPECT_NE(first, cache.Open(open("a.png"), error)) << "another file of the same name";

  PictureCache small(nullptr, {}, 1000);
  EXPECT_EQ(nullptr, small.Open(open("a.png"), error));
  EXPECT_NE(error.find(" bytes; there is room for 1000"), std::string::npos) << error;
}

TEST_F(ApplicationTest, TracesOfOneMomentHaveALimit) {
  ASSERT_TRUE(
      LoadScript("on('start', function() local s = ('x'):rep(100000)\n"
                 "  for i = 1, 1500 do trace(s, s) end end)\n"
                 "on('keydown', function() trace('next') end)"));
  workPerLook_ = 0;
  RunTo(0);
  const std::vector<std::string> traces = host_.Traces();
  ASSERT_EQ(1000u, traces.size());
  EXPECT_EQ(16384u + 3, traces[0].size());
  EXPECT_EQ("more traces than can be told at one moment", traces.back());
  Press('a');
  EXPECT_EQ("next", host_.Traces().back());
}

TEST_F(ApplicationTest, ItIsToldWhichElementCostsMost) {
  host_.settings.traceFlags = kTraceScript | kTraceFrameRate;
  host_.settings.traceFpsMs = 1000;
  std::string points;
  for (int i = 0; i < 2000; ++i) {
    points += std::to_string(i * 37 % 64) + "," + std::to_string(i * 23 % 36) + " ";
  }
  ASSERT_TRUE(
      LoadDocument(Stage("<rectangle id='plain' width='9' height='9' fill='#fff'/>"
                         "<line id='tangle' stroke='#fff' strokeWidth='9' join='round' points='" +
                         points + "'/>")
                       .insert(std::string("<application width='64' height='36' rate='10'>").size(),
                               "<script>on('frame', function(t) stage.find('plain').x = t "
                               "stage.find('tangle').y = t end)</script>")));
  RunTo(9);
  EXPECT_TRUE(host_.Traces().empty());
  RunTo(10);
  ASSERT_EQ(1u, host_.Traces().size());
  EXPECT_EQ(0u, Trace(0).find("script 0.")) << Trace(0);
  EXPECT_NE(Trace(0).find(" ms a frame; slowest: <line> \"tangle\" "), std::string::npos)
      << Trace(0);
}

TEST_F(ApplicationTest, DataThatIsNoTableIsRefusedBeforeItIsTakenApart) {
  ASSERT_TRUE(
      LoadScript("trace(decode.csv((','):rep(2000) .. '\\n1'))\n"
                 "trace(decode.json((' '):rep(9000000) .. '1'))"))
      << error_.message;
  EXPECT_EQ("nil\tCSV:1: more than 1000 fields; expected fewer, or another separator", Trace(0));
  EXPECT_EQ("nil\tthe text has more than the 8388608 bytes that are allowed", Trace(1));
}

TEST_F(ApplicationTest, MessagesCarryNoControlCharacters) {
  ASSERT_TRUE(LoadDocument(Stage("<image src='&#x9B;2J&#10;x.png'/>")));
  ASSERT_EQ(1u, host_.Notices().size());
  EXPECT_EQ("<image> \"\\xC2\\x9B2J\\x0Ax.png\": ", host_.Notices()[0].substr(0, 31))
      << host_.Notices()[0];
  EXPECT_FALSE(LoadScript("error('\\27[2J')"));
  EXPECT_EQ(std::string::npos, error_.message.find('\x1b')) << error_.message;
  EXPECT_FALSE(
      LoadDocument("<application><scene id='\xc2\x9b'/><scene id='\xc2\x9b'/>"
                   "</application>"));
  EXPECT_EQ(std::string::npos, error_.message.find("\xc2\x9b")) << error_.message;
}

}  // namespace
}  // namespace plexion_host::player::application
