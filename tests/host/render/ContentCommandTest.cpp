#include <gtest/gtest.h>

#include "host/launcher/render/ContentCommand.h"

namespace plexion_host {
namespace {

ContentCommand Parse(std::vector<std::string> words) {
  words.insert(words.begin(), {"plexion", "render"});
  return ParseContentCommand(words);
}

TEST(ContentCommandTest, ReadsEveryOptionOfARendering) {
  const ContentCommand command = Parse({"a.mvx", "--frames", "0,30-32", "--size", "64x32", "--out",
                                        "o", "--background", "#10a0FF", "--morvelvars", "x=1"});
  ASSERT_EQ(ContentCommand::Kind::kRender, command.kind) << command.text;
  const RenderRequest& request = command.request;
  EXPECT_EQ("a.mvx", request.content);
  EXPECT_EQ((std::vector<std::pair<uint64_t, uint64_t>>{{0, 0}, {30, 32}}), request.frames);
  EXPECT_EQ(64u, request.width);
  EXPECT_EQ(32u, request.height);
  EXPECT_EQ("o", request.out);
  EXPECT_TRUE(request.hasBackground);
  EXPECT_EQ(0x10a0ffu, request.background);
  EXPECT_EQ("x=1", request.morvelVars);
}

TEST(ContentCommandTest, SaysWhatWasExpected) {
  const struct {
    std::vector<std::string> words;
    const char* expected;
  } cases[] = {
      {{}, "no content is named"},
      {{"a", "--frames", "3-1"}, "'3-1' is not a list of frames"},
      {{"a", "--frames", "1,,2"}, "is not a list of frames"},
      {{"a", "--frames", "99999999999"}, "is not a list of frames"},
      {{"a", "--every", "0"}, "a number of frames from 1"},
      {{"a", "--every", "2", "--frames", "1"}, "expected one of them"},
      {{"a", "--size", "0x5"}, "'0x5' is not a size"},
      {{"a", "--size", "20000x5"}, "is not a size"},
      {{"a", "--background", "red"}, "'red' is not a colour"},
      {{"a", "--shiny"}, "--shiny"},
  };
  for (const auto& [words, expected] : cases) {
    const ContentCommand command = Parse(words);
    EXPECT_EQ(ContentCommand::Kind::kWrong, command.kind) << expected;
    EXPECT_NE(std::string::npos, command.text.find(expected)) << command.text;
  }
}

TEST(ContentCommandTest, OnlyTheFirstWordMakesACommand) {
  EXPECT_TRUE(IsContentCommand({"plexion", "check", "a"}));
  EXPECT_FALSE(IsContentCommand({"plexion", "./check"}));
  EXPECT_FALSE(IsContentCommand({"plexion", "--loop", "render"}));
  EXPECT_FALSE(IsContentCommand({"plexion"}));
}

}  // namespace
}  // namespace plexion_host
