// What the page in a browser shows of the launcher.

#ifndef HOST_LAUNCHER_COMMANDS_LOOKSOURCE_H_
#define HOST_LAUNCHER_COMMANDS_LOOKSOURCE_H_

#include <string>
#include <vector>

#include "host/contracts/IHostLook.h"
#include "host/kernel/HostKernel.h"
#include "host/launcher/commands/CommandContext.h"

namespace plexion_host {

/// Thread   the page's server's.
class LookSource final : public ILookSource {
 public:
  LookSource(CommandContext& context, HostKernel& kernel) : context_(context), kernel_(kernel) {}

  uint64_t GetFrameCount() override;
  bool CopyScreen(qx::plexion::Dims& dims, std::vector<uint32_t>& pixels) override;
  std::string GetStatus() override;
  std::string GetDay() override;
  bool Act(const std::string& action, std::string& error) override;

 private:
  CommandContext& context_;
  HostKernel& kernel_;
};

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_COMMANDS_LOOKSOURCE_H_
