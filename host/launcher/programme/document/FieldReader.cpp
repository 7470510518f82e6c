// The members of a document's object, and the words for what is wrong with them.
#include "host/launcher/programme/document/FieldReader.h"

#include <algorithm>

#include "host/base/Check.h"
#include "host/base/NearestName.h"
#include "host/base/Text.h"

namespace plexion_host {
namespace {

// A year: what is longer is a mistake in a unit, and sums of durations stay far from wrapping.
constexpr int64_t kLongestMs = int64_t{366} * 24 * 3600 * 1000;

std::string Shown(double number) {
  std::string text = std::to_string(number);
  text.erase(text.find_last_not_of('0') + 1);
  if (!text.empty() && text.back() == '.') text.pop_back();
  return text;
}

}  // namespace

// Parts like "1m30s" one behind the other; a number alone is seconds.
std::optional<int64_t> ReadDurationMs(const std::string& text) {
  double total = 0;
  size_t at = 0;
  bool any = false;
  while (at < text.size()) {
    const size_t digits = text.find_first_not_of("0123456789.", at);
    const std::string number = text.substr(at, digits - at);
    // Twelve digits are more than kLongestMs needs, and there is nothing to round away. A point stands
    // between digits: "1." and ".5" are taken for slips.
    const auto count = ReadNumber(number);
    if (!count || number.front() == '.' || number.back() == '.' || number.size() > 12) return {};
    at = std::min(digits, text.size());
    const size_t end = std::min(text.find_first_of("0123456789.", at), text.size());
    const std::string unit = text.substr(at, end - at);
    at = end;
    double factor = 0;
    if (unit == "ms") factor = 1;
    // A missing unit is seconds in a number that stands alone only: "1m30" would be read in two
    // ways.
    if (unit == "s" || (unit.empty() && !any && at == text.size())) factor = 1000;
    if (unit == "m" || unit == "min") factor = 60000;
    if (unit == "h") factor = 3600000;
    if (factor == 0) return std::nullopt;
    total += *count * factor;
    any = true;
  }
  if (!any || total > static_cast<double>(kLongestMs)) return std::nullopt;
  return static_cast<int64_t>(total + 0.5);
}

FieldReader::FieldReader(const JsonNode& node, std::string path, std::string& error)
    : node_(&node), path_(std::move(path)), error_(&error) {
  if (Ok() && node.kind != JsonNode::Kind::kObject) {
    Fail(node, path_, std::string("it is ") + KindName(node.kind) + "; expected an object");
  }
}

std::string FieldReader::PathOf(const char* name) const {
  return path_.empty() ? name : path_ + "." + name;
}

std::string FieldReader::Element(const std::string& path, size_t index) {
  return path + "[" + std::to_string(index) + "]";
}

void FieldReader::Fail(const JsonNode& at, const std::string& path, const std::string& what) {
  // The first mistake is told; those behind it are often its consequences.
  if (!error_->empty()) return;
  *error_ = "line " + std::to_string(at.line) + ", " + (path.empty() ? "document" : path) + ": " +
            PrintableWord(what);
}

const JsonNode* FieldReader::Any(const char* name) {
  // Also when it is not there, and when an error stands already: Finish offers the names that would
  // be right.
  asked_.emplace_back(name);
  return Ok() ? node_->Find(name) : nullptr;
}

const JsonNode* FieldReader::Of(const char* name, JsonNode::Kind kind) {
  const JsonNode* const node = Any(name);
  if (node == nullptr || node->kind == kind) return node;
  Fail(*node, PathOf(name),
       std::string("it is ") + KindName(node->kind) + "; expected " + KindName(kind));
  return nullptr;
}

const JsonNode* FieldReader::Array(const char* name) { return Of(name, JsonNode::Kind::kArray); }

const JsonNode* FieldReader::Object(const char* name) { return Of(name, JsonNode::Kind::kObject); }

std::optional<std::string> FieldReader::Text(const char* name) {
  const JsonNode* const node = Of(name, JsonNode::Kind::kText);
  if (node == nullptr) return std::nullopt;
  // Texts become C strings of the module's records: what stands behind a zero byte would be lost
  // without a word.
  if (node->text.find('\0') == std::string::npos) return node->text;
  Fail(*node, PathOf(name), "it has a zero byte; expected a text without");
  return std::nullopt;
}

std::optional<bool> FieldReader::Flag(const char* name) {
  const JsonNode* const node = Of(name, JsonNode::Kind::kBool);
  if (node == nullptr) return std::nullopt;
  return node->flag;
}

std::optional<double> FieldReader::Number(const char* name, double least, double most) {
  PLEXION_CHECK(least <= most, "a range holds a number");
  const JsonNode* const node = Of(name, JsonNode::Kind::kNumber);
  if (node == nullptr) return std::nullopt;
  if (node->number >= least && node->number <= most) return node->number;
  Fail(*node, PathOf(name),
       Shown(node->number) + " is out of range; expected " + Shown(least) + " to " + Shown(most));
  return std::nullopt;
}

std::optional<int64_t> FieldReader::Duration(const char* name, int64_t leastMs) {
  const JsonNode* const node = Any(name);
  if (node == nullptr) return std::nullopt;
  std::optional<int64_t> read;
  if (node->kind == JsonNode::Kind::kText) read = ReadDurationMs(node->text);
  if (node->kind == JsonNode::Kind::kNumber && node->number >= 0 &&
      node->number * 1000 <= static_cast<double>(kLongestMs)) {
    read = static_cast<int64_t>(node->number * 1000 + 0.5);
  }
  if (read && *read >= leastMs) return read;
  Fail(*node, PathOf(name),
       "expected a duration of at least " + std::to_string(leastMs) +
           " ms: seconds, or a text like \"10s\", \"1m30s\", \"500ms\"");
  return std::nullopt;
}

std::optional<size_t> FieldReader::Word(const char* name, const std::vector<const char*>& words) {
  const JsonNode* const node = Of(name, JsonNode::Kind::kText);
  if (node == nullptr) return std::nullopt;
  for (size_t i = 0; i < words.size(); ++i) {
    if (node->text == words[i]) return i;
  }
  const std::vector<std::string> all(words.begin(), words.end());
  Fail(*node, PathOf(name), "\"" + node->text + "\" is none of them; expected " + Join(all));
  return std::nullopt;
}

void FieldReader::Require(const char* name, bool there, const char* expected) {
  if (there || !Ok()) return;
  Fail(*node_, path_, std::string("\"") + name + "\" is missing; expected " + expected);
}

void FieldReader::Finish() {
  if (!Ok()) return;
  for (const auto& [name, node] : node_->members) {
    // Names that nobody asked for are mistakes of spelling mostly. To pass over them would be a
    // setting that has no effect and no message.
    if (std::find(asked_.begin(), asked_.end(), name) != asked_.end()) continue;
    const std::string nearest = NearestName(name, asked_);
    std::string what = "there is no \"" + name + "\" here; expected ";
    what += !nearest.empty() ? "\"" + nearest + "\", maybe" : Join(asked_);
    Fail(node, path_, what);
    return;
  }
}

}  // namespace plexion_host
