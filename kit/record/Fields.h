// The fields of a record: written, and read as if an enemy had written them.

#ifndef KIT_RECORD_FIELDS_H_
#define KIT_RECORD_FIELDS_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "kit/record/Format.h"
#include "qx/plexion/Geometry.h"

namespace plexion_record {

/// Writes fields into a buffer of its own. What would make a record too large
/// is left out.
class Encoder {
 public:
  /// Drops what was written.
  void Clear() {
    size_ = 0;
    cut_ = false;
  }
  const uint8_t* Data() const { return bytes_; }
  size_t Size() const { return size_; }
  bool WasCut() const { return cut_; }

  void Bool(bool value);
  void Signed(int64_t value);
  void Unsigned(uint64_t value);
  void Double(double value);
  /// Cut at kLongestTextBytes.
  void Text(std::string_view text);
  void Null();
  void Object(ObjectKind kind, uint64_t number);
  void Opaque(uint64_t number);
  void Rect(const qx::plexion::Rect& rect);
  void Dims(const qx::plexion::Dims& dims);
  void Point(const qx::plexion::Point& point);
  void Status(int32_t status);
  void Error(int32_t code, std::string_view name);
  void List(uint64_t count);
  void Hash(uint64_t hash);
  /// The next field is for readers only.
  void Note();

 private:
  static constexpr size_t kRoom = kLargestRecordBytes - sizeof(RecordHeader);

  bool Begin(char tag, size_t most);
  void Leb(uint64_t value);
  static uint64_t ZigZag(int64_t value) {
    return (static_cast<uint64_t>(value) << 1) ^ static_cast<uint64_t>(value >> 63);
  }

  size_t size_ = 0;
  bool cut_ = false;
  uint8_t bytes_[kRoom];
};

/// One field of a record; texts lie in the record's bytes.
struct Field {
  char tag = 0;
  bool note = false;
  int64_t number = 0;                     ///< i, q, e; b as 0 or 1
  uint64_t numbers[4] = {};               ///< u, o, k, l, h in [0]; r, s, p
  double real = 0;                        ///< d
  ObjectKind kind = ObjectKind::kModule;  ///< o
  std::string_view text;                  ///< t, e
};

/// Reads fields one by one; after one that is wrong or missing it stays at the
/// end, and Failed.
class Decoder {
 public:
  Decoder() = default;
  Decoder(const uint8_t* data, size_t size) : at_(data), end_(data + size) {}

  /// The next field. Returns  false at the end or when the bytes are no field.
  bool Next(Field& field);
  /// The next field that is no note and has this tag; a null counts where
  /// `nullToo`.
  bool Take(char tag, Field& field, bool nullToo = false);
  bool AtEnd() const { return at_ == end_; }
  bool Failed() const { return failed_; }
  /// What was wrong first; empty when nothing was.
  const std::string& Reason() const { return reason_; }
  void Fail(const std::string& reason);
  size_t Left() const { return static_cast<size_t>(end_ - at_); }

 private:
  bool Leb(uint64_t& value);
  bool Bytes(std::string_view& text);

  const uint8_t* at_ = nullptr;
  const uint8_t* end_ = nullptr;
  bool failed_ = false;
  std::string reason_;
};

/// "Rect(0,0 320x200)", "window#4", '"text"': a field for people. Control
/// characters are escaped.
std::string Describe(const Field& field);
/// All fields from here on, notes in brackets.
std::string DescribeAll(Decoder fields);
/// Whether both begin with the same fields, notes left out; `rest` is then what
/// `recorded` has beyond those of `given`.
bool BeginsWith(Decoder recorded, Decoder given, Decoder& rest);

}  // namespace plexion_record

#endif  // KIT_RECORD_FIELDS_H_
