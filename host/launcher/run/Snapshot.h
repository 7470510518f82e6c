// The one picture of --snapshot.

#ifndef HOST_LAUNCHER_RUN_SNAPSHOT_H_
#define HOST_LAUNCHER_RUN_SNAPSHOT_H_

#include <string>

#include "host/base/Mutex.h"
#include "host/contracts/IHostDisplay.h"
#include "host/kernel/Console.h"

namespace plexion_host {

/// The one picture of --snapshot: taken once, by its timer or when the content ends.
class Snapshot {
 public:
  /// An empty `file`: no picture is wanted. `display` may be null: then it cannot be taken.
  Snapshot(std::string file, IHostDisplay* display, Console& console)
      : file_(std::move(file)), display_(display), console_(console) {}

  /// Saves the composed screen unless that has been done. `remark` may be empty.
  void Take(const std::string& remark);
  bool HasFailed();

 private:
  const std::string file_;
  IHostDisplay* const display_;
  Console& console_;
  Mutex mutex_;  // also held while the picture is saved
  bool taken_ GUARDED_BY(mutex_) = false;
  bool failed_ GUARDED_BY(mutex_) = false;
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_RUN_SNAPSHOT_H_
