// Waits for files to change, in a thread that the operating system wakes.
#include "host/player/application/files/FileWatch.h"

#include <errno.h>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <system_error>

#include "host/base/Text.h"

namespace plexion_host::player::application {

namespace {

constexpr uint32_t kEvents = IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE;

}  // namespace

FileWatch::~FileWatch() {
  stop_.Raise();
  thread_.Join();
}

bool FileWatch::Add(const BaseFolder& base, const std::string& name, std::string& error) {
  if (!thread_.IsJoinable()) {
    events_ = OpenFile(inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    if (!events_.IsOpen() || stop_.Fd() < 0) {
      error = "files cannot be watched: " + std::generic_category().message(errno);
      return false;
    }
    try {
      thread_ = NamedThread("PlexionFiles", [this] { Run(); });
    } catch (const std::system_error& reason) {
      error = std::string("files cannot be watched: ") + reason.what();
      return false;
    }
  }
  std::string file;
  std::string ignored;
  // A folder is watched itself; for a file the folder around it, since editors replace files by
  // renaming, and a watch on the old file would hear no more.
  OpenFile folder = base.OpenFolder(name, ignored);
  if (!folder.IsOpen()) {
    const size_t slash = name.rfind('/');
    file = slash == std::string::npos ? name : name.substr(slash + 1);
    folder = base.OpenFolder(slash == std::string::npos ? "" : name.substr(0, slash), error);
    if (!folder.IsOpen()) return false;
  }
  // The kernel resolves this name to the open folder itself, so nothing else is ever watched.
  const int watch = inotify_add_watch(events_.Descriptor(), folder.Path().c_str(), kEvents);
  if (watch < 0) {
    error = "\"" + PrintableWord(name) +
            "\" cannot be watched: " + std::generic_category().message(errno);
    return false;
  }
  const MutexLock lock(mutex_);
  entries_.push_back({watch, file, name});
  return true;
}

std::vector<std::string> FileWatch::TakeChanged() {
  const MutexLock lock(mutex_);
  std::vector<std::string> names(changed_.begin(), changed_.end());
  changed_.clear();
  return names;
}

void FileWatch::Run() {
  for (;;) {
    pollfd waits[] = {{events_.Descriptor(), POLLIN, 0}, {stop_.Fd(), POLLIN, 0}};
    if (poll(waits, 2, -1) < 0) continue;
    if (waits[1].revents != 0) return;
    ReadEvents();
  }
}

void FileWatch::ReadEvents() {
  alignas(inotify_event) char buffer[4096];
  const ssize_t size = read(events_.Descriptor(), buffer, sizeof buffer);
  bool changed = false;
  for (ssize_t at = 0; at < size;) {
    const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
    at += static_cast<ssize_t>(sizeof *event + event->len);
    const std::string file = event->len > 0 ? event->name : "";
    const MutexLock lock(mutex_);
    for (const Entry& entry : entries_) {
      // Events were lost: better too many calls than one too few.
      const bool overflow = (event->mask & IN_Q_OVERFLOW) != 0;
      if (!overflow && (entry.watch != event->wd || (!entry.file.empty() && entry.file != file))) {
        continue;
      }
      changed_.insert(entry.name);
      changed = true;
    }
  }
  // Outside of the lock, since whoever is woken may ask for the names at once.
  if (changed) wake_();
}

}  // namespace plexion_host::player::application
