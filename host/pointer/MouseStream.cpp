// Starts the pointer stream where an option asks for it.

#include "host/pointer/MouseStream.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <set>
#include <utility>

#include "host/base/Check.h"
#include "host/base/Text.h"
#include "host/pointer/PasswordFile.h"
#include "host/pointer/StreamAddress.h"
#include "qx/core/IQXKernel.h"
#include "qx/plexion/StageWindowParameters.h"

namespace plexion_host {
namespace {

constexpr const char* kPasswordVariable = "PLEXION_VNC_PASSWORD_FILE";
/// Pages that may connect, separated by commas.
constexpr const char* kOriginsVariable = "PLEXION_VNC_ORIGINS";
/// Longer ones are nobody's whom one would let in.
constexpr size_t kShownOriginBytes = 200;

IQXKernel* Kernel() { return IQXKernel::GetKernel(); }

/// Says it once for each origin, and not for ever: a page may ask as often as it likes.
class RefusedPages {
 public:
  void Tell(const std::string& origin) {
    if (told_.size() == kMostTold || !told_.insert(origin).second) return;
    const std::string name = PrintableWord(origin.substr(0, kShownOriginBytes));
    Kernel()->Printf("Pointer stream: a page of %s was refused; %s=%s lets it in\n", name.c_str(),
                     kOriginsVariable, name.c_str());
  }

 private:
  static constexpr size_t kMostTold = 16;
  std::set<std::string> told_;
};

}  // namespace

MouseStream::~MouseStream() {
  servers_.clear();
  Kernel()->ReleaseModule(input_);
  Kernel()->ReleaseModule(display_);
}

bool MouseStream::StartMouseStream(const qx::plexion::StageWindowParameters& parameters) {
  const std::string text = parameters.mouseStream != nullptr ? parameters.mouseStream : "";
  const MutexLock lock(mutex_);
  // Several windows may name the same address: they are shown by one server, the whole screen.
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
  settings.refreshSeconds = refreshSeconds;
  const char* const origins = std::getenv(kOriginsVariable);
  for (std::string& origin : SplitAt(origins != nullptr ? origins : "", ',')) {
    if (!origin.empty()) settings.origins.push_back(std::move(origin));
  }
  settings.refused = [pages = std::make_shared<RefusedPages>()](const std::string& origin) {
    pages->Tell(origin);
  };
  settings.display = display_;
  settings.input = input_;
  PLEXION_CHECK(display_ != nullptr && settings.listenSocket >= 0,
                "a server has a screen and a socket");
  const std::string served = StreamAddress::Describe(settings.listenSocket);
  const size_t passwordBytes = settings.password.size();
  auto server = std::make_unique<RfbServer>(std::move(settings));
  if (!server->IsUsable()) {
    error = "no event descriptor to be had";
    return false;
  }
  servers_[text] = std::move(server);
  Kernel()->Printf("Pointer stream at %s%s\n", served.c_str(),
                   passwordBytes == 0 ? "" : ", with a password");
  if (passwordBytes > kPasswordBytes) {
    Kernel()->Printf("Pointer stream: only the first %d characters of the password count\n",
                     static_cast<int>(kPasswordBytes));
  }
  return true;
}

}  // namespace plexion_host
