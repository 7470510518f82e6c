// Fields as they are written and read, also by enemies.

#include <gtest/gtest.h>

#include <climits>
#include <memory>
#include <vector>

#include "kit/record/Fields.h"

namespace plexion_record {
namespace {

/// Its room is too large for a stack.
std::unique_ptr<Encoder> AllKinds() {
  auto to = std::make_unique<Encoder>();
  to->Bool(true);
  to->Signed(INT64_MIN);
  to->Unsigned(UINT64_MAX);
  to->Double(-0.5);
  to->Text("a\n\"\x1b");
  to->Null();
  to->Object(ObjectKind::kWindow, 7);
  to->Opaque(3);
  to->Rect({0xFFFFFFFF, 2, 3, 4});
  to->Dims({5, 6});
  to->Point({7, 0xFFFFFFFE});
  to->Status(13);
  to->Error(-1, "QXError_Usage");
  to->List(2);
  to->Note();
  to->Hash(0x1234);
  return to;
}

TEST(RecordFields, ComeBackAsTheyWereWritten) {
  const auto all = AllKinds();
  EXPECT_EQ(DescribeAll(Decoder(all->Data(), all->Size())),
            "true -9223372036854775808 18446744073709551615 -0.5 \"a\\n\\\"\\x1b\" null window#7 "
            "host#3 (-1,2 3x4) 5x6 (7,-2) kErrorCorruptMovie \"QXError_Usage\" (-1) [2] "
            "{pixels 0000000000001234}");
}

TEST(RecordFields, AreReadFromAnyBytesWithoutHarm) {
  const auto all = AllKinds();
  const std::vector<uint8_t> bytes(all->Data(), all->Data() + all->Size());
  for (size_t length = 0; length <= bytes.size(); ++length) {
    const std::vector<uint8_t> cut(bytes.begin(), bytes.begin() + length);
    DescribeAll(Decoder(cut.data(), cut.size()));
  }
  for (size_t i = 0; i < bytes.size(); ++i) {
    for (const int flip : {0x01, 0x7F, 0x80, 0xFF}) {
      std::vector<uint8_t> changed = bytes;
      changed[i] ^= static_cast<uint8_t>(flip);
      DescribeAll(Decoder(changed.data(), changed.size()));
    }
  }
  // A number without an end, a note of a note.
  for (const std::vector<uint8_t>& wrong :
       {std::vector<uint8_t>(12, 0xFF),
        std::vector<uint8_t>{'u', 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x7F},
        std::vector<uint8_t>{'n', 'n', 'b', 1}, std::vector<uint8_t>{'t', 0xFF, 0xFF, 0x7F, 'a'},
        std::vector<uint8_t>{'o', 99, 1}, std::vector<uint8_t>{'b', 2}}) {
    Decoder decoder(wrong.data(), wrong.size());
    Field field;
    EXPECT_FALSE(decoder.Next(field));
    EXPECT_TRUE(decoder.Failed());
    EXPECT_FALSE(decoder.Next(field)) << "it stays at the end";
  }
}

TEST(RecordFields, AreComparedWithoutNotes) {
  const auto recorded = std::make_unique<Encoder>();
  recorded->Unsigned(1);
  recorded->Note();
  recorded->Text("File.cpp");
  recorded->Bool(true);
  const auto given = std::make_unique<Encoder>();
  given->Unsigned(1);
  given->Note();
  given->Text("Other.cpp");
  Decoder rest;
  const Decoder left(recorded->Data(), recorded->Size());
  ASSERT_TRUE(BeginsWith(left, Decoder(given->Data(), given->Size()), rest));
  Field field;
  EXPECT_TRUE(rest.Take('b', field) && field.number == 1) << "what is left is the result";
  given->Bool(false);
  EXPECT_FALSE(BeginsWith(left, Decoder(given->Data(), given->Size()), rest));
}

TEST(RecordFields, EndWhereTheRoomEnds) {
  const auto to = std::make_unique<Encoder>();
  const std::string text(2 * kLongestTextBytes, 'x');
  for (int i = 0; i < 10; ++i) to->Text(text);
  to->Unsigned(1);
  EXPECT_TRUE(to->WasCut());
  Decoder decoder(to->Data(), to->Size());
  Field field;
  size_t count = 0;
  while (decoder.Next(field)) ++count;
  EXPECT_FALSE(decoder.Failed()) << "what is there is whole";
  EXPECT_EQ(count, 3u);
}

}  // namespace
}  // namespace plexion_record
