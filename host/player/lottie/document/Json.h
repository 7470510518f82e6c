#ifndef HOST_PLAYER_LOTTIE_DOCUMENT_JSON_H_
#define HOST_PLAYER_LOTTIE_DOCUMENT_JSON_H_

#include <functional>
#include <string>
#include <string_view>

#include "host/player/lottie/document/Arena.h"

namespace plexion_host::movie {

struct JsonMember;

/// One value of a document, in the arena that it was read into.
struct JsonValue {
  enum class Kind : uint8_t { kNull, kBool, kNumber, kText, kArray, kObject };

  Kind kind = Kind::kNull;
  uint32_t count = 0;  ///< of bytes, elements or members
  union {
    bool flag;
    double number = 0;
    const char* text;
    const JsonValue* elements;
    const JsonMember* members;
  };

  bool IsNumber() const { return kind == Kind::kNumber; }
  bool IsText() const { return kind == Kind::kText; }
  bool IsArray() const { return kind == Kind::kArray; }
  bool IsObject() const { return kind == Kind::kObject; }
  std::string_view Text() const { return IsText() ? std::string_view(text, count) : ""; }
  Span<JsonValue> Elements() const {
    return IsArray() ? Span<JsonValue>{elements, count} : Span<JsonValue>();
  }
  Span<JsonMember> Members() const;

  /// A member by name; null when there is none or this is no object.
  const JsonValue* Find(std::string_view name) const;
  /// A number, or a text that is one (some exporters quote them), or true as 1; `otherwise` when it
  /// is none of these.
  double Number(double otherwise) const {
    if (kind == Kind::kNumber) return number;
    if (kind == Kind::kText) return NumberInText(otherwise);
    return kind == Kind::kBool ? (flag ? 1 : 0) : otherwise;
  }
  bool Truthy() const { return Number(0) != 0 || Text() == "true"; }

 private:
  double NumberInText(double otherwise) const;
};

struct JsonMember {
  std::string_view name;
  JsonValue value;
};

inline Span<JsonMember> JsonValue::Members() const {
  return IsObject() ? Span<JsonMember>{members, count} : Span<JsonMember>();
}

/// What a document may hold.
struct JsonLimits {
  unsigned deepest = 64;        ///< levels of nesting
  size_t mostValues = 4000000;  ///< values in all
  double largestNumber = 1e6;   ///< numbers are brought into this range
};

/// Reads a document into `arena`. A key that stands twice in one object is refused: two readers of
/// it could see two documents.
/// Returns  false with what is wrong, at which line and byte; also when `cancelled` says so, which
///          is asked often. Throws std::bad_alloc.
bool ReadJson(std::string_view text, const JsonLimits& limits,
              const std::function<bool()>& cancelled, Arena& arena, JsonValue& root,
              std::string& error);

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_DOCUMENT_JSON_H_
