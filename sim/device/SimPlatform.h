// System driver, locale, pointer stream and input, scripted.

#ifndef SIM_DEVICE_SIMPLATFORM_H_
#define SIM_DEVICE_SIMPLATFORM_H_

#include <string>
#include <vector>

#include "qx/platform/ILocaleUtils.h"
#include "qx/platform/IMouseStream.h"
#include "qx/platform/ISystemDriver.h"
#include "qx/platform/IUserInputDriver.h"
#include "sim/device/ScriptedModule.h"

namespace plexion_sim {

/// "ISystemDriver".
class SimSystem final : public qx::platform::ISystemDriver, public ScriptedModule {
 public:
  explicit SimSystem(SimKernel& kernel) : ScriptedModule(kernel, "ISystemDriver") {}
  std::string userName = "operator";
  void GetCurrentUserName(QXString& name) override;
};

/// "ILocaleUtils".
class SimLocale final : public qx::platform::ILocaleUtils, public ScriptedModule {
 public:
  explicit SimLocale(SimKernel& kernel) : ScriptedModule(kernel, "ILocaleUtils") {}
  std::string answer;  ///< in force after SetLocale; empty: what was asked for
  std::vector<std::string> asked;
  const char* SetLocale(int category, const char* locale) override;

 private:
  std::string inForce_ = "C";
};

/// "IMouseStream".
class SimMouseStream final : public qx::platform::IMouseStream, public ScriptedModule {
 public:
  explicit SimMouseStream(SimKernel& kernel) : ScriptedModule(kernel, "IMouseStream") {}
  std::vector<std::string> served;  ///< the addresses asked for
  bool StartMouseStream(const qx::plexion::StageWindowParameters& parameters) override;
};

/// "IUserInputDriver": a story presses keys itself; see SimHost.
class SimInput final : public qx::platform::IUserInputDriver, public ScriptedModule {
 public:
  explicit SimInput(SimKernel& kernel) : ScriptedModule(kernel, "IUserInputDriver") {}
  bool IsHeld() const { return kernel_.ModuleReferences(name_) > 0; }
};

}  // namespace plexion_sim

#endif  // SIM_DEVICE_SIMPLATFORM_H_
