// Promises of the kernel's text and formatting functions.

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "kit/certify/Case.h"
#include "kit/certify/Groups.h"

namespace plexion_certify {
namespace {

int Sign(int number) { return (number > 0) - (number < 0); }

std::string Shown(const char* at, const char* text) {
  return at == nullptr ? "null" : Text("offset %ld", static_cast<long>(at - text));
}

void MemSet(Case& c) {
  for (const unsigned long size : {0UL, 1UL, 7UL, 64UL, 1000UL}) {
    unsigned char bytes[1002];
    memset(bytes, 0x33, sizeof(bytes));
    // Only the low byte of the value counts.
    c.Kernel().MemSet(bytes + 1, 0x1A5, size);
    bool right = bytes[0] == 0x33 && bytes[1 + size] == 0x33;
    for (unsigned long i = 1; i <= size; ++i) right = right && bytes[i] == 0xA5;
    CERTIFY_REQUIRE(c, right, Text("%lu bytes of a5, and none around them", size), "other bytes");
  }
}

void MemCopy(Case& c) {
  unsigned char from[300], to[302];
  for (int i = 0; i < 300; ++i) from[i] = static_cast<unsigned char>(i * 7);
  for (const unsigned long size : {0UL, 1UL, 9UL, 300UL}) {
    memset(to, 0x33, sizeof(to));
    c.Kernel().MemCopy(to + 1, from, size);
    CERTIFY_REQUIRE(c, memcmp(to + 1, from, size) == 0 && to[0] == 0x33 && to[1 + size] == 0x33,
                    Text("%lu bytes as in the source, and none around them", size), "other bytes");
  }
}

void MemMove(Case& c) {
  for (const int shift : {3, 40, -3, -40}) {
    unsigned char bytes[400], right[400];
    for (int i = 0; i < 400; ++i) bytes[i] = right[i] = static_cast<unsigned char>(i * 11 + 1);
    memmove(right + 100 + shift, right + 100, 200);
    c.Kernel().MemMove(bytes + 100 + shift, bytes + 100, 200);
    CERTIFY_REQUIRE(c, memcmp(bytes, right, sizeof(bytes)) == 0,
                    Text("200 bytes moved by %d within themselves, unharmed", shift),
                    "other bytes");
  }
}

void Lengths(Case& c) {
  const unsigned short units[] = {'a', 0x20AC, 0xD83D, 0xDE00, 0x0100, 0};
  CERTIFY_REQUIRE(c, c.Kernel().StrLen16(units) == 5, "5 units before the zero",
                  Text("%lu", c.Kernel().StrLen16(units)));
  CERTIFY_REQUIRE(c, c.Kernel().StrLen16(units + 5) == 0, "0 for an empty text",
                  Text("%lu", c.Kernel().StrLen16(units + 5)));
}

void ByteLengths(Case& c) {
  for (const char* text : {"", "a", "\xE2\x82\xAC and so on"}) {
    CERTIFY_REQUIRE(c, c.Kernel().StrLen(text) == strlen(text),
                    Text("%zu bytes of \"%s\"", strlen(text), text),
                    Text("%lu", c.Kernel().StrLen(text)));
  }
}

void Compare(Case& c) {
  const char* const pairs[][2] = {{"", ""},
                                  {"a", "a"},
                                  {"a", "b"},
                                  {"b", "a"},
                                  {"a", "ab"},
                                  {"ab", "a"},
                                  {"A", "a"},
                                  {"\xC3\xA9", "z"},
                                  {"--pause", "--pause"},
                                  {"--pause", "--paus"}};
  for (const auto& [left, right] : pairs) {
    const int answer = c.Kernel().StrCmp(left, right);
    CERTIFY_REQUIRE(c, Sign(answer) == Sign(strcmp(left, right)),
                    Text("\"%s\" against \"%s\": %d, or another number of that sign", left, right,
                         Sign(strcmp(left, right))),
                    Text("%d", answer));
  }
}

void Copy(Case& c) {
  char to[32];
  memset(to, '#', sizeof(to));
  c.Kernel().StrCpy(to, "seven77");
  CERTIFY_REQUIRE(c, memcmp(to, "seven77\0#", 9) == 0,
                  "the text with its zero, and nothing behind it", std::string(to, 9));
  c.Kernel().StrCpy(to, "");
  CERTIFY_REQUIRE(c, to[0] == '\0', "an empty text", std::string(to, 4));
}

void Signed(Case& c) {
  struct {
    const char* text;
    int base;
  } const rows[] = {{"42", 10},
                    {"-17", 10},
                    {"  +8 rest", 10},
                    {"12x", 10},
                    {"x", 10},
                    {"", 10},
                    {"0x1F", 16},
                    {"0x1F", 0},
                    {"017", 0},
                    {"-2147483648", 10},
                    {"99999999999999999999", 10},
                    {"-99999999999999999999", 10}};
  for (const auto& [text, base] : rows) {
    char *end = nullptr, *rightEnd = nullptr;
    const long right = strtol(text, &rightEnd, base);
    const long answer = c.Kernel().StrToL(text, &end, base);
    CERTIFY_REQUIRE(c, answer == right && end == rightEnd,
                    Text("\"%s\" to base %d: %ld, read up to %s", text, base, right,
                         Shown(rightEnd, text).c_str()),
                    Text("%ld, %s", answer, Shown(end, text).c_str()));
    CERTIFY_REQUIRE(c, c.Kernel().StrToL(text, nullptr, base) == right,
                    "the same with a null for the end", "another number");
  }
}

void Unsigned(Case& c) {
  struct {
    const char* text;
    int base;
  } const rows[] = {{"42", 10},
                    {"4294967295", 10},
                    {"16777223", 10},
                    {"x", 10},
                    {"7 8", 10},
                    {"ff", 16},
                    {"99999999999999999999999", 10}};
  for (const auto& [text, base] : rows) {
    char *end = nullptr, *rightEnd = nullptr;
    const unsigned long right = strtoul(text, &rightEnd, base);
    const unsigned long answer = c.Kernel().StrToUL(text, &end, base);
    CERTIFY_REQUIRE(c, answer == right && end == rightEnd,
                    Text("\"%s\" to base %d: %lu, read up to %s", text, base, right,
                         Shown(rightEnd, text).c_str()),
                    Text("%lu, %s", answer, Shown(end, text).c_str()));
  }
}

void FindFirst(Case& c) {
  const char* const text = "a/b/c\xC3";
  const int sought[] = {'/', 'a', 'c', 'x', '\0', 0xC3, static_cast<signed char>(0xC3)};
  for (const int character : sought) {
    const char* const answer = c.Kernel().StrChr(text, character);
    const char* const right = strchr(text, character);
    CERTIFY_REQUIRE(c, answer == right,
                    Text("first place of %d: %s", character, Shown(right, text).c_str()),
                    Shown(answer, text));
  }
}

void FindLast(Case& c) {
  const char* const text = "a/b/c\xC3";
  const int sought[] = {'/', 'a', 'c', 'x', '\0', 0xC3, static_cast<signed char>(0xC3)};
  for (const int character : sought) {
    const char* const answer = c.Kernel().StrRChr(text, character);
    const char* const right = strrchr(text, character);
    CERTIFY_REQUIRE(c, answer == right,
                    Text("last place of %d: %s", character, Shown(right, text).c_str()),
                    Shown(answer, text));
  }
}

/// One call of FormatString into a buffer that shows what was written beyond `size`.
template <typename... Arguments>
void CheckFormat(Case& c, const char* expected, unsigned long size, const char* format,
                 Arguments... arguments) {
  char buffer[128];
  memset(buffer, '#', sizeof(buffer));
  c.Step(std::string("FormatString with \"") + format + "\"");
  c.Kernel().FormatString(buffer, size, format, arguments...);
  const size_t written = strlen(expected) + 1;
  std::string seen(buffer, strnlen(buffer, sizeof(buffer) - 1));
  bool beyond = false;
  for (size_t i = size; i < sizeof(buffer); ++i) beyond = beyond || buffer[i] != '#';
  CERTIFY_REQUIRE(c, !beyond, Text("%lu bytes at most", size), "bytes were written behind them");
  CERTIFY_REQUIRE(c, written > size || memcmp(buffer, expected, written) == 0,
                  Text("\"%s\" with its zero", expected), "\"" + seen + "\"");
}

void Conventions(Case& c) {
  CheckFormat(c, "text", 64, "text");
  CheckFormat(c, "a bc d", 64, "a %s d", "bc");
  CheckFormat(c, "-5 7 ff", 64, "%d %u %x", -5, 7u, 255u);
  CheckFormat(c, "0000002a|   42|42   |", 64, "%08x|%5d|%-5d|", 42u, 42, 42);
  CheckFormat(c, "x%y", 64, "%c%%%c", 'x', 'y');
  CheckFormat(c, "12345678901", 64, "%lld", 12345678901LL);
  CheckFormat(c, "2.50", 64, "%.2f", 2.5);
  CheckFormat(c, "abc", 64, "%.3s", "abcdef");
}

void Wide(Case& c) {
  // As the module does: a time, or a byte count, under a conversion that says less.
  CheckFormat(c, "Begin play: 1234", 64, "Begin play: %d", IQXKernel::Time{1234});
  CheckFormat(c, "file:313: 7ms for what", 64, "%s:%d: %ldms for %s", "file", 313, 7L, "what");
  if (sizeof(long) < sizeof(int64_t))
    return;  // what stands behind a wide value is read from its other half
  CheckFormat(c, "5 6 end", 64, "%d %d %s", int64_t{5}, int64_t{6}, "end");
  CheckFormat(c, "7 8 end", 64, "%ld %ld %s", int64_t{7}, int64_t{8}, "end");
  CheckFormat(c, "1 -2 3 end", 64, "%u %d %d %s", uint64_t{1}, int64_t{-2}, int64_t{3}, "end");
  CheckFormat(c, "1099511627776 end", 64, "%ld %s", int64_t{1} << 40, "end");
}

void Bounded(Case& c) {
  for (unsigned long size = 1; size < 12; ++size) {
    char buffer[32];
    memset(buffer, '#', sizeof(buffer));
    c.Kernel().FormatString(buffer, size, "%s%d", "abcdef", 123456);
    CERTIFY_REQUIRE(c, buffer[size] == '#' && buffer[31] == '#',
                    Text("%lu bytes at most, the zero included", size),
                    "bytes were written behind them");
  }
}

void Terminated(Case& c) {
  for (unsigned long size = 1; size < 12; ++size) {
    char buffer[32];
    memset(buffer, '#', sizeof(buffer));
    c.Kernel().FormatString(buffer, size, "%s", "abcdefghijklmnop");
    CERTIFY_REQUIRE(c, memchr(buffer, '\0', size) != nullptr,
                    Text("a zero within the %lu bytes", size),
                    "\"" + std::string(buffer, size) + "\" without one");
    CERTIFY_REQUIRE(c, strncmp(buffer, "abcdefghijklmnop", size - 1) == 0, "the text's beginning",
                    buffer);
  }
}

void NoRoom(Case& c) {
  char buffer[4] = {'#', '#', '#', '#'};
  c.Step("FormatString with a size of 0");
  c.Kernel().FormatString(buffer, 0, "%s", "text");
  CERTIFY_REQUIRE(c, memcmp(buffer, "####", 4) == 0, "nothing written", "bytes were written");
}

constexpr Promise kTextPromises[] = {
    {"kernel.text.mem-set", "MemSet fills exactly the bytes that it is told.", Level::kBasic, "",
     MemSet},
    {"kernel.text.mem-copy", "MemCopy copies exactly the bytes that it is told.", Level::kBasic, "",
     MemCopy},
    {"kernel.text.mem-move", "MemMove moves within one block, both ways.", Level::kBasic, "",
     MemMove},
    {"kernel.text.str-len16", "StrLen16 counts 16-bit units before the zero.", Level::kBasic, "",
     Lengths},
    {"kernel.text.str-len", "StrLen counts bytes before the zero.", Level::kBasic, "", ByteLengths},
    {"kernel.text.str-cmp", "StrCmp compares as its C namesake: bytes without sign, to the end.",
     Level::kBasic, "", Compare},
    {"kernel.text.str-cpy", "StrCpy copies the text and its zero.", Level::kBasic, "", Copy},
    {"kernel.text.str-to-l", "StrToL reads as its C namesake: sign, base, end, limits.",
     Level::kContract, "", Signed},
    {"kernel.text.str-to-ul", "StrToUL reads as its C namesake.", Level::kContract, "", Unsigned},
    {"kernel.text.str-chr", "StrChr finds the first place, the zero's too, or null.",
     Level::kContract, "", FindFirst},
    {"kernel.text.str-rchr", "StrRChr finds the last place, the zero's too, or null.",
     Level::kContract, "", FindLast},
};

constexpr Promise kFormatPromises[] = {
    {"kernel.format.bounded",
     "FormatString writes no more bytes than it is told, the zero included.", Level::kBasic, "",
     Bounded},
    {"kernel.format.terminated", "A text that was cut ends with its zero.", Level::kBasic,
     "kernel.format.bounded", Terminated},
    {"kernel.format.no-room", "A size of 0 writes nothing.", Level::kContract, "", NoRoom},
    {"kernel.format.conventions", "FormatString follows printf's conventions.", Level::kBasic,
     "kernel.format.bounded", Conventions},
    {"kernel.format.64-bit",
     "64-bit values under %d, %u and %ld are read, and so is what stands behind them.",
     Level::kBasic, "kernel.format.conventions", Wide},
};

}  // namespace

PromiseGroup KernelTextPromises() {
  return MakeGroup("Kernel: bytes and text", "qx/core/IQXKernel.h",
                   "The module has no C library of its own: these are it.", kTextPromises);
}

PromiseGroup KernelFormatPromises() {
  return MakeGroup(
      "Kernel: formatting", "qx/core/IQXKernel.h",
      "The module hands 64-bit values to `%d` in places: milliseconds, at the end of a "
      "line. The C library's\n"
      "printf reads their low half, which holds 24 days. On a 32-bit processor that "
      "keeps the high half first\n"
      "it reads zeros: print through a formatter of your own there.",
      kFormatPromises);
}

}  // namespace plexion_certify
