// Lines and their words.

#include <gmock/gmock.h>

#include "host/base/CommandWords.h"
#include "host/shell/LineBuffer.h"

namespace plexion_host {
namespace {

using testing::ElementsAreArray;
using Words = std::vector<std::string>;

TEST(CommandWords, SplitsAndUnquotes) {
  struct Case {
    std::string line;
    Words words;
  };
  const Case cases[] = {
      {"", {}},
      {" \t ", {}},
      {"move 1 2 3", {"move", "1", "2", "3"}},
      {"  a\tb\r", {"a", "b"}},
      {"snapshot \"two words.png\"", {"snapshot", "two words.png"}},
      {"'x y' z", {"x y", "z"}},
      {"a'b c'\"d e\"f", {"ab cd ef"}},
      {"\"\" ''", {"", ""}},
      {"a\\ b \\\"c", {"a b", "\"c"}},
      {"\"q\\\"q\" 'b\\s'", {"q\"q", "b\\s"}},
      {"go # to the end", {"go"}},
      {"go a#b '#'", {"go", "a#b", "#"}},
  };
  for (const Case& each : cases) {
    Words words{"left over"};
    std::string error;
    EXPECT_TRUE(SplitCommandWords(each.line, words, error)) << each.line << ": " << error;
    EXPECT_THAT(words, ElementsAreArray(each.words)) << each.line;
  }
}

TEST(CommandWords, SaysWhereALineIsWrong) {
  const std::pair<std::string, std::string> cases[] = {
      {"go \"abc", "the quote \" at column 4 has no partner"},
      {"'", "the quote ' at column 1 has no partner"},
      {"a 'b\"", "the quote ' at column 3 has no partner"},
      {"abc\\", "a backslash at column 4 with nothing behind it"},
      {std::string("ab\0c", 4), "a zero byte at column 3; expected text"},
      {std::string("ab\\\0c", 5), "a zero byte at column 4; expected text"},
  };
  for (const auto& [line, expected] : cases) {
    Words words;
    std::string error;
    EXPECT_FALSE(SplitCommandWords(line, words, error)) << line;
    EXPECT_EQ(error, expected);
  }
}

TEST(LineBuffer, CutsLinesAndBoundsThem) {
  LineBuffer lines;
  const std::string big(LineBuffer::kMaxLineBytes, 'x');
  const std::string input = "one\r\n\n" + big + "\n" + big + "y\nrest";
  for (const char c : input) lines.Append(&c, 1);
  EXPECT_EQ(lines.Take().text, "one");
  EXPECT_EQ(lines.Take().text, "");
  const LineBuffer::Line fits = lines.Take();
  EXPECT_FALSE(fits.tooLong);
  EXPECT_EQ(fits.text, big);
  EXPECT_TRUE(lines.Take().tooLong);
  EXPECT_TRUE(lines.IsEmpty());
  lines.Finish();
  ASSERT_FALSE(lines.IsEmpty());
  EXPECT_EQ(lines.Take().text, "rest");
  lines.Finish();
  EXPECT_TRUE(lines.IsEmpty());
}

}  // namespace
}  // namespace plexion_host
