// What stands behind a run: the recording, the operator's shell, sound, the service.

#include <algorithm>
#include <cstdlib>

#include "host/base/Text.h"
#include "host/contracts/IHostSound.h"
#include "host/launcher/launch/Launch.h"

namespace plexion_host {
namespace {

constexpr int64_t kNanosecondsPerMillisecond = 1000000;

}  // namespace

bool Launch::OpenRecording() {
  if (line_.options.recordFile.empty()) return true;
  recorded_.emplace(kernel_);
  if (recorded_->Open(line_.options, arguments_, error_)) return true;
  return Fail(kExitCannotWork, "--record: " + error_);
}

bool Launch::OpenShell() {
  // Before the service, which may start the shell at once.
  end_.SetStep("the operator's shell");
  if (!shell_.Open(line_.options, error_)) return Fail(kExitCannotWork, error_);
  if (!shell_.SocketPath().empty()) end_.SetSocket(shell_.SocketPath());
  return true;
}

/// A wrong name is found before anything is opened. Only who names an output waits for the question
/// which ones there are.
bool Launch::ChooseSound() {
  sound_.SetPlayer([this](std::string& error) -> IHostPlayer* {
    if (!player_) {
      player_ = ModuleHandle<IHostPlayer>(kernel_, kernel_.TryAcquireModule("IHostPlayer", error));
      if (!player_) error = "this player offers no volume and no positions: " + error;
    }
    return player_.Get();
  });
  const std::string& name = line_.options.soundOutput;
  if (name.empty()) return true;
  setenv(kSoundOutputVariable, name.c_str(), 1);
  if (name == "auto" || name == "none") return true;
  end_.SetStep("the sound outputs");
  const auto outputs = Acquire<IHostSound>("IHostSound");
  if (!outputs) return Fail(kExitCannotWork, "module IHostSound is not available: " + error_);
  std::vector<std::string> names = outputs->GetOutputNames();
  if (std::find(names.begin(), names.end(), name) != names.end()) return true;
  for (std::string& each : names) each = "'" + PrintableWord(each) + "'";
  names.insert(names.begin(), {"auto", "none"});
  return FailUsage("--sound-output: there is no output '" + PrintableWord(name) + "'; expected " +
                   Join(names));
}

bool Launch::LoadService() {
  end_.SetStep("the module IPlexion");
  service_ = Acquire<qx::plexion::IPlexionSets>("IPlexion");
  if (!service_) return Fail(kExitCannotWork, "module IPlexion is not available: " + error_);
  temporary_.emplace(kernel_, *service_.Get());
  end_.SetCleanUp([this] { temporary_->Remove(); });
  windows_.SetService(service_.Get());
  session_.service = service_.Get();
  const std::optional<KeyMode>& keyMode = line_.options.keyMode;
  if (!keyMode) return true;
  if (keyMode->mode == qx::plexion::kKeyInputModeSimulateKeyUp) {
    windows_.SetKeyUpDelay(std::chrono::milliseconds(keyMode->delayMs));
  }
  return service_->SetKeyInputMode(keyMode->mode, keyMode->delayMs * kNanosecondsPerMillisecond,
                                   keyMode->intervalMs * kNanosecondsPerMillisecond) ||
         Fail(kExitCannotWork, "--key-mode: the service does not take it");
}

void Launch::UnloadService() {
  end_.SetStep("the module IPlexion");
  sound_.Close();
  player_.Reset();
  preparer_.Reset();
  runtime_.Reset();
  windows_.SetService(nullptr);
  end_.SetCleanUp(nullptr);
  temporary_.reset();
  service_.Reset();
  calendar_.Reset();
}

void Launch::CloseShell() {
  end_.SetStep("the operator's shell");
  shell_.Close();
  kernel_.GetConsole().Flush();
}

}  // namespace plexion_host
