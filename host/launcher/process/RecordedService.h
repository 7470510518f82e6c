// --record: the service behind a recorder.

#ifndef HOST_LAUNCHER_PROCESS_RECORDEDSERVICE_H_
#define HOST_LAUNCHER_PROCESS_RECORDEDSERVICE_H_

#include <memory>
#include <string>
#include <vector>

#include "host/kernel/HostKernel.h"
#include "host/launcher/options/CommandLine.h"

namespace plexion_record {
class Recorder;
}

namespace plexion_host {

/// Records what crosses the border of the module IPlexion, for as long as it is loaded. Lives as long
/// as the kernel.
///
/// Thread   any, after Open.
class RecordedService final : public ModuleBorder {
 public:
  explicit RecordedService(HostKernel& kernel);
  ~RecordedService() override;

  /// Before the service is first acquired; what it plays is recorded from then on. Secrets of
  /// `arguments`, the process's command line, stay outside.
  /// Returns  false with the reason in `error`.
  bool Open(const LauncherOptions& options, const std::vector<std::string>& arguments,
            std::string& error);

  IQXKernel& KernelFor(IQXKernel& kernel) override;
  IQXModule* Load(IQXModule* (*load)()) override;
  void Unload(void (*unload)(IQXModule*), IQXModule* module) override;

 private:
  HostKernel& kernel_;
  const std::unique_ptr<plexion_record::Recorder> recorder_;
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_PROCESS_RECORDEDSERVICE_H_
