// What texts of others become before they are read or printed.

#include <gtest/gtest.h>

#include <clocale>

#include "host/base/Text.h"

namespace plexion_host {
namespace {

TEST(Text, ReadsWholeNumbersOfItsRangeOnly) {
  const std::pair<const char*, std::optional<int64_t>> cases[] = {
      {"0", 0},     {"-7", -7},
      {"007", 7},   {"100", 100},
      {"101", {}},  {"-8", {}},
      {"", {}},     {" 1", {}},
      {"1 ", {}},   {"+1", {}},
      {"1x", {}},   {"-", {}},
      {"0x10", {}}, {"99999999999999999999", {}},
      {"1e2", {}}};
  for (const auto& [text, number] : cases) {
    EXPECT_EQ(ReadWholeNumber(text, -7, 100), number) << "'" << text << "'";
  }
}

TEST(Text, ReadsNumbersOfItsRangeOnlyAndWithAPointInEveryLanguage) {
  const std::pair<const char*, std::optional<double>> cases[] = {
      {"0", 0},    {"-7", -7},    {"1.5", 1.5}, {".5", 0.5},  {"007.250", 7.25}, {"100", 100},
      {"-8", {}},  {"100.1", {}}, {"", {}},     {" 1", {}},   {"1 ", {}},        {"+1", {}},
      {"1,5", {}}, {"1.5x", {}},  {"1..5", {}}, {".", {}},    {"-", {}},         {"0x10", {}},
      {"1e1", {}}, {"inf", {}},   {"nan", {}},  {"-inf", {}}, {"infinity", {}}};
  // Where the machine has it: there the C library reads "1,5" and stops at the point of "1.5".
  const char* const german = std::setlocale(LC_NUMERIC, "de_DE.UTF-8");
  for (const auto& [text, number] : cases) {
    EXPECT_EQ(ReadNumber(text, -7, 100), number) << "'" << text << "'";
  }
  if (german != nullptr) std::setlocale(LC_NUMERIC, "C");
  EXPECT_EQ(ReadNumber("inf"), std::nullopt) << "no range makes it a number";
  EXPECT_EQ(ReadNumber(std::string(400, '9')), std::nullopt);
}

TEST(Text, ReadsAndWritesHexadecimalDigits) {
  const std::pair<const char*, std::optional<uint64_t>> cases[] = {
      {"0", 0},   {"fF", 255}, {"100", {}}, {"", {}},   {"0x1", {}},
      {"-1", {}}, {"+1", {}},  {"g", {}},   {" 1", {}}, {"10000000000000000", {}}};
  for (const auto& [text, number] : cases) EXPECT_EQ(ReadHexNumber(text, 255), number) << text;
  EXPECT_EQ(HexText("\x01\xAB\xFF"), "01abff");
  std::string decoded;
  EXPECT_TRUE(DecodePercent(EncodePercent("a%\xC3\xA4/ b"), decoded));
  EXPECT_EQ(decoded, "a%\xC3\xA4/ b");
  for (const char* const torn : {"%", "a%4", "%4g", "%%41"}) {
    EXPECT_FALSE(DecodePercent(torn, decoded)) << torn;
  }
}

TEST(Text, CutsBetweenCharacters) {
  const std::string text = "a\xE2\x82\xAC\xC3\xA4";
  const size_t kept[] = {0, 1, 1, 1, 4, 4, 6, 6};
  for (size_t most = 0; most < 8; ++most)
    EXPECT_EQ(Utf8Prefix(text, most).size(), kept[most]) << most;
  // No UTF-8 at all: nothing of it is a whole character.
  EXPECT_EQ(Utf8Prefix("\x80\x80\x80", 2), "");
}

TEST(Text, EscapesWhatATerminalWouldObeyAndNothingElse) {
  const std::pair<std::string, std::string> cases[] = {
      {"plain \xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80", "plain \xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"},
      {"\x1B[2Jred", "\\x1B[2Jred"},
      {std::string("a\0b", 3), "a\\x00b"},
      {"bell\x07 del\x7F back\b", "bell\\x07 del\\x7F back\\x08"},
      {"\xC2\x9B"
       "2J",
       "\\xC2\\x9B"
       "2J"},                              // the same command in one code point
      {"cut \xE2\x82", "cut \\xE2\\x82"},  // no UTF-8: too short,
      {"\xC0\xAF \xED\xA0\x80", "\\xC0\\xAF \\xED\\xA0\\x80"},  // too long, and a surrogate
      {"\xF4\x90\x80\x80", "\\xF4\\x90\\x80\\x80"},             // beyond the last
      {"a\xE2\x80\xAE"
       "gpj.exe",
       "a\\u{202E}gpj.exe"},
  };
  for (const auto& [text, shown] : cases) {
    EXPECT_EQ(Printable(text), shown);
    EXPECT_EQ(PrintableWord(text), shown);
  }
  EXPECT_EQ(Printable("two\n\tlines\r\n"), "two\n\tlines\\x0D\n");
  EXPECT_EQ(PrintableWord("two\n\tlines"), "two\\x0A\\x09lines");
}

TEST(Text, WritesEveryCodePointAsItReadsIt) {
  for (char32_t codePoint = 0; codePoint <= 0x10FFFF; codePoint += 0x101) {
    if (codePoint >= 0xD800 && codePoint <= 0xDFFF) continue;
    std::string bytes;
    AppendUtf8(bytes, codePoint);
    std::string_view rest = bytes;
    ASSERT_EQ(TakeCodePoint(rest), codePoint);
    ASSERT_TRUE(rest.empty()) << static_cast<uint32_t>(codePoint);
  }
}

TEST(Text, TrimsAndLowersWhatItKnowsOnly) {
  EXPECT_EQ(Trim(" \t a b\r\n"), "a b");
  EXPECT_EQ(Trim(" \t\n"), "");
  EXPECT_EQ(Trim(""), "");
  EXPECT_EQ(LowerAscii("ABZ az 09 @[\xC3\x84"), "abz az 09 @[\xC3\x84")
      << "no other letter changes";
}

TEST(Text, SplitsWithoutLosingEmptyPieces) {
  EXPECT_EQ(SplitAt("a,,b", ','), (std::vector<std::string>{"a", "", "b"}));
  EXPECT_EQ(SplitAt("", ',').size(), 1U);
  EXPECT_EQ(SplitAt(",", ',').size(), 2U);
  EXPECT_EQ(Join({"a", "b", "c"}), "a, b, c");
}

}  // namespace
}  // namespace plexion_host
