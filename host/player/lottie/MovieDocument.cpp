#include "host/player/lottie/MovieDocument.h"

#include <rapidjson/error/en.h>
#include <rapidjson/reader.h>
#include <rapidjson/writer.h>
#include <string.h>

#include <algorithm>
#include <charconv>

namespace plexion_host::player {

namespace {

constexpr size_t kValuesBetweenChecks = 16384;
constexpr size_t kPoolChunkBytes = 256 * 1024;
constexpr size_t kStackBytes = 16 * 1024;
constexpr unsigned kParseFlags =
    json::kParseInsituFlag | json::kParseIterativeFlag | json::kParseNumbersAsStringsFlag;

/// Stands between the parser and the tree: counts, bounds the nesting, and brings numbers into
/// range. Whole numbers stay whole, since the renderer insists on them where it expects them.
class BoundingHandler {
 public:
  BoundingHandler(MovieTree& tree, EngineHost& host) : tree_(tree), host_(host) {}

  bool Null() { return Counted() && tree_.Null(); }
  bool Bool(bool value) { return Counted() && tree_.Bool(value); }
  // Numbers arrive as text; these complete the handler.
  bool Int(int value) { return Counted() && tree_.Int(value); }
  bool Uint(unsigned value) { return Counted() && tree_.Uint(value); }
  bool Int64(int64_t value) { return Counted() && tree_.Int64(value); }
  bool Uint64(uint64_t value) { return Counted() && tree_.Uint64(value); }
  bool Double(double value) { return Counted() && tree_.Double(value); }

  bool RawNumber(const char* text, json::SizeType length, bool /*copy*/) {
    if (!Counted()) return false;
    const char* end = text + length;
    int whole = 0;
    const auto asInt = std::from_chars(text, end, whole);
    if (asInt.ptr == end && asInt.ec == std::errc()) {
      return tree_.Int(std::clamp(whole, -kLargestNumber, kLargestNumber));
    }
    if (asInt.ptr == end) return tree_.Int(*text == '-' ? -kLargestNumber : kLargestNumber);
    double number = 0;
    // Too large for any double is an error of the parser's; what is out of range here is too small.
    if (std::from_chars(text, end, number).ec == std::errc::result_out_of_range) number = 0;
    return tree_.Double(std::clamp<double>(number, -kLargestNumber, kLargestNumber));
  }

  bool String(const char* text, json::SizeType length, bool copy) {
    return Counted() && tree_.String(text, length, copy);
  }
  bool Key(const char* text, json::SizeType length, bool copy) {
    return tree_.Key(text, length, copy);
  }
  bool StartObject() { return Counted() && Deeper() && tree_.StartObject(); }
  bool EndObject(json::SizeType members) {
    --depth_;
    return tree_.EndObject(members);
  }
  bool StartArray() { return Counted() && Deeper() && tree_.StartArray(); }
  bool EndArray(json::SizeType elements) {
    --depth_;
    return tree_.EndArray(elements);
  }

  const std::string& Refusal() const { return refusal_; }

 private:
  bool Counted() {
    if (++values_ > kMostValues) {
      refusal_ = "more than " + std::to_string(kMostValues) + " values";
      return false;
    }
    if (values_ % kValuesBetweenChecks == 0 && host_.Cancelled()) {
      refusal_ = "loading was stopped";
      return false;
    }
    return true;
  }

  bool Deeper() {
    if (++depth_ <= kDeepestNesting) return true;
    refusal_ = "nested deeper than " + std::to_string(kDeepestNesting) + " levels";
    return false;
  }

  MovieTree& tree_;
  EngineHost& host_;
  size_t values_ = 0;
  unsigned depth_ = 0;
  std::string refusal_;
};

/// Where an offset is, for people. Offsets count in the file; what lies before one is not changed
/// in length by parsing in place, and line ends are never part of a text.
std::string Place(const char* text, size_t length, size_t offset) {
  offset = std::min(offset, length);
  const auto lines = std::count(text, text + offset, '\n');
  return "line " + std::to_string(lines + 1) + ", byte " + std::to_string(offset);
}

/// What the writer needs of a stream, on a string.
class StringSink {
 public:
  using Ch = char;
  explicit StringSink(std::string& text) : text_(text) {}
  void Put(char c) { text_ += c; }
  void Flush() {}

 private:
  std::string& text_;
};

}  // namespace

void* WatchedAllocator::Malloc(size_t bytes) {
  if (bytes == 0) return nullptr;
  void* block = AllocateWatched(watchdog_, bytes);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void* WatchedAllocator::Realloc(void* block, size_t oldBytes, size_t newBytes) {
  if (newBytes == 0) {
    Free(block);
    return nullptr;
  }
  void* larger = Malloc(newBytes);
  if (block != nullptr) memcpy(larger, block, std::min(oldBytes, newBytes));
  Free(block);
  return larger;
}

MovieDocument::MovieDocument(EngineHost& host)
    : host_(host),
      allocator_(host.Memory()),
      pool_(kPoolChunkBytes, &allocator_),
      tree_(&pool_, kStackBytes, &allocator_) {}

bool MovieDocument::Parse(char* text, EngineError& error) {
  const size_t length = strlen(text);
  json::GenericReader<json::UTF8<>, json::UTF8<>, WatchedAllocator> reader(&allocator_);
  json::ParseResult result;
  std::string refusal;
  auto generate = [&](MovieTree& tree) {
    BoundingHandler handler(tree, host_);
    json::InsituStringStream stream(text);
    result = reader.Parse<kParseFlags>(stream, handler);
    refusal = handler.Refusal();
    return !result.IsError();
  };
  tree_.Populate(generate);
  if (!result.IsError()) return true;
  error.status = qx::plexion::kErrorCorruptMovie;
  error.message = Place(text, length, result.Offset()) + ": ";
  error.message += refusal.empty() ? json::GetParseError_En(result.Code()) : refusal;
  if (result.Offset() >= length) error.message += " (the file ends here)";
  return false;
}

void MovieDocument::Write(std::string& text) const {
  StringSink sink(text);
  WatchedAllocator allocator(host_.Memory());
  json::Writer<StringSink, json::UTF8<>, json::UTF8<>, WatchedAllocator> writer(sink, &allocator);
  tree_.Accept(writer);
}

}  // namespace plexion_host::player
