// Applications that are being written: what changes is read again, and mistakes stand over the picture.
#include <algorithm>

#include "tests/host/application/ApplicationFixture.h"

namespace plexion_host::player::application {
namespace {

constexpr uint32_t kRed = 0xFFFF0000;
constexpr uint32_t kBlue = 0xFF0000FF;

class WatchTest : public ApplicationTest {
 protected:
  WatchTest() { watchFiles_ = true; }

  static std::string Document(const std::string& fill, const std::string& more = "") {
    return "<application width='64' height='36' rate='10'><scene id='one'>"
           "<rectangle id='box' width='64' height='36' fill='" +
           fill + "'/>" + more + "</scene><scene id='two'><text id='note' text='a'/></scene>" +
           "<script src='main.lua'/></application>";
  }
  template <typename Done>
  void PlayUntil(const Done& done) {
    while (!done()) {
      ASSERT_TRUE(host_.WaitForRequest());
      Visit(position_);
    }
  }
};

TEST_F(WatchTest, ChangedFilesAreReadAgainAndValuesStay) {
  Write("main.lua",
        "trace('first', time())\non('keydown', function(key)\n"
        "  stage.find('note').text = 'kept' stage.find('box').y = 4 end)");
  ASSERT_TRUE(LoadDocument(Document("#ff0000"))) << error_.message;
  RunTo(20);
  Press('a');
  EXPECT_EQ(kRed, At(30, 20));
  Write("application.xml", Document("#0000ff"));
  PlayUntil([this] { return At(30, 20) == kBlue; });
  EXPECT_NE(kBlue, At(30, 1)) << "what the script had set stays where the document has not changed";
  EXPECT_EQ("first\t2.0", host_.Traces().back()) << "time goes on";
  Write("main.lua",
        "trace('second', stage.find('note').text, stage.find('box').y)\n"
        "require('part')");
  PlayUntil([this] { return !host_.Notices().empty(); });
  Write("part.lua", "trace('part')");
  PlayUntil([this] { return host_.Traces().back() == "part"; });
  EXPECT_EQ("second\tkept\t4.0", host_.Traces()[host_.Traces().size() - 2]);
  Write("part.lua", "trace('part again')");
  PlayUntil([this] { return host_.Traces().back() == "part again"; });
  EXPECT_EQ(kStatusUnconfigured, host_.failure.status);
}

TEST_F(WatchTest, AMistakeStandsOverTheLastGoodPicture) {
  Write("main.lua", "on('keydown', function() stage.find('box').fill = '#0000ff' end)");
  ASSERT_TRUE(LoadDocument(Document("#ff0000")));
  RunTo(0);
  Write("application.xml", Document("#00ff00").substr(0, 150));
  PlayUntil([this] { return !host_.Notices().empty(); });
  EXPECT_NE(host_.Notices()[0].find("application.xml:1:"), std::string::npos) << host_.Notices()[0];
  EXPECT_NE(host_.Notices()[0].find("; what was read before plays on"), std::string::npos);
  EXPECT_EQ(kRed, At(30, 1)) << "the last good picture";
  EXPECT_NE(kRed, At(2, 35)) << "and the mistake over its lower edge";
  Press('a');
  EXPECT_EQ(kBlue, At(30, 1)) << "it plays on";
  Write("application.xml", Document("#00ff00"));
  PlayUntil([this] { return At(30, 1) == 0xFF00FF00; });
  EXPECT_EQ(0xFF00FF00, At(2, 35)) << "the mistake is gone";
  EXPECT_EQ(1u, host_.Notices().size());
}

TEST_F(WatchTest, AChangedPictureIsShownWithoutStartingAgain) {
  std::filesystem::copy_file(std::string(PLEXION_DOCS) + "/clock.png", folder_ / "a.png");
  Write("main.lua", "trace('started')");
  ASSERT_TRUE(
      LoadDocument(Document("#ff0000", "<image src='a.png' width='64' height='36' fit='fill'/>")));
  RunTo(0);
  const std::vector<uint32_t> before = pixels_;
  std::filesystem::copy_file(std::string(PLEXION_DOCS) + "/gallery.png", folder_ / "a.png",
                             std::filesystem::copy_options::overwrite_existing);
  PlayUntil([&] { return pixels_ != before; });
  EXPECT_EQ(std::vector<std::string>{"started"}, host_.Traces());
}

TEST_F(ApplicationTest, ItsAuthorIsToldWhatIsNotUsedAndNotThere) {
  Write("main.lua",
        "local t = files.json('data.json') require('parts.clock') stage.show('two')\n"
        "local p = 'flags/' .. t.flag");
  Write("data.json", "{\"flag\": \"at\", \"logo\": \"sea.png\"}");
  Write("parts/clock.lua", "");
  for (const char* name : {"sea.png", "a.png", "old/menu.lua", "flags/at.png", "fonts/a.ttf",
                           "README.md", ".hidden"}) {
    Write(name, "x");
  }
  ASSERT_TRUE(
      LoadDocument("<application><scene id='one'><media src='intro.mp4' visible='false'/></scene>"
                   "<scene id='two'/><scene id='three'/><script src='main.lua'/></application>"))
      << error_.message;
  EXPECT_EQ(
      (std::vector<std::string>{
          "not used: \"a.png\" is named nowhere", "not used: \"old/menu.lua\" is named nowhere",
          "not there: <media> \"intro.mp4\": cannot open \"intro.mp4\": No such file or directory",
          "not used: scene \"three\" is shown by no script"}),
      engine_->Findings());
}

TEST_F(ApplicationTest, WithoutWatchingNothingIsReadAgain) {
  ASSERT_TRUE(LoadScript(""));
  RunTo(0);
  Write("main.lua", "error('new')");
  RunTo(100);
  EXPECT_TRUE(host_.notes.empty());
}

}  // namespace
}  // namespace plexion_host::player::application
