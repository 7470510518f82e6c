// The module with a recorder between it and the host.

#ifndef MINIMAL_HOST_RECORDED_H_
#define MINIMAL_HOST_RECORDED_H_

#include "kit/record/Recorder.h"

/// In the place of AcquireModule("IPlexion"): everything that crosses the module's border from its loading on is
/// written into a file. The modules that IPlexion acquires are found by the kernel as ever.
///
/// Lives longer than what the module made; the kernel lives longer than this. Thread: the host's own.
class Recorded {
 public:
  explicit Recorded(IQXKernel& kernel) : kernel_(kernel), recorder_(kernel) {}

  /// `argv` is the process's command line: passwords in it stay outside of the file.
  /// Returns  null when there is no module beside the program or `path` cannot be written; it has said why.
  IQXModule* Load(const char* path, int argc, const char* const* argv);
  /// Makes the file whole. Accepts null.
  void Unload(IQXModule* module);

 private:
  IQXKernel& kernel_;
  plexion_record::Recorder recorder_;
  plexion_record::Recorder::UnloadEntry unload_ = nullptr;
};

#endif  // MINIMAL_HOST_RECORDED_H_
