// Reads JSON text into a tree with line numbers.
#include "host/launcher/programme/document/JsonTree.h"

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>

#include "host/base/Check.h"

namespace plexion_host {
namespace {

using Library = nlohmann::json;

// Far beyond what a programme needs. Documents come from folders that others write into, too: one
// that was made to hurt is refused before it has taken much time or memory.
constexpr size_t kDeepest = 32;
constexpr size_t kMostValues = 1000000;
constexpr size_t kMostMembers = 10000;

/// Hands the bytes to the parser and knows which line it is in: the library tells events without
/// their place, but takes any pair of iterators, and this one counts as it is moved on.
class Cursor {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  Cursor(const char* at, size_t* line) : at_(at), line_(line) {}
  reference operator*() const { return *at_; }
  Cursor& operator++() {
    *line_ += *at_ == '\n' ? 1 : 0;
    ++at_;
    return *this;
  }
  bool operator==(const Cursor& other) const { return at_ == other.at_; }
  bool operator!=(const Cursor& other) const { return at_ != other.at_; }

 private:
  const char* at_;
  size_t* line_;
};

/// The parser's events as a tree. `open_` holds the lists that have not ended yet.
class Builder {
 public:
  /// `size` bytes are going to be read.
  explicit Builder(size_t size) : size_(size) {}

  bool null() { return Add({}); }
  bool boolean(bool flag) {
    JsonNode node;
    node.kind = JsonNode::Kind::kBool;
    node.flag = flag;
    return Add(std::move(node));
  }
  bool number_integer(Library::number_integer_t value) {
    return Number(static_cast<double>(value));
  }
  bool number_unsigned(Library::number_unsigned_t value) {
    return Number(static_cast<double>(value));
  }
  bool number_float(Library::number_float_t value, const std::string&) { return Number(value); }
  bool string(std::string& text) {
    JsonNode node;
    node.kind = JsonNode::Kind::kText;
    node.text = std::move(text);
    return Add(std::move(node));
  }
  bool binary(Library::binary_t&) { return false; }
  bool start_object(size_t) { return Open(JsonNode::Kind::kObject); }
  bool start_array(size_t) { return Open(JsonNode::Kind::kArray); }
  bool end_object() { return Close(); }
  bool end_array() { return Close(); }
  bool key(std::string& name) {
    PLEXION_CHECK(!open_.empty(), "a name stands in an object");
    // The format leaves it open which of two counts; the reader of the document would not know
    // either.
    if (open_.back().node.Find(name) != nullptr)
      return Refuse("\"" + name + "\" stands here twice");
    // Each is compared with those before it.
    if (open_.back().node.members.size() >= kMostMembers) {
      return Refuse("more than " + std::to_string(kMostMembers) + " names in one object");
    }
    open_.back().name = name;
    return true;
  }
  bool parse_error(size_t position, const std::string& token, const Library::exception& fault) {
    if (position >= size_ || token.empty() || token == "<uninitialized>") {
      return Refuse("the document ends here, and is not complete");
    }
    // The token may hold all of a text that does not end, and so may the library's words.
    constexpr size_t kShown = 40;
    constexpr size_t kMostWords = 160;
    const std::string words = fault.what();
    const size_t expected = words.rfind("; expected ");
    const bool said = expected != std::string::npos && words.size() - expected < kMostWords;
    // It says line ends by their names.
    const std::string lineEnd = "<U+000A>";
    const size_t end = token.rfind(lineEnd);
    const std::string last = end == std::string::npos ? token : token.substr(end + lineEnd.size());
    return Refuse("'" + last.substr(last.size() - std::min(last.size(), kShown)) + "' is not JSON" +
                  (said ? words.substr(expected) : ""));
  }

  size_t* Line() { return &line_; }
  JsonNode& Root() { return root_; }
  const std::string& Error() const { return error_; }

 private:
  struct List {
    JsonNode node;
    std::string name;  ///< of the member that comes next
  };

  bool Refuse(const std::string& what) {
    if (!error_.empty()) return false;
    const std::string path = Path();
    error_ = "line " + std::to_string(line_) + (path.empty() ? "" : ", ") + path + ": " + what;
    return false;
  }
  /// Of what is being read: "playlists.coffee[2]".
  std::string Path() const {
    std::string path;
    for (const List& list : open_) {
      if (list.node.kind == JsonNode::Kind::kArray) {
        path += "[" + std::to_string(list.node.elements.size()) + "]";
      } else if (!list.name.empty()) {
        path += (path.empty() ? "" : ".") + list.name;
      }
    }
    return path;
  }
  bool Number(double value) {
    JsonNode node;
    node.kind = JsonNode::Kind::kNumber;
    node.number = value;
    return Add(std::move(node));
  }
  bool Add(JsonNode&& node) {
    if (++count_ > kMostValues)
      return Refuse("more than " + std::to_string(kMostValues) + " values");
    // A list's line is the one where it opened; Close brings it along.
    if (node.kind != JsonNode::Kind::kArray && node.kind != JsonNode::Kind::kObject)
      node.line = line_;
    if (open_.empty()) {
      root_ = std::move(node);
      return true;
    }
    List& list = open_.back();
    if (list.node.kind == JsonNode::Kind::kArray) {
      list.node.elements.push_back(std::move(node));
    } else {
      list.node.members.emplace_back(std::move(list.name), std::move(node));
    }
    return true;
  }
  bool Open(JsonNode::Kind kind) {
    if (open_.size() >= kDeepest) {
      return Refuse("nested deeper than " + std::to_string(kDeepest) + " levels");
    }
    open_.emplace_back();
    open_.back().node.kind = kind;
    open_.back().node.line = line_;
    return true;
  }
  bool Close() {
    PLEXION_CHECK(!open_.empty(), "the parser closes what it has opened");
    JsonNode node = std::move(open_.back().node);
    open_.pop_back();
    return Add(std::move(node));
  }

  size_t line_ = 1;
  const size_t size_;
  size_t count_ = 0;
  // A stack of our own in place of recursion: depth costs heap, and kDeepest bounds it.
  std::vector<List> open_;
  JsonNode root_;
  std::string error_;
};

}  // namespace

const JsonNode* JsonNode::Find(std::string_view name) const {
  const auto found = std::find_if(members.begin(), members.end(),
                                  [&](const auto& member) { return member.first == name; });
  return found == members.end() ? nullptr : &found->second;
}

const char* KindName(JsonNode::Kind kind) {
  switch (kind) {
    case JsonNode::Kind::kBool:
      return "true or false";
    case JsonNode::Kind::kNumber:
      return "a number";
    case JsonNode::Kind::kText:
      return "a text";
    case JsonNode::Kind::kArray:
      return "a list";
    case JsonNode::Kind::kObject:
      return "an object";
    default:
      return "null";
  }
}

bool ReadJsonTree(const std::string& text, JsonNode& root, std::string& error) {
  Builder builder(text.size());
  const Cursor begin(text.data(), builder.Line());
  const Cursor end(text.data() + text.size(), builder.Line());
  // Strict: what stands behind the end of the document is a mistake as well.
  if (!Library::sax_parse(begin, end, &builder, Library::input_format_t::json, true, true)) {
    error = builder.Error().empty() ? "line 1: it is not JSON" : builder.Error();
    return false;
  }
  root = std::move(builder.Root());
  return true;
}

}  // namespace plexion_host
