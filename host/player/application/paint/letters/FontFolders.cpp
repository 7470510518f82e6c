// Finds the font files of folders.
#include "host/player/application/paint/letters/FontFolders.h"

#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

namespace plexion_host::player::application {

void FontFolders::AddBelow(const BaseFolder& base, const std::string& folder) {
  std::vector<std::string> names;
  std::string error;
  if (!base.List(folder, names, error)) {
    notices_.Tell(error);
    return;
  }
  for (const std::string& name : names) {
    if (cancelled_()) return;
    if (count_ >= kMostFonts) {
      notices_.Tell("\"" + folder + "\": more than " + std::to_string(kMostFonts) +
                    " fonts; the others are not used");
      return;
    }
    if (name.back() == '/') {
      AddBelow(base, folder + "/" + name.substr(0, name.size() - 1));
      continue;
    }
    OpenFile file = base.OpenRegular(folder + "/" + name, error);
    if (!file.IsOpen()) {
      notices_.Tell(error);
    } else if (texts_.AddFont(std::move(file))) {
      // Licences and the like lie beside fonts; they are no mistake.
      ++count_;
    }
  }
}

bool FontFolders::AddOfDevice(const std::string& folder) {
  const size_t before = count_;
  std::error_code ignored;
  for (auto at = std::filesystem::recursive_directory_iterator(folder, ignored);
       !ignored && at != std::filesystem::recursive_directory_iterator() && count_ < kMostFonts &&
       !cancelled_();
       at.increment(ignored)) {
    // A pipe in there would be waited for, so only what is a file is opened.
    if (at->is_regular_file(ignored) && texts_.AddFont(at->path().string())) ++count_;
  }
  return count_ > before;
}

}  // namespace plexion_host::player::application
