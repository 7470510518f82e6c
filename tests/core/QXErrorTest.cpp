// Error values: equality, and names that are cut to their room.

#include <gtest/gtest.h>

#include <cstring>

#include "qx/core/QXError.h"

namespace {

TEST(QXErrorValues, AreEqualWhenTheirCodesAre) {
  EXPECT_TRUE(QXError("a", 9) == QXError("b", 9));
  EXPECT_FALSE(QXError("a", 9) == QXError("a", 8));
  EXPECT_TRUE(QXError_OK != QXError_Generic);
}

TEST(QXErrorValues, KeepThirtyOneCharactersOfALongName) {
  const QXError error("0123456789012345678901234567890123456789", 1);
  EXPECT_STREQ(error.name, "0123456789012345678901234567890");
  QXError copy(QXError_OK);
  copy = error;
  EXPECT_STREQ(copy.name, error.name);
  EXPECT_EQ(copy.code, 1);
  QXError& same = copy;
  copy = same;
  EXPECT_STREQ(copy.name, error.name);
}

TEST(QXErrorText, IsCopiedUpToTheSizeAndTerminated) {
  struct {
    const char* source;
    unsigned long size;
    const char* expected;
  } const cases[] = {
      {"abc", 4, "abc"}, {"abc", 3, "ab"}, {"abc", 1, ""}, {"", 5, ""}, {nullptr, 5, ""},
  };
  for (const auto& c : cases) {
    char out[8];
    std::memset(out, '#', sizeof out);
    QXError::strncpyTerm(out, c.source, c.size);
    EXPECT_STREQ(out, c.expected);
    // What lies behind the terminator is not padded.
    EXPECT_EQ(out[std::strlen(c.expected) + 1], '#');
  }
  char untouched = '#';
  QXError::strncpyTerm(&untouched, "abc", 0);
  EXPECT_EQ(untouched, '#');
}

}  // namespace
