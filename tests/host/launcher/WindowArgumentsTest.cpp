#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/kernel/HostKernel.h"
#include "host/launcher/options/WindowArguments.h"
#include "qx/plexion/IPlexionImpl.h"
#include "qx/plexion/StageWindowParameters.h"

namespace plexion_host {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using Words = std::vector<std::string>;

/// The service itself, to compare with.
class WindowArgumentsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    static HostKernel kernel({"plexion"}, {}, 1, 1);
    IQXModule_QXModule_PutKernel(&kernel);
    service_ = new qx::plexion::IPlexionImpl();
  }
  void TearDown() override { delete service_; }

  /// Whether the service would take `arguments` for up to `maxWindows` windows. Also tells the
  /// contents.
  bool ServiceAccepts(const Words& arguments, size_t maxWindows, Words& contents) {
    qx::plexion::StageWindowParameters parameters{};
    std::vector<const char*> argv = AsArgv("plexion", arguments);
    const int argc = static_cast<int>(argv.size()) - 1;
    int index = 1;
    contents.clear();
    while (contents.size() < maxWindows && index < argc) {
      if (!service_->ParseCommandLineParametersForOneStageWindow(argc, argv.data(), index,
                                                                 parameters, true)) {
        return false;
      }
      if (parameters.contentPath == nullptr) return false;
      contents.emplace_back(parameters.contentPath);
    }
    return !contents.empty() && index == argc;
  }

  void ExpectAgreement(const Words& arguments, size_t maxWindows) {
    Words contents;
    const bool accepted = ServiceAccepts(arguments, maxWindows, contents);
    const WindowLines lines = SplitWindows(arguments, maxWindows);
    std::string text;
    for (const std::string& argument : arguments) text += " '" + argument + "'";
    ASSERT_EQ(accepted, lines.error.empty()) << text << ": " << lines.error;
    Words split;
    for (const WindowLine& line : lines.windows) split.push_back(line.content);
    ASSERT_EQ(contents, split) << text;
  }

  qx::plexion::IPlexionImpl* service_ = nullptr;
};

TEST_F(WindowArgumentsTest, GivesEachWindowItsOptionsAndContent) {
  const WindowLines lines =
      SplitWindows({"--keymaster", "--locale", "de_DE.UTF-8", "a.mvx", "--mousestream",
                    "127.0.0.1:1", "--keymap", "keys", "b.mvx", "c"},
                   64);
  EXPECT_EQ("", lines.error);
  ASSERT_EQ(3U, lines.windows.size());
  EXPECT_THAT(lines.windows[0].arguments,
              ElementsAre("--keymaster", "--locale", "de_DE.UTF-8", "a.mvx"));
  EXPECT_TRUE(lines.windows[0].keyMaster);
  EXPECT_FALSE(lines.windows[1].keyMaster);
  EXPECT_EQ("127.0.0.1:1", lines.windows[1].mouseStream);
  EXPECT_EQ("keys", lines.windows[1].keymap);
  EXPECT_EQ("", lines.windows[2].keymap);
  EXPECT_EQ("de_DE.UTF-8", lines.windows[2].locale) << "handed on from window to window";
}

TEST_F(WindowArgumentsTest, FindsTheWordsForEachMistake) {
  const std::pair<Words, const char*> cases[] = {
      {{}, "no content is named"},
      {{"--instrument"}, "no content behind '--instrument'"},
      {{"a.mvx", "--bgalpha", "7"}, "no content behind '--bgalpha'"},
      {{"--Bgalpha", "7", "a.mvx"}, "unknown option '--Bgalpha'"},
      {{"--keymaster", "--modulemap", "IShell", "a"}, "--modulemap: 'IShell' is not NAME:FILE"},
      {{"--gcheaplimit", "64M", "a"}, "--gcheaplimit: '64M' is not megabytes"},
      {{"--", "a.mvx"}, "unknown option '--'"},
      {{"--outputrect"}, "--outputrect needs X,Y,W,H"},
      {{"--proxyauthentication", "me"}, "--proxyauthentication needs a user name and a password"},
      {{"--outputrect", "0,0,0,9", "a.mvx"}, "'0,0,0,9' is not X,Y,W,H with width and height"},
      {{"--tracefps", "5000", "a.mvx"}, "'5000' is not a duration with its unit"},
      {{"a.xml"}, "--zorbase DIR must stand before it"},
      {{"--zorbase", "d", "a.mvx"}, "expected an application descriptor"},
      {{"a", "b", "c"}, "too many contents: 'c' is one more than the 2 windows"},
  };
  for (const auto& [arguments, message] : cases) {
    EXPECT_THAT(SplitWindows(arguments, 2).error, HasSubstr(message));
    ExpectAgreement(arguments, 2);
  }
}

TEST_F(WindowArgumentsTest, GivesContentsTheOptionsInFrontOfThem) {
  const auto variables = [](const std::vector<ContentOption>& options) {
    WindowLines lines =
        SplitWindows({"--bgalpha", "0", "a", "b", "--morvelvars", "loop=2", "c"}, 3);
    GiveVariables(options, lines.windows);
    Words all;
    for (const WindowLine& line : lines.windows) all.push_back(line.variables);
    return all;
  };
  EXPECT_THAT(variables({}), ElementsAre("", "", "loop=2"));
  EXPECT_THAT(variables({{0, "fit", "cover"}}),
              ElementsAre("fit=cover", "fit=cover", "fit=cover&loop=2"));
  EXPECT_THAT(variables({{3, "fit", "cover"}}), ElementsAre("", "fit=cover", "fit=cover&loop=2"));
  EXPECT_THAT(variables({{2, "fit", "cover"}, {3, "fit", "none"}}),
              ElementsAre("fit=cover", "fit=none", "fit=none&loop=2"));
  EXPECT_THAT(variables({{7, "fit", "a&b"}}),
              ElementsAre("fit=a%26b", "fit=a%26b", "fit=a%26b&loop=2"));
  EXPECT_THAT(variables({{4, "fit", "none"}, {7, "fit", "cover"}}),
              ElementsAre("fit=cover", "fit=cover", "fit=none&loop=2"));
}

TEST_F(WindowArgumentsTest, NamesTheOptionThatWasProbablyMeant) {
  const std::pair<const char*, const char*> cases[] = {
      {"--bgalhpa", "'--bgalpha'"},      {"--Locale", "'--locale'"},
      {"--exit-afer", "'--exit-after'"}, {"--proxyauthentification", "'--proxyauthentication'"},
      {"--zorbas", "'--zorbase'"},       {"--keymapp", "'--keymap'"},
  };
  for (const auto& [typed, meant] : cases) {
    EXPECT_EQ(std::string("unknown option '") + typed + "'; is " + meant + " meant?",
              SplitWindows({typed, "a.mvx"}, 1, {"--exit-after", "--version"}).error);
  }
  for (const std::string& far :
       {std::string("--x"), std::string("--colour"), std::string(200, '-')}) {
    EXPECT_EQ("unknown option '" + far + "'", SplitWindows({far, "a.mvx"}, 1).error);
  }
}

}  // namespace
}  // namespace plexion_host
