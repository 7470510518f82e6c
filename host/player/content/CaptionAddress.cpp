// Looks for the file with a content's captions.
#include "host/player/content/CaptionAddress.h"

#include <sys/stat.h>

namespace plexion_host::player {

namespace {

bool IsRegularFile(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

std::string Beside(const std::string& content) {
  const size_t slash = content.rfind('/');
  const size_t dot = content.rfind('.');
  const bool ending = dot != std::string::npos && (slash == std::string::npos || dot > slash);
  for (const char* extension : {".ass", ".ssa", ".vtt", ".srt"}) {
    for (const std::string& stem : {ending ? content.substr(0, dot) : content, content}) {
      if (IsRegularFile(stem + extension)) return stem + extension;
    }
  }
  return {};
}

}  // namespace

std::string CaptionAddress(const std::string& path, const PlayerSettings& settings) {
  std::string choice;
  for (const auto& [name, value] : settings.variables) {
    if (name == kCaptionsVariable) choice = value;
  }
  if (choice.empty() || choice == "off") return {};
  if (choice == "on") return path.empty() ? "" : Beside(path);
  const size_t slash = path.rfind('/');
  const bool whole = choice[0] == '/' || slash == std::string::npos;
  return whole ? choice : path.substr(0, slash + 1) + choice;
}

}  // namespace plexion_host::player
