#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "host/launcher/options/CommandLine.h"
#include "host/launcher/options/Help.h"

namespace plexion_host {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Words = std::vector<std::string>;

CommandLine Parse(Words arguments) {
  arguments.insert(arguments.begin(), "plexion");
  return ParseCommandLine(arguments);
}

TEST(CommandLineTest, TakesItsOwnOptionsOutAndLeavesTheRestInOrder) {
  const CommandLine line =
      Parse({"--screen", "640x480", "--outputrect", "0,0,10,10", "--display=headless", "a.mvx",
             "--snapshot", "x.png", "--bgalpha", "3", "--snapshot-at=20", "b.mvx"});
  ASSERT_EQ(CommandLine::Kind::kRun, line.kind) << line.error;
  EXPECT_EQ(640U, line.options.display.width);
  EXPECT_EQ(480U, line.options.display.height);
  EXPECT_EQ(DisplayMode::kHeadless, line.options.display.mode);
  EXPECT_EQ("x.png", line.options.snapshotFile);
  EXPECT_EQ(20, line.options.snapshotAtMs);
  EXPECT_THAT(line.windowArguments,
              ElementsAre("--outputrect", "0,0,10,10", "a.mvx", "--bgalpha", "3", "b.mvx"));
}

TEST(CommandLineTest, ThePagesAddressIsAsBrowsersWriteIt) {
  const CommandLine line = Parse({"a.mvx", "--look", "[0:0::0001]:8080"});
  ASSERT_EQ(CommandLine::Kind::kRun, line.kind) << line.error;
  ASSERT_TRUE(line.options.look);
  EXPECT_EQ("::1", line.options.look->address);
  EXPECT_TRUE(line.options.look->IsLoopback());
}

TEST(CommandLineTest, LeavesTheValuesOfTheServicesOptionsAlone) {
  const CommandLine line =
      Parse({"--zorcmdline", "--loop", "--proxyauthentication", "--help", "--version", "--proxy",
             "10.0.0.1", "8080", "--zorbase", "--signage", "a.xml"});
  ASSERT_EQ(CommandLine::Kind::kRun, line.kind) << line.error;
  EXPECT_FALSE(line.options.signage);
  EXPECT_EQ(11U, line.windowArguments.size());
}

TEST(CommandLineTest, SharesTheModuleMapWithTheService) {
  const CommandLine line = Parse({"--modulemap", "IShell:my/Shell.so", "--modulemap",
                                  "IMouseStream::a:b.so", "--modulepath", "/a", "--modulepath",
                                  "/b", "--useshell", "--keymap", "keys", "a.mvx"});
  ASSERT_EQ(CommandLine::Kind::kRun, line.kind) << line.error;
  EXPECT_EQ("my/Shell.so", line.options.moduleMap.at("IShell"));
  EXPECT_EQ("a:b.so", line.options.moduleMap.at("IMouseStream"));
  EXPECT_THAT(line.options.modulePath, ElementsAre("/a", "/b"));
  EXPECT_THAT(line.windowArguments,
              ElementsAre("--modulemap", "IShell:my/Shell.so", "--modulemap",
                          "IMouseStream::a:b.so", "--useshell", "--keymap", "keys", "a.mvx"));
}

TEST(CommandLineTest, ReadsTheKeyModes) {
  struct {
    const char* text;
    qx::plexion::KeyInputMode mode;
    int64_t delayMs, intervalMs;
  } const cases[] = {
      {"direct", qx::plexion::kKeyInputModeDirect, 50, 50},
      {"simulate-key-up", qx::plexion::kKeyInputModeSimulateKeyUp, 50, 50},
      {"simulate-key-up,200", qx::plexion::kKeyInputModeSimulateKeyUp, 200, 50},
      {"auto-repeat", qx::plexion::kKeyInputModeAutoRepeat, 500, 100},
      {"auto-repeat,300,40", qx::plexion::kKeyInputModeAutoRepeat, 300, 40},
  };
  for (const auto& expected : cases) {
    const CommandLine line = Parse({"--key-mode", expected.text, "a.mvx"});
    ASSERT_TRUE(line.options.keyMode.has_value()) << expected.text << ": " << line.error;
    EXPECT_EQ(expected.mode, line.options.keyMode->mode) << expected.text;
    EXPECT_EQ(expected.delayMs, line.options.keyMode->delayMs) << expected.text;
    EXPECT_EQ(expected.intervalMs, line.options.keyMode->intervalMs) << expected.text;
  }
  EXPECT_FALSE(Parse({"a.mvx"}).options.keyMode.has_value()) << "the service keeps its own";
}

TEST(CommandLineTest, SaysWhatIsWrongAndWhatWouldBeRight) {
  const std::pair<Words, const char*> cases[] = {
      {{"--display", "tv"}, "--display: 'tv' is not auto, window, fullscreen or headless"},
      {{"--screen", "640"}, "--screen: '640' is not a size WxH"},
      {{"--screen", "0x480"}, "--screen: '0x480' is not a size WxH"},
      {{"--screen", "640x480x2"}, "--screen: '640x480x2' is not a size WxH"},
      {{"--screen", "99999x1"}, "--screen: '99999x1' is not a size WxH"},
      {{"--screen"}, "--screen"},
      {{"--snapshot", "a.png", "--snapshot-at", "-5"}, "'-5' is not a number of milliseconds"},
      {{"--snapshot-at", "5"}, "--snapshot-at: it needs --snapshot FILE"},
      {{"--exit-after", "9999999999999"}, "is not a number of milliseconds"},
      {{"--key-mode", "direct,5"}, "--key-mode: 'direct,5' is not direct,"},
      {{"--key-mode", "auto-repeat,5"}, "'auto-repeat,5' is not"},
      {{"--key-mode", "simulate-key-up,x"}, "'simulate-key-up,x' is not"},
      {{"--start-at", "25:00:00"}, "--start-at: '25:00:00' is not a time"},
      {{"--modulemap", "IShell"}, "--modulemap: 'IShell' is not NAME:FILE"},
      {{"--load-timeout", "0"}, "--load-timeout: '0' is not a number of milliseconds"},
      {{"--loop"}, "--loop: it needs --signage"},
      {{"--display", "window", "--display", "window"}, "--display"},
  };
  for (auto [arguments, message] : cases) {
    arguments.emplace_back("a.mvx");
    if (arguments[0] == "--screen" && arguments.size() == 2) arguments.pop_back();
    const CommandLine line = Parse(arguments);
    EXPECT_EQ(CommandLine::Kind::kWrong, line.kind) << arguments[0];
    EXPECT_THAT(line.error, HasSubstr(message));
  }
}

TEST(CommandLineTest, HelpAndVersionComeBeforeEverythingElse) {
  EXPECT_EQ(CommandLine::Kind::kHelp, Parse({"--help", "--display", "nonsense"}).kind);
  EXPECT_EQ(CommandLine::Kind::kHelp, Parse({"-h"}).kind);
  EXPECT_EQ(CommandLine::Kind::kVersion, Parse({"a.mvx", "--version"}).kind);
  EXPECT_EQ("display", Parse({"--help", "display"}).helpTopic);
  EXPECT_EQ("all", Parse({"a.mvx", "-h", "all"}).helpTopic);
  EXPECT_EQ("log", Parse({"--help=log"}).helpTopic);
  EXPECT_EQ("", Parse({"--display", "window", "--help"}).helpTopic);
}

TEST(HelpTest, EachPageFitsAScreenAndTogetherTheyHaveEveryOption) {
  std::vector<std::string> topics = HelpTopics();
  std::string pages;
  topics.emplace_back("");
  for (const std::string& topic : topics) {
    const std::string page = HelpPage(topic);
    ASSERT_FALSE(page.empty()) << topic;
    EXPECT_LE(std::count(page.begin(), page.end(), '\n'), 24) << page;
    std::istringstream lines(page);
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 79U) << line;
    if (!topic.empty()) pages += page;
  }
  for (const std::vector<OptionHelp>& list : {LauncherOptionHelp(), WindowOptionHelp()}) {
    for (const OptionHelp& option : list) {
      const std::string name = option.name.substr(0, option.name.find(' '));
      EXPECT_THAT(pages, HasSubstr("\n  " + name)) << "on some page";
      EXPECT_THAT(HelpPage("all"), HasSubstr("\n  " + name));
    }
  }
  EXPECT_EQ("", HelpPage("nonsense"));
  const std::string usage = ShortUsage();
  EXPECT_LE(std::count(usage.begin(), usage.end(), '\n'), 3);
}

}  // namespace
}  // namespace plexion_host
