// JSON and CSV, put on a script's stack as they are read.
#include "host/player/application/script/library/DataToLua.h"

#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

namespace plexion_host::player::application {

namespace {

constexpr int kDeepestJson = 64;
constexpr unsigned kValuesBetweenChecks = 1000;
/// Of a line of CSV; while it is read, fields are no part of the script's heap.
constexpr size_t kMostFields = 1000;

/// Puts a document on the stack while it is read: nothing is kept twice, and all of it counts for
/// the script's heap.
class JsonToLua {
 public:
  using json = nlohmann::json;
  explicit JsonToLua(lua_State* state) : state_(state) {}

  bool null() {
    // A field that is null is absent; in a list it keeps its place.
    lua_pushboolean(state_, 0);
    return Value();
  }
  bool boolean(bool value) {
    lua_pushboolean(state_, value ? 1 : 0);
    return Value();
  }
  bool number_integer(json::number_integer_t value) {
    lua_pushinteger(state_, value);
    return Value();
  }
  bool number_unsigned(json::number_unsigned_t value) {
    // The language's whole numbers are signed; beyond them a double loses digits, and keeps the size.
    if (value > INT64_MAX) {
      lua_pushnumber(state_, static_cast<lua_Number>(value));
    } else {
      lua_pushinteger(state_, static_cast<lua_Integer>(value));
    }
    return Value();
  }
  bool number_float(json::number_float_t value, const std::string&) {
    lua_pushnumber(state_, value);
    return Value();
  }
  bool string(std::string& value) {
    lua_pushlstring(state_, value.data(), value.size());
    return Value();
  }
  // Only binary formats have these.
  bool binary(json::binary_t&) { return false; }
  bool start_object(size_t) { return Open(false); }
  bool key(std::string& name) {
    lua_pushlstring(state_, name.data(), name.size());
    return true;
  }
  bool end_object() { return Close(); }
  bool start_array(size_t) { return Open(true); }
  bool end_array() { return Close(); }
  bool parse_error(size_t position, const std::string&, const nlohmann::detail::exception& error) {
    position_ = position;
    const std::string text = error.what();
    const size_t colon = text.find(": ");
    // Without the library's own number of the error, which helps nobody.
    reason_ = colon == std::string::npos ? text : text.substr(colon + 2);
    return false;
  }

  size_t Position() const { return position_; }
  const std::string& Reason() const { return reason_; }

 private:
  bool Open(bool list) {
    if (depth_ == kDeepestJson) {
      reason_ = "nested deeper than " + std::to_string(kDeepestJson) + " levels";
      return false;
    }
    // An error in the script when there is no memory, in the midst of the parser: nothing is held
    // there.
    luaL_checkstack(state_, 8, "JSON");
    lua_newtable(state_);
    lists_[depth_] = list;
    counts_[depth_++] = 0;
    return true;
  }
  bool Close() {
    --depth_;
    return Value();
  }
  /// The value on top goes into what it stands in.
  bool Value() {
    // The script's step counter does not run in here: a file of a million numbers would pay for none of it.
    if (++values_ % kValuesBetweenChecks == 0) Script::Of(state_).CheckTime(state_);
    if (depth_ == 0) return true;
    if (lists_[depth_ - 1]) {
      lua_rawseti(state_, -2, ++counts_[depth_ - 1]);
    } else {
      lua_rawset(state_, -3);
    }
    return true;
  }

  lua_State* state_;
  unsigned values_ = 0;
  int depth_ = 0;
  bool lists_[kDeepestJson] = {};
  lua_Integer counts_[kDeepestJson] = {};
  size_t position_ = 0;
  std::string reason_;
};

size_t LineAt(const std::string& text, size_t position) {
  size_t line = 1;
  for (size_t i = 0; i < position && i < text.size(); ++i) line += text[i] == '\n' ? 1 : 0;
  return line;
}

/// Takes a table of lines and fields apart. Fields in quotes may hold separators, line ends, and
/// quotes that are doubled.
class CsvReader {
 public:
  CsvReader(const std::string& text, char separator) : text_(text), separator_(separator) {
    at_ = text.compare(0, 3, "\xef\xbb\xbf") == 0 ? 3 : 0;
  }

  bool AtEnd() const { return at_ >= text_.size(); }
  const std::string& Error() const { return error_; }

  bool ReadRecord(std::vector<std::string>& fields) {
    fields.clear();
    for (;;) {
      std::string field;
      if (at_ < text_.size() && text_[at_] == '"' ? !ReadQuoted(field) : !ReadPlain(field)) {
        return false;
      }
      // A wrong separator makes one line of the whole file, or a field of each comma.
      if (fields.size() == kMostFields) {
        error_ = std::to_string(LineAt(text_, at_)) + ": more than " + std::to_string(kMostFields) +
                 " fields; expected fewer, or another separator";
        return false;
      }
      fields.push_back(std::move(field));
      if (at_ < text_.size() && text_[at_] == separator_) {
        ++at_;
        continue;
      }
      if (at_ < text_.size() && text_[at_] == '\r') ++at_;
      if (at_ < text_.size() && text_[at_] == '\n') ++at_;
      return true;
    }
  }

 private:
  bool ReadPlain(std::string& field) {
    const size_t begin = at_;
    while (at_ < text_.size() && text_[at_] != separator_ && text_[at_] != '\n' &&
           text_[at_] != '\r') {
      ++at_;
    }
    field = text_.substr(begin, at_ - begin);
    return true;
  }

  bool ReadQuoted(std::string& field) {
    const size_t begin = at_++;
    for (; at_ < text_.size(); ++at_) {
      if (text_[at_] != '"') {
        field += text_[at_];
      } else if (at_ + 1 < text_.size() && text_[at_ + 1] == '"') {
        field += '"';
        ++at_;
      } else {
        ++at_;
        const char next = at_ < text_.size() ? text_[at_] : '\n';
        if (next == separator_ || next == '\n' || next == '\r') return true;
        error_ = std::to_string(LineAt(text_, at_)) +
                 ": text after the closing quote; expected a separator or the end of the line";
        return false;
      }
    }
    error_ = std::to_string(LineAt(text_, begin)) + ": a quote that is never closed";
    return false;
  }

  const std::string& text_;
  char separator_;
  size_t at_ = 0;
  std::string error_;
};

}  // namespace

int PushFailure(lua_State* state, const std::string& reason) {
  lua_pushnil(state);
  lua_pushlstring(state, reason.data(), reason.size());
  return 2;
}

int PushJson(lua_State* state, const std::string& text, const std::string& name) {
  Script::Of(state).CheckTime(state);
  const int top = lua_gettop(state);
  JsonToLua handler(state);
  const size_t begin = text.compare(0, 3, "\xef\xbb\xbf") == 0 ? 3 : 0;
  if (nlohmann::json::sax_parse(text.begin() + static_cast<ptrdiff_t>(begin), text.end(),
                                &handler)) {
    return 1;
  }
  lua_settop(state, top);
  return PushFailure(state, name + ":" + std::to_string(LineAt(text, begin + handler.Position())) +
                                ": " + handler.Reason());
}

int PushCsv(lua_State* state, const std::string& text, const std::string& name, char separator) {
  CsvReader reader(text, separator);
  std::vector<std::string> names;
  std::vector<std::string> fields;
  if (!reader.ReadRecord(names)) return PushFailure(state, name + ":" + reader.Error());
  luaL_checkstack(state, 8, "CSV");
  lua_newtable(state);
  lua_Integer count = 0;
  while (!reader.AtEnd()) {
    Script::Of(state).CheckTime(state);
    if (!reader.ReadRecord(fields)) return PushFailure(state, name + ":" + reader.Error());
    // An empty line, most often the last one.
    if (fields.size() == 1 && fields[0].empty()) continue;
    lua_newtable(state);
    for (size_t i = 0; i < fields.size() && i < names.size(); ++i) {
      lua_pushlstring(state, names[i].data(), names[i].size());
      lua_pushlstring(state, fields[i].data(), fields[i].size());
      lua_rawset(state, -3);
    }
    lua_rawseti(state, -2, ++count);
  }
  return 1;
}

}  // namespace plexion_host::player::application
