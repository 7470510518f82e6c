// Texts: both forms, growth, refusals, and random operations beside a twin.

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "qx/core/QXString.h"
#include "tests/core/RecordingKernel.h"

namespace {

using tests::RecordingKernel;

std::u16string Units(const QXString& text) {
  const unsigned short* units = text.Units();
  EXPECT_EQ(units[text.Length()], 0) << "the text is terminated";
  return std::u16string(units, units + text.Length());
}

void Assign16(QXString& text, const std::u16string& units) {
  const std::vector<unsigned short> copy(units.begin(), units.end());
  text.Assign16(copy.data(), copy.size());
}

// The references: one decoder and one encoder that share no code and no table with the class.

unsigned LengthOf(unsigned char lead) {
  unsigned ones = 0;
  while (ones < 8 && (lead & (0x80u >> ones)) != 0) ++ones;
  if (ones < 2) return 1;
  return ones > 6 ? 6 : ones;
}

/// The 32-bit value of a sequence: each byte without its mark, in its place.
uint32_t ValueOf(const std::string& bytes, size_t at) {
  static const unsigned char kMarks[] = {0, 0, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC};
  const unsigned length = LengthOf(static_cast<unsigned char>(bytes[at]));
  uint64_t value = 0;
  for (unsigned i = 0; i < length; ++i) {
    const int64_t byte = static_cast<unsigned char>(bytes[at + i]);
    const int64_t mark = i > 0 ? 0x80 : kMarks[length];
    value += static_cast<uint64_t>(byte - mark) << (6 * (length - 1 - i));
  }
  return static_cast<uint32_t>(value);
}

std::u16string Decoded(const std::string& bytes) {
  std::u16string out;
  size_t at = 0;
  while (at < bytes.size()) {
    const unsigned length = LengthOf(static_cast<unsigned char>(bytes[at]));
    if (at + length > bytes.size()) break;
    const uint32_t value = ValueOf(bytes, at);
    at += length;
    if (value > 0x10FFFF || (value >= 0xD800 && value < 0xE000)) {
      out += u'\xFFFD';
    } else if (value > 0xFFFF) {
      out += static_cast<char16_t>(0xD7C0 + value / 1024);
      out += static_cast<char16_t>(0xDC00 + value % 1024);
    } else {
      out += static_cast<char16_t>(value);
    }
  }
  return out;
}

std::string Encoded(const std::u16string& units) {
  std::string out;
  const auto put = [&](uint32_t byte) { out += static_cast<char>(byte); };
  for (size_t i = 0; i < units.size() && units[i] != 0; ++i) {
    uint32_t point = units[i];
    if (point / 1024 == 0xD800 / 1024) {
      const bool paired = i + 1 < units.size() && units[i + 1] / 1024 == 0xDC00 / 1024;
      point = paired ? 0x10000 + point % 1024 * 1024 + units[++i] % 1024 : 0xFFFD;
    }
    if (point < 0x80) {
      put(point);
    } else if (point < 0x800) {
      put(0xC0 + point / 64);
      put(0x80 + point % 64);
    } else if (point < 0x10000) {
      put(0xE0 + point / 4096);
      put(0x80 + point / 64 % 64);
      put(0x80 + point % 64);
    } else {
      put(0xF0 + point / 262144);
      put(0x80 + point / 4096 % 64);
      put(0x80 + point / 64 % 64);
      put(0x80 + point % 64);
    }
  }
  return out;
}

class QXStrings : public ::testing::Test {
 protected:
  void SetUp() override { kernel.Restart(); }
  void TearDown() override { EXPECT_TRUE(kernel.live.empty()) << "a string kept memory"; }
  RecordingKernel& kernel = RecordingKernel::Get();
};

TEST_F(QXStrings, DecodeOneSequence) {
  struct {
    const char* bytes;
    unsigned first;
    unsigned second;
    unsigned taken;
  } const cases[] = {
      {"\xC3\xA9", 0xE9, 0, 2},
      {"\xF0\x9F\x98\x80", 0xD83D, 0xDE00, 4},
      {"\xED\xA0\x80", 0xFFFD, 0, 3},              // an encoded surrogate
      {"\xED\xBF\xBF", 0xFFFD, 0, 3},              // the last one
      {"\xEE\x80\x80", 0xE000, 0, 3},              // the first value behind them
      {"\xA9", 0xA9, 0, 1},                        // a stray continuation byte is Latin-1
      {"A", 0x41, 0, 1},                           //
      {"\xC0\x80", 0, 0, 2},                       // overlong forms pass
      {"\xC3\x28", 0x68, 0, 2},                    // unchecked continuation: 0xC0 + 0x28 - 0x80
      {"\xEF\xBF\xBF", 0xFFFF, 0, 3},              //
      {"\xF0\x90\x80\x80", 0xD800, 0xDC00, 4},     // the first one that needs two units
      {"\xF4\x8F\xBF\xBF", 0xDBFF, 0xDFFF, 4},     // the last code point
      {"\xF4\x90\x80\x80", 0xFFFD, 0, 4},          // one too many
      {"\xF8\x88\x80\x80\x80", 0xFFFD, 0, 5},      //
      {"\xFC\x84\x80\x80\x80\x80", 0xFFFD, 0, 6},  //
      {"\xFF\xBF\xBF\xBF\xBF\xBF", 0xFFFD, 0, 6},  //
  };
  const QXString decoder;
  for (const auto& c : cases) {
    unsigned short first = 1;
    unsigned short second = 1;
    const auto* bytes = reinterpret_cast<const unsigned char*>(c.bytes);
    EXPECT_EQ(decoder._UTF8toU16Char(bytes, &first, &second), c.taken) << c.bytes;
    EXPECT_EQ(first, c.first) << c.bytes;
    EXPECT_EQ(second, c.second) << c.bytes;
  }
}

TEST_F(QXStrings, EncodePairsAndUnpairedSurrogates) {
  struct {
    std::u16string units;
    const char* bytes;
  } const cases[] = {
      {u"\xD83D\xDE00", "\xF0\x9F\x98\x80"},
      {u"\xD800\xDC00\xDBFF\xDFFF", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
      {u"\xD83D", "\xEF\xBF\xBD"},    // a high one at the end
      {u"\xD83Dx", "\xEF\xBF\xBDx"},  // a high one before something else
      {u"\xD83D\xD83D\xDE00", "\xEF\xBF\xBD\xF0\x9F\x98\x80"},
      {u"\xDE00", "\xED\xB8\x80"},  // a low one stands for itself
      {u"a\x7F\x80\x7FF\x800", "a\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80"},
  };
  for (const auto& c : cases) {
    QXString text;
    Assign16(text, c.units);
    EXPECT_STREQ(text.Utf8(), c.bytes);
  }
}

TEST_F(QXStrings, AreAllZeroAndReadAsEmptyByDefault) {
  const QXString text;
  EXPECT_EQ(text.utf8, nullptr);
  EXPECT_EQ(text.data, nullptr);
  EXPECT_EQ(text.length, 0u);
  EXPECT_EQ(text.capacity, 0u);
  EXPECT_EQ(text.Units(), &text.emptyText);
  EXPECT_STREQ(text.Utf8(), "");
  EXPECT_EQ(kernel.allocations, 0u);
}

TEST_F(QXStrings, BuiltFromBytesHaveRoomForOneUnitAByteUnlessTooMuchIsLeft) {
  struct {
    std::string bytes;
    unsigned length;
    unsigned capacity;
  } const cases[] = {
      {"abc", 3, 4},
      {std::string(64, 'a') + "\xC3\xA9", 65, 67},
      // 128 pairs of bytes leave 128 units unused: kept. One more is moved to its exact size.
      {[] {
         std::string s;
         for (int i = 0; i < 128; ++i) s += "\xC3\xA9";
         return s;
       }(),
       128, 257},
      {[] {
         std::string s;
         for (int i = 0; i < 129; ++i) s += "\xC3\xA9";
         return s;
       }(),
       129, 130},
      // Nothing but the start of a sequence that is not all there: an empty text has no storage.
      {"\xE2\x82", 0, 0},
      {"ab\xE2\x82", 2, 5},
  };
  for (const auto& c : cases) {
    const QXString text(c.bytes.c_str());
    EXPECT_EQ(text.length, c.length);
    EXPECT_EQ(text.capacity, c.capacity);
    EXPECT_EQ(text.data == nullptr, c.length == 0);
  }
}

TEST_F(QXStrings, GrowByTheSmallestMultipleOfTwiceTheCapacity) {
  struct {
    unsigned before;
    unsigned added;
    unsigned capacity;
  } const cases[] = {
      {0, 5, 6},    // no capacity yet: what is needed
      {3, 3, 8},    // 4 units, 7 needed
      {3, 4, 16},   // 8 needed, and the multiple is greater than that
      {3, 13, 24},  // 17 needed
      {9, 1, 20},
  };
  for (const auto& c : cases) {
    QXString text(std::string(c.before, 'a').c_str());
    text.Append(std::string(c.added, 'b').c_str());
    EXPECT_EQ(text.capacity, c.capacity) << c.before << " + " << c.added;
    EXPECT_EQ(text.Length(), c.before + c.added);
  }
}

TEST_F(QXStrings, DropTheirUtf8FormWithEveryChange) {
  const QXString other("other");
  const unsigned short units[] = {'x', 'y'};
  struct {
    const char* what;
    void (*change)(QXString&, const QXString&, const unsigned short*);
    const char* expected;
  } const cases[] = {
      {"Assign", [](QXString& s, const QXString&, const unsigned short*) { s.Assign("new"); },
       "new"},
      {"=", [](QXString& s, const QXString& o, const unsigned short*) { s = o; }, "other"},
      {"Assign16", [](QXString& s, const QXString&, const unsigned short* u) { s.Assign16(u, 2); },
       "xy"},
      {"Append", [](QXString& s, const QXString&, const unsigned short*) { s.Append("+"); },
       "text+"},
      {"Append string", [](QXString& s, const QXString& o, const unsigned short*) { s.Append(o); },
       "textother"},
      {"Append16", [](QXString& s, const QXString&, const unsigned short* u) { s.Append16(u, 2); },
       "textxy"},
      {"Clear", [](QXString& s, const QXString&, const unsigned short*) { s.Clear(); }, ""},
      {"Assign null",
       [](QXString& s, const QXString&, const unsigned short*) {
         s.Assign(static_cast<const char*>(nullptr));
       },
       ""},
  };
  for (const auto& c : cases) {
    QXString text("text");
    ASSERT_STREQ(text.Utf8(), "text");
    c.change(text, other, units);
    EXPECT_STREQ(text.Utf8(), c.expected) << c.what;
  }
}

TEST_F(QXStrings, MakeTheirUtf8FormOnce) {
  const QXString text("caf\xC3\xA9");
  const char* first = text.Utf8();
  const unsigned allocations = kernel.allocations;
  EXPECT_EQ(text.Utf8(), first);
  EXPECT_EQ(kernel.allocations, allocations);
}

TEST_F(QXStrings, TakeTheirOwnTextAsArgument) {
  QXString text("ab\xC3\xA9");
  text.Append(text.Utf8());
  EXPECT_STREQ(text.Utf8(),
               "ab\xC3\xA9"
               "ab\xC3\xA9");
  text.Append(text);
  EXPECT_EQ(text.Length(), 12u);
  text.Assign(text.Utf8() + 2);
  EXPECT_EQ(text.Length(), 10u);
  text.Assign16(text.data + 8, 2);
  EXPECT_EQ(Units(text), u"b\xE9");
  const QXString& same = text;
  text = same;
  EXPECT_EQ(Units(text), u"b\xE9");
}

TEST_F(QXStrings, KeepStorageWhenClearedAndFreeItWhenAssignedNothing) {
  QXString text("text");
  text.Clear();
  EXPECT_EQ(text.capacity, 5u);
  EXPECT_EQ(text.Units()[0], 0);
  text.Assign("");
  EXPECT_EQ(text.data, nullptr);
  EXPECT_EQ(text.capacity, 0u);
}

TEST_F(QXStrings, CompareByTheirUnits) {
  EXPECT_TRUE(QXString("abc").Equals(QXString("abc")));
  EXPECT_FALSE(QXString("abc").Equals(QXString("abd")));
  EXPECT_FALSE(QXString("abc").Equals(QXString("ab")));
  EXPECT_TRUE(QXString().Equals(QXString("")));
}

TEST_F(QXStrings, StayWholeWhenAnAllocationIsRefused) {
  // Each allocation in turn; the outcome is one of the two texts, or the empty one.
  for (unsigned refused = 0; refused < 6; ++refused) {
    QXString text("before");
    kernel.RefuseAllocationAfter(refused);
    text.Append("\xC3\xA9 and a longer text behind it");
    kernel.Restart();
    const std::string appended = text.Utf8();
    EXPECT_TRUE(appended == "before" || appended == "before\xC3\xA9 and a longer text behind it")
        << appended;
    kernel.RefuseAllocationAfter(refused);
    text.Assign("after");
    kernel.Restart();
    EXPECT_EQ(Units(text), refused == 0 ? u"" : u"after");
    EXPECT_STREQ(text.Utf8(), refused == 0 ? "" : "after");
  }
  QXString text("text");
  kernel.RefuseAllocationAfter(0);
  EXPECT_STREQ(text.Utf8(), "") << "no memory for the UTF-8 form";
  EXPECT_STREQ(text.Utf8(), "text") << "it is tried again";
}

/// Bytes without zeros that hit every kind of lead byte, whole sequences and broken ones.
std::string RandomBytes(std::mt19937& random, size_t most) {
  std::string bytes;
  const size_t count = random() % (most + 1);
  while (bytes.size() < count) {
    switch (random() % 4) {
      case 0:
        bytes += static_cast<char>(1 + random() % 255);
        break;
      case 1:
        bytes += static_cast<char>('a' + random() % 26);
        break;
      default:
        bytes += Encoded({static_cast<char16_t>(1 + random() % 0xFFFF)});
        break;
    }
  }
  return bytes;
}

TEST_F(QXStrings, DoWhatTheirTwinDoesOverRandomOperations) {
  for (unsigned seed = 1; seed <= 60; ++seed) {
    std::mt19937 random(seed);
    QXString text;
    std::u16string twin;
    for (unsigned step = 0; step < 120; ++step) {
      const std::string bytes = RandomBytes(random, random() % 8 == 0 ? 600 : 12);
      // The class measures 16-bit text up to a zero when it encodes; the twin does as well.
      switch (random() % 8) {
        case 0:
          text.Assign(bytes.c_str());
          twin = Decoded(bytes);
          break;
        case 1:
          text = QXString(bytes.c_str());
          twin = Decoded(bytes);
          break;
        case 2:
          text.Append(QXString(bytes.c_str()));
          twin += Decoded(bytes);
          break;
        case 3:
          Assign16(text, Decoded(bytes));
          twin = Decoded(bytes);
          break;
        case 4:
          if (random() % 10 == 0) {
            text.Clear();
            twin.clear();
          }
          break;
        default:
          text.Append(bytes.c_str());
          twin += Decoded(bytes);
          break;
      }
      ASSERT_EQ(Units(text), twin) << "seed " << seed << " step " << step;
      if (random() % 2 == 0) {
        ASSERT_EQ(std::string(text.Utf8()), Encoded(twin)) << "seed " << seed << " step " << step;
      }
      ASSERT_TRUE(text.capacity > text.length || text.capacity == 0);
    }
  }
}

}  // namespace
