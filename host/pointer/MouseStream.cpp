#include "host/pointer/MouseStream.h"

#include <algorithm>
#include <cstdlib>

#include "host/pointer/PasswordFile.h"
#include "host/pointer/StreamAddress.h"
#include "qx/core/IQXKernel.h"
#include "qx/plexion/StageWindowParameters.h"

namespace plexion_host {
namespace {

constexpr const char* kPasswordVariable = "PLEXION_VNC_PASSWORD_FILE";

IQXKernel* Kernel() { return IQXKernel::GetKernel(); }

}  // namespace

MouseStream::~MouseStream() {
  servers_.clear();
  Kernel()->ReleaseModule(input_);
  Kernel()->ReleaseModule(display_);
}

bool MouseStream::StartMouseStream(const qx::plexion::StageWindowParameters& parameters) {
  const std::string text = parameters.mouseStream != nullptr ? parameters.mouseStream : "";
  const std::lock_guard<std::mutex> lock(mutex_);
  if (servers_.count(text) > 0) return true;
  std::string error;
  if (Start(text, std::max(parameters.mouseFeedback, 0), error)) return true;
  Kernel()->Printf("Pointer stream: %s\n", error.c_str());
  return false;
}

bool MouseStream::Start(const std::string& text, int refreshSeconds, std::string& error) {
  StreamAddress address;
  if (!address.Parse(text, error)) return false;

  RfbServer::Settings settings;
  const char* const passwordFile = std::getenv(kPasswordVariable);
  if (passwordFile != nullptr && *passwordFile != '\0') {
    if (!ReadPasswordFile(passwordFile, settings.password, error)) return false;
  } else if (!address.IsLoopback()) {
    error = "'" + text + "' can be reached from other machines, and there is no password (set " +
            kPasswordVariable + " to a file that holds one, or serve at 127.0.0.1)";
    return false;
  }
  if (display_ == nullptr) {
    display_ = static_cast<IHostDisplay*>(Kernel()->AcquireModule("IHostDisplay"));
  }
  if (display_ == nullptr) {
    error = "there is no display to show";
    return false;
  }
  if (input_ == nullptr) input_ = static_cast<IHostInput*>(Kernel()->AcquireModule("IHostInput"));

  settings.listenSocket = address.Listen(error);
  if (settings.listenSocket < 0) return false;
  Kernel()->Printf("Pointer stream at %s%s\n",
                   StreamAddress::Describe(settings.listenSocket).c_str(),
                   settings.password.empty() ? "" : ", with a password");
  if (settings.password.size() > kPasswordBytes) {
    Kernel()->Printf("Pointer stream: only the first %d characters of the password count\n",
                     static_cast<int>(kPasswordBytes));
  }
  settings.refreshSeconds = refreshSeconds;
  settings.display = display_;
  settings.input = input_;
  servers_[text] = std::make_unique<RfbServer>(std::move(settings));
  return true;
}

}  // namespace plexion_host
