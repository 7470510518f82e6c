// What acts on a run: keys, the viewers of its screen, the page for a browser.

#include "host/base/RandomToken.h"
#include "host/launcher/launch/Launch.h"
#include "qx/plexion/StageWindowParameters.h"

namespace plexion_host {

bool Launch::OpenInput() {
  // Held here as well as by the service, so that input works however the content is started. None
  // of it is needed.
  userInput_ = Acquire<IQXModule>("IUserInputDriver");
  input_ = Acquire<IHostInput>("IHostInput");
  if (!LoadKeyMaps()) return false;
  StartMouseStreams();
  shell_.SetRun(display_.Get(), input_.Get(), driver_.Get());
  return StartLook();
}

bool Launch::LoadKeyMaps() {
  for (const WindowLine& line : lines_) {
    if (!line.keymap.empty() && input_ && !input_->LoadKeyMap(line.keymap, error_)) {
      return Fail(kExitUsage, "--keymap: " + error_);
    }
  }
  return true;
}

void Launch::StartMouseStreams() {
  for (const WindowLine& line : lines_) {
    if (line.mouseStream.empty()) continue;
    mouseStreams_.push_back(Acquire<qx::platform::IMouseStream>("IMouseStream"));
    qx::plexion::StageWindowParameters parameters{};
    std::vector<const char*> argv = AsArgv("plexion", line.arguments);
    if (mouseStreams_.back() && service_->ParseCommandLineParameters(
                                    static_cast<int>(argv.size()) - 1, argv.data(), parameters)) {
      mouseStreams_.back()->StartMouseStream(parameters);
    }
  }
}

bool Launch::StartLook() {
  const LauncherOptions& options = line_.options;
  if (!options.look) return true;
  LookSettings settings{options.look->address, options.look->port, RandomToken()};
  if (!options.lookToken.empty() && !LoadLookToken(options.lookToken, settings.token, error_)) {
    return Fail(kExitUsage, "--look-token: " + error_);
  }
  if (settings.token.empty()) return Fail(kExitCannotWork, "--look: no random numbers to be had");
  look_ = Acquire<IHostLook>("IHostLook");
  if (!look_) return Fail(kExitCannotWork, "module IHostLook is not available: " + error_);
  if (!look_->Start(settings, lookSource_, error_)) {
    return Fail(kExitCannotWork, "--look: " + error_);
  }
  const bool known = !options.lookToken.empty();
  session_.Log(LogLevel::kInfo, "the page is at " + LookUrl(*options.look, look_->GetPort()) +
                                    (known ? "TOKEN/ with the token of " + options.lookToken
                                           : settings.token + "/"));
  if (!options.look->IsLoopback()) {
    session_.Log(LogLevel::kWarning,
                 "--look: the page and its token travel in clear to all who can hear the network");
  }
  return true;
}

void Launch::CloseInput() {
  look_.Reset();
  shell_.SetRun(nullptr, nullptr, nullptr);
  mouseStreams_.clear();
  input_.Reset();
  userInput_.Reset();
}

}  // namespace plexion_host
