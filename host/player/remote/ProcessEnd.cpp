// Names signals and exit codes.

#include "host/player/remote/ProcessEnd.h"

#include <string.h>
#include <sys/wait.h>

namespace plexion_host::player::remote {

std::string DescribeEnd(const siginfo_t& info) {
  if (info.si_pid == 0) return "it is gone";
  if (info.si_code == CLD_EXITED) {
    return "it left by itself with exit code " + std::to_string(info.si_status);
  }
  std::string text = "it was ended by signal " + std::to_string(info.si_status);
  const char* const name = sigabbrev_np(info.si_status);
  if (name != nullptr) text += std::string(" (SIG") + name + ")";
  if (info.si_status == SIGXFSZ) text += ": it wrote more than its limit";
  if (info.si_status == SIGKILL) text += ": by the system, which was short of memory, or by hand";
  return text;
}

EngineError ErrorOfEnd(const siginfo_t& info) {
  return {qx::plexion::kErrorFatalPlaybackError,
          "the content's process crashed: " + DescribeEnd(info)};
}

}  // namespace plexion_host::player::remote
