#ifndef HOST_PLAYER_LOTTIE_MOVIEDOCUMENT_H_
#define HOST_PLAYER_LOTTIE_MOVIEDOCUMENT_H_

#include <stddef.h>
#include <stdint.h>

#include <new>
#include <string>

// A namespace of our own: the renderer brings the same library, built its own way.
#define RAPIDJSON_NAMESPACE plexion_rapidjson
#define RAPIDJSON_NAMESPACE_BEGIN namespace plexion_rapidjson {
#define RAPIDJSON_NAMESPACE_END }
#include <rapidjson/document.h>

#include "host/player/Engine.h"
#include "host/player/WatchedMemory.h"

namespace plexion_host::player {

/// Memory of a document: the window's. Unlike the JSON library's own allocators it throws
/// std::bad_alloc, since the library does not look at what it is given.
class WatchedAllocator {
 public:
  static constexpr bool kNeedFree = true;

  explicit WatchedAllocator(qx::plexion::MemoryWatchdog* watchdog = nullptr)
      : watchdog_(watchdog) {}
  void* Malloc(size_t bytes);
  void* Realloc(void* block, size_t oldBytes, size_t newBytes);
  static void Free(void* block) { FreeWatched(block); }

 private:
  qx::plexion::MemoryWatchdog* watchdog_;
};

namespace json = plexion_rapidjson;

using MoviePool = json::MemoryPoolAllocator<WatchedAllocator>;
using MovieValue = json::GenericValue<json::UTF8<>, MoviePool>;
using MovieTree = json::GenericDocument<json::UTF8<>, MoviePool, WatchedAllocator>;

/// Nothing in a movie may be nested deeper or count more than this.
constexpr unsigned kDeepestNesting = 64;
constexpr size_t kMostValues = 4000000;
/// Every number is brought into this range: larger ones keep the renderer's threads busy for good.
constexpr int kLargestNumber = 100000;

/// A movie's JSON as a tree, with all numbers in range. The tree's texts stand in the buffer that
/// it was parsed from.
class MovieDocument {
 public:
  explicit MovieDocument(EngineHost& host);

  /// Parses `text`, which ends with a zero byte and is changed in place.
  /// Returns  false with kErrorCorruptMovie and what was wrong at which line and byte; also when
  ///          the host cancelled. Throws std::bad_alloc.
  bool Parse(char* text, EngineError& error);

  MovieTree& Tree() { return tree_; }
  /// The tree as text again.
  void Write(std::string& text) const;

 private:
  EngineHost& host_;
  WatchedAllocator allocator_;
  MoviePool pool_;
  MovieTree tree_;
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_LOTTIE_MOVIEDOCUMENT_H_
