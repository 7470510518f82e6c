// Reads JSON text into an arena, with limits.
#include "host/player/lottie/document/Json.h"

#include <math.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <nlohmann/json.hpp>

#include "host/base/Check.h"

namespace plexion_host::movie {

namespace {

constexpr size_t kValuesBetweenQuestions = 4096;
constexpr size_t kBytesBetweenQuestions = 1 << 20;

/// Hands the bytes to the parser and knows how far it is.
class Cursor {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  Cursor(const char* at, const char** position) : at_(at), position_(position) {}
  reference operator*() const { return *at_; }
  Cursor& operator++() {
    *position_ = ++at_;
    return *this;
  }
  bool operator==(const Cursor& other) const { return at_ == other.at_; }
  bool operator!=(const Cursor& other) const { return at_ != other.at_; }

 private:
  const char* at_;
  const char** position_;
};

/// Builds the tree bottom up: what a list holds is copied into the arena when the list ends.
class Handler {
 public:
  using Library = nlohmann::json;

  Handler(std::string_view text, const JsonLimits& limits, const std::function<bool()>& cancelled,
          Arena& arena)
      : text_(text),
        position_(text.data()),
        limits_(limits),
        cancelled_(cancelled),
        arena_(arena) {}

  const char** Position() { return &position_; }
  const std::string& Error() const { return error_; }
  const JsonValue& Root() const { return values_.front(); }

  bool null() { return Add(JsonValue()); }
  bool boolean(bool flag) {
    JsonValue value;
    value.kind = JsonValue::Kind::kBool;
    value.flag = flag;
    return Add(value);
  }
  bool number_integer(Library::number_integer_t number) {
    return Number(static_cast<double>(number));
  }
  bool number_unsigned(Library::number_unsigned_t number) {
    return Number(static_cast<double>(number));
  }
  bool number_float(Library::number_float_t number, const std::string&) { return Number(number); }
  bool string(std::string& text) {
    JsonValue value;
    value.kind = JsonValue::Kind::kText;
    const std::string_view copy = arena_.CopyText(text);
    value.text = copy.data();
    value.count = static_cast<uint32_t>(copy.size());
    return Add(value);
  }
  bool binary(Library::binary_t&) { return false; }

  bool start_object(size_t) { return Open(); }
  bool key(std::string& name) {
    // Names repeat without end: each is kept once.
    names_.push_back(Interned(name));
    return true;
  }
  bool end_object() {
    const List list = Close();
    const size_t count = values_.size() - list.values;
    JsonMember* members = arena_.NewArray<JsonMember>(count);
    for (size_t i = 0; i < count; ++i) {
      members[i] = {names_[list.names + i], values_[list.values + i]};
    }
    if (!Unique(members, count)) return false;
    values_.resize(list.values);
    names_.resize(list.names);
    JsonValue value;
    value.kind = JsonValue::Kind::kObject;
    value.count = static_cast<uint32_t>(count);
    value.members = members;
    values_.push_back(value);
    return true;
  }
  bool start_array(size_t) { return Open(); }
  bool end_array() {
    const List list = Close();
    const size_t count = values_.size() - list.values;
    JsonValue* elements = arena_.NewArray<JsonValue>(count);
    std::copy(values_.begin() + static_cast<ptrdiff_t>(list.values), values_.end(), elements);
    values_.resize(list.values);
    JsonValue value;
    value.kind = JsonValue::Kind::kArray;
    value.count = static_cast<uint32_t>(count);
    value.elements = elements;
    values_.push_back(value);
    return true;
  }

  bool parse_error(size_t byte, const std::string&, const Library::exception& exception) {
    std::string what = exception.what();
    const size_t reason = what.find(": ");
    if (reason != std::string::npos) what = what.substr(reason + 2);
    const size_t at = byte > 0 ? byte - 1 : 0;
    if (at >= text_.size()) what += " (the file ends here)";
    return RefuseAt(std::min(at, text_.size()), what);
  }

 private:
  struct List {
    size_t values;
    size_t names;
  };

  bool RefuseAt(size_t offset, const std::string& what) {
    const auto lines =
        std::count(text_.begin(), text_.begin() + static_cast<ptrdiff_t>(offset), '\n');
    error_ = "line " + std::to_string(lines + 1) + ", byte " + std::to_string(offset) + ": " + what;
    return false;
  }
  bool Refuse(const std::string& what) {
    return RefuseAt(static_cast<size_t>(position_ - text_.data()), what);
  }

  bool Counted() {
    if (++count_ > limits_.mostValues) {
      return Refuse("more than " + std::to_string(limits_.mostValues) + " values");
    }
    const bool ask = count_ % kValuesBetweenQuestions == 0 ||
                     static_cast<size_t>(position_ - asked_) > kBytesBetweenQuestions;
    if (!ask) return true;
    asked_ = position_;
    return !cancelled_() || Refuse("loading was stopped");
  }

  bool Add(const JsonValue& value) {
    if (!Counted()) return false;
    values_.push_back(value);
    return true;
  }
  bool Number(double number) {
    JsonValue value;
    value.kind = JsonValue::Kind::kNumber;
    value.number = std::clamp(number, -limits_.largestNumber, limits_.largestNumber);
    return Add(value);
  }
  bool Open() {
    if (!Counted()) return false;
    if (lists_.size() >= limits_.deepest) {
      return Refuse("nested deeper than " + std::to_string(limits_.deepest) + " levels");
    }
    lists_.push_back({values_.size(), names_.size()});
    return true;
  }
  List Close() {
    const List list = lists_.back();
    lists_.pop_back();
    return list;
  }

  std::string_view Interned(const std::string& name) {
    constexpr size_t kLongestShared = 32;
    if (name.size() > kLongestShared) return arena_.CopyText(name);
    const auto at = std::lower_bound(known_.begin(), known_.end(), std::string_view(name));
    if (at != known_.end() && *at == name) return *at;
    const std::string_view copy = arena_.CopyText(name);
    constexpr size_t kMostShared = 512;
    if (known_.size() < kMostShared) known_.insert(at, copy);
    return copy;
  }

  bool Unique(const JsonMember* members, size_t count) {
    constexpr size_t kFew = 24;
    if (count <= kFew) {
      for (size_t i = 1; i < count; ++i) {
        for (size_t j = 0; j < i; ++j) {
          if (members[i].name == members[j].name) return RefuseTwice(members[i].name);
        }
      }
      return true;
    }
    std::vector<std::string_view> names(names_.end() - static_cast<ptrdiff_t>(count), names_.end());
    std::sort(names.begin(), names.end());
    const auto twice = std::adjacent_find(names.begin(), names.end());
    return twice == names.end() || RefuseTwice(*twice);
  }
  bool RefuseTwice(std::string_view name) {
    constexpr size_t kLongestShown = 40;
    return Refuse("the key \"" + std::string(name.substr(0, kLongestShown)) +
                  "\" stands twice in the object that ends here");
  }

  std::string_view text_;
  const char* position_;
  const char* asked_ = text_.data();
  const JsonLimits& limits_;
  const std::function<bool()>& cancelled_;
  Arena& arena_;
  size_t count_ = 0;
  std::vector<JsonValue> values_;
  std::vector<std::string_view> names_;
  std::vector<std::string_view> known_;
  std::vector<List> lists_;
  std::string error_;
};

}  // namespace

const JsonValue* JsonValue::Find(std::string_view name) const {
  for (const JsonMember& member : Members()) {
    if (member.name == name) return &member.value;
  }
  return nullptr;
}

double JsonValue::NumberInText(double otherwise) const {
  PLEXION_CHECK(IsText(), "whoever calls it has looked");
  const char* const end = text + count;
  double read = 0;
  const std::from_chars_result result = std::from_chars(text, end, read);
  if (result.ec != std::errc() || result.ptr != end || !std::isfinite(read)) return otherwise;
  const double largest = JsonLimits().largestNumber;
  return std::clamp(read, -largest, largest);
}

bool ReadJson(std::string_view text, const JsonLimits& limits,
              const std::function<bool()>& cancelled, Arena& arena, JsonValue& root,
              std::string& error) {
  PLEXION_CHECK(limits.deepest > 0 && limits.largestNumber > 0, "limits let something through");
  Handler handler(text, limits, cancelled, arena);
  const Cursor first(text.data(), handler.Position());
  const char* endPosition = nullptr;
  const Cursor last(text.data() + text.size(), &endPosition);
  if (!nlohmann::json::sax_parse(first, last, &handler)) {
    error = handler.Error();
    return false;
  }
  root = handler.Root();
  return true;
}

}  // namespace plexion_host::movie
