// Pictures of a movie: embedded, or files beside it.
#include "host/player/lottie/paint/Images.h"

#include <string.h>

#include <algorithm>

#include "host/player/image/StillPicture.h"

namespace plexion_host::movie {

namespace {

constexpr uint64_t kMostFileBytes = 32 * 1024 * 1024;
/// Of all pictures of a movie together: 256 MB.
constexpr uint64_t kMostPixels = uint64_t{64} * 1024 * 1024;

int Digit(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+' || c == '-') return 62;
  return c == '/' || c == '_' ? 63 : -1;
}

}  // namespace

bool DecodeDataAddress(std::string_view address, qx::plexion::MemoryWatchdog* watchdog,
                       Unpacked& bytes, std::string& error) {
  const size_t comma = address.find(',');
  const std::string_view head = address.substr(0, comma);
  if (comma == std::string_view::npos || head.find(";base64") == std::string_view::npos) {
    error = "its data: address is not in base64";
    return false;
  }
  const std::string_view text = address.substr(comma + 1);
  bytes.bytes = std::make_unique<player::WatchedBuffer>();
  if (!bytes.bytes->Resize(watchdog, text.size() / 4 * 3 + 3)) {
    error = "no memory for its bytes";
    return false;
  }
  uint8_t* out = bytes.bytes->As<uint8_t>();
  size_t& count = bytes.count;
  count = 0;
  uint32_t bits = 0;
  int have = 0;
  for (const char c : text) {
    const int digit = Digit(c);
    if (c == '=') break;
    if (digit < 0) {
      if (c == '\n' || c == '\r' || c == ' ' || c == '\t') continue;
      error =
          "its base64 has the wrong sign '" + std::string(1, c < ' ' || c > '~' ? '?' : c) + "'";
      return false;
    }
    bits = bits << 6 | static_cast<uint32_t>(digit);
    have += 6;
    if (have < 8) continue;
    have -= 8;
    out[count++] = static_cast<uint8_t>(bits >> have);
  }
  return true;
}

bool Images::Load(const Movie& movie, const Reader& reader, const std::function<bool()>& cancelled,
                  const std::function<void(const ImageAsset&, const std::string&)>& missing,
                  std::string& error) {
  for (const ImageAsset& asset : movie.images) {
    if (cancelled()) {
      error = "loading was stopped";
      return false;
    }
    Unpacked bytes;
    std::string reason;
    const bool data = asset.source.substr(0, 5) == "data:";
    const bool read = data ? DecodeDataAddress(asset.source, watchdog_, bytes, reason)
                           : reader(std::string(asset.folder) + std::string(asset.source),
                                    kMostFileBytes, bytes, reason);
    if (!read || !Decode(reinterpret_cast<const uint8_t*>(bytes.Text().data()), bytes.count, asset,
                         cancelled, reason)) {
      missing(asset, reason);
    }
  }
  return true;
}

bool Images::Decode(const uint8_t* bytes, size_t size, const ImageAsset& asset,
                    const std::function<bool()>& cancelled, std::string& reason) {
  const auto picture = std::make_shared<player::StillPicture>();
  const uint64_t left = (kMostPixels - std::min(pixels_, kMostPixels)) * sizeof(uint32_t);
  if (!player::DecodeStillPicture(bytes, size, {left, watchdog_, cancelled}, *picture, reason)) {
    return false;
  }
  pixels_ += uint64_t{picture->width} * picture->height;
  const Surface surface = {picture->pixels.As<uint32_t>(), static_cast<int>(picture->width),
                           static_cast<int>(picture->height), size_t{picture->width} * 4};
  images_.emplace_back(&asset, std::make_unique<LoadedImage>(surface));
  images_.back().second->picture = picture;
  return true;
}

const LoadedImage* Images::Find(const ImageAsset& asset) const {
  for (const auto& entry : images_) {
    if (entry.first == &asset) return entry.second.get();
  }
  return nullptr;
}

}  // namespace plexion_host::movie
