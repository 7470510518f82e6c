// The module "IMouseStream".

#ifndef HOST_POINTER_MOUSESTREAM_H_
#define HOST_POINTER_MOUSESTREAM_H_

#include <map>
#include <memory>
#include <string>

#include "host/base/Mutex.h"
#include "host/contracts/IHostDisplay.h"
#include "host/contracts/IHostInput.h"
#include "host/pointer/RfbServer.h"
#include "qx/platform/IMouseStream.h"

namespace plexion_host {

/// The module "IMouseStream": a server at each address that was asked for.
///
/// PLEXION_VNC_PASSWORD_FILE names the file with the password. Without it only this machine may be
/// served. PLEXION_VNC_ORIGINS names the pages whose viewers may connect.
class MouseStream final : public qx::platform::IMouseStream {
 public:
  MouseStream() = default;
  ~MouseStream() override;
  MouseStream(const MouseStream&) = delete;
  MouseStream& operator=(const MouseStream&) = delete;

  bool StartMouseStream(const qx::plexion::StageWindowParameters& parameters) override;

 private:
  bool Start(const std::string& text, int refreshSeconds, std::string& error) REQUIRES(mutex_);

  Mutex mutex_;
  IHostDisplay* display_ GUARDED_BY(mutex_) = nullptr;  // held from the first start on
  IHostInput* input_ GUARDED_BY(mutex_) = nullptr;
  /// By address as asked for.
  std::map<std::string, std::unique_ptr<RfbServer>> servers_ GUARDED_BY(mutex_);
};

}  // namespace plexion_host

#endif  // HOST_POINTER_MOUSESTREAM_H_
