// What the name of a content tells of how long it lasts.
#include "host/launcher/programme/document/ContentKinds.h"

#include <algorithm>
#include <filesystem>
#include <iterator>

#include "host/base/Text.h"

namespace plexion_host {
namespace {

namespace fs = std::filesystem;

template <size_t kCount>
bool IsOneOf(const std::string& word, const char* const (&words)[kCount]) {
  return std::find(std::begin(words), std::end(words), word) != std::end(words);
}

}  // namespace

std::string ExtensionOf(const std::string& content) {
  const bool address = content.find("://") != std::string::npos;
  const std::string path = address ? content.substr(0, content.find_first_of("?#")) : content;
  return LowerAscii(fs::path(path).extension().string());
}

bool MayBeEndless(const std::string& content) {
  const size_t scheme = content.find("://");
  const std::string extension = ExtensionOf(content);
  if (scheme != std::string::npos) {
    const char* const stored[] = {"http", "https", "file"};
    // Only these schemes bring a file that has an end. Others (rtsp, udp) are live, and so is an
    // HLS list for all that its name tells.
    if (!IsOneOf(LowerAscii(content.substr(0, scheme)), stored) || extension == ".m3u8")
      return true;
  }
  // These may loop for ever: animated pictures by their own count, applications always.
  const char* const endless[] = {".gif", ".webp", ".apng", ".xml"};
  std::error_code fault;
  return IsOneOf(extension, endless) || fs::is_directory(content, fault);
}

bool IsStillPicture(const Item& item) {
  // Who gives a duration or passes says how long it is on; otherwise the player's picture time
  // counts.
  if (item.durationMs || item.passes != 1) return false;
  if (item.variables.find("duration=") != std::string::npos) return false;
  const char* const stills[] = {".jpg", ".jpeg", ".png", ".svg", ".bmp", ".tif", ".tiff", ".jp2"};
  return IsOneOf(ExtensionOf(item.content), stills);
}

}  // namespace plexion_host
