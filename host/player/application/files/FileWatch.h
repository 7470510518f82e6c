// Hears of changed files.
#ifndef HOST_PLAYER_APPLICATION_FILES_FILEWATCH_H_
#define HOST_PLAYER_APPLICATION_FILES_FILEWATCH_H_

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "host/base/Mutex.h"
#include "host/base/NamedThread.h"
#include "host/base/WakeSignal.h"
#include "host/player/application/files/BaseFolder.h"

namespace plexion_host::player::application {

/// Tells when files below a base folder are written, replaced or removed, without ever polling. Its
/// thread sleeps in the operating system until one is.
class FileWatch {
 public:
  /// `wake` is called on the watch's own thread.
  explicit FileWatch(std::function<void()> wake) : wake_(std::move(wake)) {}
  FileWatch(const FileWatch&) = delete;
  FileWatch& operator=(const FileWatch&) = delete;
  ~FileWatch();

  /// A file, whether it is there yet or not, or a folder and what is directly in it.
  /// Returns  false with `error` when the folder around it cannot be watched.
  bool Add(const BaseFolder& base, const std::string& name, std::string& error);
  /// Names that were added and have changed since the last call. Thread: any.
  std::vector<std::string> TakeChanged();

 private:
  struct Entry {
    int watch;
    std::string file;  ///< inside the watched folder; empty: all of it
    std::string name;  ///< as given to Add
  };

  void Run();
  void ReadEvents();

  const std::function<void()> wake_;
  OpenFile events_;
  WakeSignal stop_;
  Mutex mutex_;
  std::vector<Entry> entries_ GUARDED_BY(mutex_);
  std::set<std::string> changed_ GUARDED_BY(mutex_);
  NamedThread thread_;  ///< last: it uses all of the others
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_FILES_FILEWATCH_H_
