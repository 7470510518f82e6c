// System drivers, locales and input drivers that are wrong in one thing each.

#include <fcntl.h>

#include <cstring>
#include <string>

#include "qx/core/IQXKernel.h"
#include "qx/core/QXString.h"
#include "qx/platform/ILocaleUtils.h"
#include "qx/platform/ISystemDriver.h"
#include "qx/platform/IUserInputDriver.h"
#include "qx/plexion/IPlexion.h"
#include "tests/kit/certify/Fault.h"

namespace {

class FaultySystem final : public qx::platform::ISystemDriver {
 public:
  void GetCurrentUserName(QXString& name) override {
    if (FAULT("user-name-appends")) return name.Append("operator");
    if (FAULT("user-name-is-a-path")) return name.Assign("home/operator");
    if (FAULT("user-name-changes")) return name.Assign(++calls_ % 2 == 0 ? "operator" : "other");
    name.Assign("operator");
  }

 private:
  int calls_ = 0;
};

class FaultyLocale final : public qx::platform::ILocaleUtils {
 public:
  const char* SetLocale(int, const char* locale) override {
    const bool known = strcmp(locale, "C") == 0 || strcmp(locale, "en_US.UTF-8") == 0;
    if (FAULT("locale-unknown-is-null") && !known) return nullptr;
    if (FAULT("locale-unknown-is-empty") && !known) return "";
    if (known || FAULT("locale-answers-what-was-asked")) inForce_ = locale;
    return inForce_.c_str();
  }

 private:
  std::string inForce_ = "C";
};

class FaultyInput final : public qx::platform::IUserInputDriver {};

}  // namespace

extern "C" {

QX_EXPORT IQXModule* IQXModule_ISystemDriver_ModuleLoad() {
  static int loads = 0;
  if (FAULT("system-loads-once") && ++loads > 1) return nullptr;
  return new FaultySystem;
}
QX_EXPORT void IQXModule_ISystemDriver_ModuleUnload(IQXModule* module) { delete module; }

QX_EXPORT IQXModule* IQXModule_ILocaleUtils_ModuleLoad() {
  return FAULT("locale-load-answers-null") ? nullptr : new FaultyLocale;
}
QX_EXPORT void IQXModule_ILocaleUtils_ModuleUnload(IQXModule* module) { delete module; }

QX_EXPORT IQXModule* IQXModule_IUserInputDriver_ModuleLoad() {
  if (FAULT("input-presses-a-key")) {
    IQXModule* const service = IQXKernel::GetKernel()->AcquireModule("IPlexion");
    for (int i = 0; service != nullptr && i < 30; ++i) {
      static_cast<qx::plexion::IPlexionSets*>(service)->DispatchKeyDown(65);
      IQXKernel::GetKernel()->Sleep(1000000);
    }
    IQXKernel::GetKernel()->ReleaseModule(service);
  }
  if (FAULT("input-load-leaves-a-file") && open("/dev/null", O_RDONLY) < 0) return nullptr;
  return new FaultyInput;
}
QX_EXPORT void IQXModule_IUserInputDriver_ModuleUnload(IQXModule* module) { delete module; }
}
