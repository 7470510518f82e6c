// Facts about this computer: the module "ISystemDriver".

#include "host/system/SystemDriver.h"

#include <pwd.h>
#include <unistd.h>

#include <vector>

#include "host/contracts/HostModule.h"
#include "qx/core/QXString.h"

namespace plexion_host {

std::string AsPathComponent(const std::string& name) {
  std::string component = name;
  const bool onlyDots = component.find_first_not_of('.') == std::string::npos;
  for (char& character : component) {
    const auto byte = static_cast<unsigned char>(character);
    // The name becomes a folder's: it must not lead out of its parent, nor steer a terminal.
    if (byte < 0x20 || byte == 0x7F || character == '/' || onlyDots) character = '_';
  }
  return component;
}

void SystemDriver::GetCurrentUserName(QXString& name) {
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  const int error = getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found);
  // A container may run under a user number that has no name.
  const bool named = error == 0 && found != nullptr && found->pw_name != nullptr;
  name.Assign(named ? AsPathComponent(found->pw_name).c_str() : "");
}

}  // namespace plexion_host

PLEXION_HOST_MODULE(ISystemDriver, plexion_host::SystemDriver)
