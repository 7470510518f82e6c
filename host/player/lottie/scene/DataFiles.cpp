// Data that expressions read: JSON files beside the movie.
#include "host/player/lottie/scene/DataFiles.h"

#include <algorithm>

#include "host/player/lottie/document/Reader.h"

namespace plexion_host::movie {

namespace {

/// Of all files of a movie together.
constexpr uint64_t kMostBytes = 4 * 1024 * 1024;

/// Of each file. Numbers keep their size: they may well be seconds since 1970.
JsonLimits LimitsOfData() {
  JsonLimits limits;
  limits.mostValues = 200000;
  limits.largestNumber = 1e15;
  return limits;
}

}  // namespace

void LoadData(Movie& movie, const Images::Reader& reader, const std::function<bool()>& cancelled,
              const std::function<void(const DataAsset&, const std::string&)>& missing) {
  uint64_t left = kMostBytes;
  for (DataAsset* asset : movie.data) {
    Unpacked bytes;
    std::string reason;
    Arena tree(movie.arena.Watchdog());
    JsonValue value;
    const std::string name = std::string(asset->folder) + std::string(asset->source);
    if (reader(name, left, bytes, reason) &&
        ReadJson(bytes.Text(), LimitsOfData(), cancelled, tree, value, reason)) {
      asset->value = movie.arena.New<JsonValue>(CopyJson(value, movie.arena));
      left -= std::min<uint64_t>(left, bytes.count);
    } else {
      missing(*asset, reason);
    }
  }
}

}  // namespace plexion_host::movie
