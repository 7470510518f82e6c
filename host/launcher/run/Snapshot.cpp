// The one picture of --snapshot.

#include "host/launcher/run/Snapshot.h"

namespace plexion_host {

void Snapshot::Take(const std::string& remark) {
  if (file_.empty()) return;
  const MutexLock lock(mutex_);
  if (taken_) return;
  taken_ = true;
  std::string error = "this graphics driver cannot save pictures";
  failed_ = display_ == nullptr || !display_->SaveSnapshot(file_, error);
  if (failed_) {
    console_.Log({LogLevel::kError, "--snapshot: " + file_ + ": " + error});
  } else {
    console_.Print("Snapshot: " + file_ + (remark.empty() ? "" : " (" + remark + ")") + "\n");
  }
}

bool Snapshot::HasFailed() {
  const MutexLock lock(mutex_);
  return failed_;
}

}  // namespace plexion_host
