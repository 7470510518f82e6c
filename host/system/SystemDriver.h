// Facts about this computer: the module "ISystemDriver".

#ifndef HOST_SYSTEM_SYSTEMDRIVER_H_
#define HOST_SYSTEM_SYSTEMDRIVER_H_

#include <string>

#include "qx/platform/ISystemDriver.h"

namespace plexion_host {

/// `name` made fit for one path component: slashes and control characters become '_', and so do the
/// dots of a name that is nothing but dots.
std::string AsPathComponent(const std::string& name);

/// Facts about this computer: the user is the one whose rights the process has.
class SystemDriver final : public qx::platform::ISystemDriver {
 public:
  void GetCurrentUserName(QXString& name) override;
};

}  // namespace plexion_host

#endif  // HOST_SYSTEM_SYSTEMDRIVER_H_
