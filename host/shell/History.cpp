// Keeps typed lines in a file that only its owner can read.

#include "host/shell/History.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <utility>

#include "host/shell/LineBuffer.h"

namespace plexion_host {
namespace {

bool WriteWhole(const std::string& path, int flags, const std::string& text) {
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | flags, 0600);
  if (fd < 0) return false;
  const ssize_t written = write(fd, text.data(), text.size());
  close(fd);
  return written == static_cast<ssize_t>(text.size());
}

}  // namespace

std::string History::DefaultPath() {
  const char* const state = std::getenv("XDG_STATE_HOME");
  // A relative folder in the environment is to be ignored, as the base directory rules say.
  if (state != nullptr && *state == '/') return std::string(state) + "/plexion/shell_history";
  const char* const home = std::getenv("HOME");
  if (home == nullptr || *home != '/') return std::string();
  return std::string(home) + "/.local/state/plexion/shell_history";
}

History::History(std::string path) : path_(std::move(path)) {
  if (path_.empty()) return;
  std::error_code ignored;
  std::filesystem::create_directories(std::filesystem::path(path_).parent_path(), ignored);
  Load();
}

void History::Load() {
  struct stat info {};
  if (stat(path_.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return;
  std::ifstream file(path_);
  std::string line;
  size_t inFile = 0;
  while (std::getline(file, line)) {
    ++inFile;
    if (line.empty() || line.size() > LineBuffer::kMaxLineBytes) continue;
    lines_.push_back(line);
    if (lines_.size() > 2 * kKeptLines) lines_.erase(lines_.begin(), lines_.end() - kKeptLines);
  }
  if (lines_.size() > kKeptLines) lines_.erase(lines_.begin(), lines_.end() - kKeptLines);
  // Rarely, and not for each line: a device's flash memory wears out by writing.
  if (inFile > 2 * kKeptLines) CutBack();
}

void History::CutBack() {
  std::string text;
  for (const std::string& line : lines_) text += line + "\n";
  const std::string fresh = path_ + ".new";
  // A link in its place would have this write over another file of the user's.
  if (!WriteWhole(fresh, O_TRUNC | O_NOFOLLOW, text) || rename(fresh.c_str(), path_.c_str()) != 0) {
    unlink(fresh.c_str());
  }
}

bool History::Add(const std::string& line) {
  if (line.find_first_not_of(" \t") == std::string::npos) return false;
  if (!lines_.empty() && lines_.back() == line) return false;
  lines_.push_back(line);
  if (!path_.empty()) WriteWhole(path_, O_APPEND, line + "\n");
  return true;
}

}  // namespace plexion_host
