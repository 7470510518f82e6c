// The fields of a record: written, read, and told to people.

#include "kit/record/Fields.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "host/base/Text.h"
#include "qx/plexion/StageWindowStatusNames.h"

namespace plexion_record {
namespace {

constexpr size_t kLongestNumber = 10;

/// The bytes of the character that `text` begins with; 0 when it is none, or a
/// control character.
size_t PrintableBytes(std::string_view text) {
  const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(0);
  if (lead < 0x80) return lead >= 0x20 && lead != 0x7F ? 1 : 0;
  const size_t length = lead >= 0xF5   ? 0
                        : lead >= 0xF0 ? 4
                        : lead >= 0xE0 ? 3
                        : lead >= 0xC2 ? 2
                                       : 0;
  if (length == 0 || length > text.size()) return 0;
  for (size_t i = 1; i < length; ++i) {
    if (!plexion_host::IsUtf8Continuation(text[i])) return 0;
  }
  // Overlong, surrogates, beyond the last; and the second set of control
  // characters.
  if ((lead == 0xE0 && byte(1) < 0xA0) || (lead == 0xED && byte(1) >= 0xA0) ||
      (lead == 0xF0 && byte(1) < 0x90) || (lead == 0xF4 && byte(1) >= 0x90) ||
      (lead == 0xC2 && byte(1) < 0xA0)) {
    return 0;
  }
  return length;
}

std::string Quoted(std::string_view text) {
  std::string quoted = "\"";
  while (!text.empty()) {
    size_t length = PrintableBytes(text);
    if (text[0] == '\n') {
      quoted += "\\n";
      length = 1;
    } else if (text[0] == '"' || text[0] == '\\') {
      quoted += {'\\', text[0]};
    } else if (length == 0) {
      char hex[8];
      std::snprintf(hex, sizeof hex, "\\x%02x", static_cast<unsigned char>(text[0]));
      quoted += hex;
      length = 1;
    } else {
      quoted += text.substr(0, length);
    }
    text.remove_prefix(length);
  }
  return quoted + "\"";
}

}  // namespace

// Writing.

bool Encoder::Begin(char tag, size_t most) {
  if (cut_ || size_ + 1 + most > kRoom) {
    cut_ = true;  // from here on: a record with a hole in it would be read wrongly
    return false;
  }
  bytes_[size_++] = static_cast<uint8_t>(tag);
  return true;
}

void Encoder::Leb(uint64_t value) {
  while (value >= 0x80) {
    bytes_[size_++] = static_cast<uint8_t>(value | 0x80);
    value >>= 7;
  }
  bytes_[size_++] = static_cast<uint8_t>(value);
}

void Encoder::Bool(bool value) {
  if (Begin('b', 1)) bytes_[size_++] = value ? 1 : 0;
}
void Encoder::Signed(int64_t value) {
  if (Begin('i', kLongestNumber)) Leb(ZigZag(value));
}
void Encoder::Unsigned(uint64_t value) {
  if (Begin('u', kLongestNumber)) Leb(value);
}
void Encoder::Double(double value) {
  uint64_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  if (!Begin('d', sizeof bits)) return;
  for (int i = 0; i < 8; ++i) bytes_[size_++] = static_cast<uint8_t>(bits >> (8 * i));
}
void Encoder::Text(std::string_view text) {
  const std::string_view kept = text.substr(0, kLongestTextBytes);
  if (!Begin('t', kLongestNumber + kept.size())) return;
  Leb(kept.size());
  std::memcpy(bytes_ + size_, kept.data(), kept.size());
  size_ += kept.size();
}
void Encoder::Null() { Begin('0', 0); }
void Encoder::Object(ObjectKind kind, uint64_t number) {
  if (!Begin('o', 1 + kLongestNumber)) return;
  bytes_[size_++] = static_cast<uint8_t>(kind);
  Leb(number);
}
void Encoder::Opaque(uint64_t number) {
  if (Begin('k', kLongestNumber)) Leb(number);
}
void Encoder::Rect(const qx::plexion::Rect& rect) {
  if (!Begin('r', 4 * kLongestNumber)) return;
  for (const uint32_t value : {rect.x, rect.y, rect.width, rect.height}) Leb(value);
}
void Encoder::Dims(const qx::plexion::Dims& dims) {
  if (!Begin('s', 2 * kLongestNumber)) return;
  for (const uint32_t value : {dims.width, dims.height}) Leb(value);
}
void Encoder::Point(const qx::plexion::Point& point) {
  if (!Begin('p', 2 * kLongestNumber)) return;
  for (const uint32_t value : {point.x, point.y}) Leb(value);
}
void Encoder::Status(int32_t status) {
  if (Begin('q', kLongestNumber)) Leb(ZigZag(status));
}
void Encoder::Error(int32_t code, std::string_view name) {
  if (!Begin('e', 2 * kLongestNumber + name.size())) return;
  Leb(ZigZag(code));
  Leb(name.size());
  std::memcpy(bytes_ + size_, name.data(), name.size());
  size_ += name.size();
}
void Encoder::List(uint64_t count) {
  if (Begin('l', kLongestNumber)) Leb(count);
}
void Encoder::Hash(uint64_t hash) {
  if (!Begin('h', sizeof hash)) return;
  for (int i = 0; i < 8; ++i) bytes_[size_++] = static_cast<uint8_t>(hash >> (8 * i));
}
void Encoder::Note() { Begin('n', 0); }

// Reading.

void Decoder::Fail(const std::string& reason) {
  if (!failed_) reason_ = reason;
  failed_ = true;
  at_ = end_;
}

bool Decoder::Leb(uint64_t& value) {
  value = 0;
  for (unsigned shift = 0; shift < 64; shift += 7) {
    if (at_ == end_) return false;
    const uint8_t byte = *at_++;
    if (shift == 63 && byte > 1) return false;
    value |= static_cast<uint64_t>(byte & 0x7F) << shift;
    if ((byte & 0x80) == 0) return true;
  }
  return false;
}

bool Decoder::Bytes(std::string_view& text) {
  uint64_t length = 0;
  if (!Leb(length) || length > Left()) return false;
  text = std::string_view(reinterpret_cast<const char*>(at_), static_cast<size_t>(length));
  at_ += length;
  return true;
}

bool Decoder::Next(Field& field) {
  field = Field();
  if (at_ == end_) return false;
  field.tag = static_cast<char>(*at_++);
  if (field.tag == 'n') {
    if (at_ == end_ || *at_ == 'n') {
      Fail("a note without a field");
      return false;
    }
    const bool read = Next(field);
    field.note = true;
    return read;
  }
  bool good = false;
  unsigned count = 1;
  switch (field.tag) {
    case '0':
      return true;
    case 'b':
      good = at_ != end_ && *at_ <= 1;
      if (good) field.number = *at_++;
      break;
    case 'i':
    case 'q':
    case 'e':
      good = Leb(field.numbers[0]);
      field.number =
          static_cast<int64_t>(field.numbers[0] >> 1) ^ -static_cast<int64_t>(field.numbers[0] & 1);
      if (good && field.tag == 'e') good = Bytes(field.text);
      break;
    case 'd':
    case 'h':
      good = Left() >= 8;
      for (unsigned i = 0; good && i < 8; ++i) {
        field.numbers[0] |= static_cast<uint64_t>(*at_++) << (8 * i);
      }
      std::memcpy(&field.real, &field.numbers[0], sizeof field.real);
      break;
    case 't':
      good = Bytes(field.text);
      break;
    case 'o':
      good = at_ != end_ && *at_ >= 1 && *at_ < static_cast<uint8_t>(ObjectKind::kEnd);
      if (!good) break;
      field.kind = static_cast<ObjectKind>(*at_++);
      good = Leb(field.numbers[0]);
      break;
    case 'u':
    case 'k':
    case 'l':
      good = Leb(field.numbers[0]);
      break;
    case 'r':
      count = 4;
      [[fallthrough]];
    case 's':
    case 'p':
      if (count == 1) count = 2;
      good = true;
      for (unsigned i = 0; good && i < count; ++i) {
        good = Leb(field.numbers[i]) && field.numbers[i] <= 0xFFFFFFFF;
      }
      break;
    default:
      break;
  }
  if (!good)
    Fail(std::string("a field '") + (field.tag > ' ' && field.tag < 127 ? field.tag : '?') +
         "' that is none");
  return good;
}

bool Decoder::Take(char tag, Field& field, bool nullToo) {
  do {
    if (!Next(field)) {
      Fail(std::string("the record ends; expected a field '") + tag + "'");
      return false;
    }
  } while (field.note);
  if (field.tag == tag || (nullToo && field.tag == '0')) return true;
  Fail(std::string("a field '") + field.tag + "'; expected '" + tag + "'");
  return false;
}

// For people.

std::string Describe(const Field& field) {
  char text[128];
  const uint64_t* const n = field.numbers;
  const auto place = [](uint64_t value) { return static_cast<int32_t>(value); };
  switch (field.tag) {
    case '0':
      return "null";
    case 'b':
      return field.number != 0 ? "true" : "false";
    case 'i':
      std::snprintf(text, sizeof text, "%" PRId64, field.number);
      return text;
    case 'u':
      std::snprintf(text, sizeof text, "%" PRIu64, n[0]);
      return text;
    case 'd':
      std::snprintf(text, sizeof text, "%g", field.real);
      return text;
    case 't':
      return Quoted(field.text);
    case 'o':
      return ObjectKindName(field.kind) + ("#" + std::to_string(n[0]));
    case 'k':
      return "host#" + std::to_string(n[0]);
    case 'r':
      std::snprintf(text, sizeof text, "(%d,%d %" PRIu64 "x%" PRIu64 ")", place(n[0]), place(n[1]),
                    n[2], n[3]);
      return text;
    case 's':
      return std::to_string(n[0]) + "x" + std::to_string(n[1]);
    case 'p':
      std::snprintf(text, sizeof text, "(%d,%d)", place(n[0]), place(n[1]));
      return text;
    case 'q': {
      const char* const name = qx::plexion::StageWindowStatusName(field.number);
      return name != nullptr ? name : "status " + std::to_string(field.number);
    }
    case 'e':
      return Quoted(field.text) + " (" + std::to_string(field.number) + ")";
    case 'h':
      std::snprintf(text, sizeof text, "pixels %016" PRIx64, n[0]);
      return text;
    case 'l':
      return "[" + std::to_string(n[0]) + "]";
    default:
      return "?";
  }
}

std::string DescribeAll(Decoder fields) {
  std::string all;
  Field field;
  while (fields.Next(field)) {
    if (!all.empty()) all += ' ';
    all += field.note ? "{" + Describe(field) + "}" : Describe(field);
  }
  if (fields.Failed()) all += " (" + fields.Reason() + ")";
  return all;
}

bool BeginsWith(Decoder recorded, Decoder given, Decoder& rest) {
  Field left;
  Field right;
  const auto next = [](Decoder& from, Field& field) {
    while (from.Next(field)) {
      if (!field.note) return true;
    }
    return false;
  };
  while (next(given, right)) {
    if (!next(recorded, left) || left.tag != right.tag || left.number != right.number ||
        left.text != right.text || (left.tag == 'o' && left.kind != right.kind) ||
        std::memcmp(left.numbers, right.numbers, sizeof left.numbers) != 0) {
      return false;
    }
  }
  rest = recorded;
  return !recorded.Failed();
}

}  // namespace plexion_record
