// From a parameters record to a window with a player. What fails on the way stays in the window until
// it is destroyed: nothing is undone halfway, where a player may already have begun to notify.

#include "qx/core/QXLock.h"
#include "qx/core/QXMem.h"
#include "qx/core/morvellib/IMorvelRuntimeLib.h"
#include "qx/core/morvellib/MorvelInstanceParameters.h"
#include "qx/platform/ILocaleUtils.h"
#include "qx/plexion/IPlexionImpl.h"
#include "qx/plexion/StageWindowImpl.h"
#include "qx/plexion/parts/MemoryWatchdog.h"

namespace qx {
namespace plexion {

using core::morvellib::IMorvelRuntimeLib;
using core::morvellib::MorvelInstance;
using core::morvellib::MorvelInstanceParameters;

namespace {

constexpr char kRuntimeModule[] = "IMorvelRuntimeLib";
constexpr char kGlRuntimeModule[] = "IMorvelRuntimeGLLib";

/// A module of the host's own choosing is never replaced by the OpenGL one.
const char* ChooseRuntimeModule(IQXKernel* kernel, const StageWindowParameters& wanted) {
  const char* name = wanted.morvelModuleName != nullptr ? wanted.morvelModuleName : kRuntimeModule;
  if (wanted.gl == kGlOn && kernel->StrCmp(name, kRuntimeModule) == 0) name = kGlRuntimeModule;
  return name;
}

IQXModule* AcquireTimed(IQXKernel* kernel, const char* name) {
  const IQXKernel::Time before = kernel->GetTime();
  IQXModule* module = kernel->AcquireModule(name);
  const auto milliseconds = static_cast<long>((kernel->GetTime() - before) / 1000000);
  // File, line and text are those that log readers of the platform look for, not this file's.
  kernel->Printf("QXPROFILE: %s:%d: %ldms for %s\n", "qx/plexion/StageWindowImpl", 313,
                 milliseconds, "{ .. pKernel->AcquireModule(pMorvelModuleName) .. }");
  return module;
}

/// Keeps a copy of `text` in `keeper` and points `text` at it. Null stays null.
void KeepText(const char*& text, QXString& keeper) {
  if (text == nullptr) return;
  const QXString copy(text);  // `text` may already point into `keeper`
  keeper.Assign(copy);
  text = keeper.Utf8();
}

void SetLocale(IQXKernel* kernel, const char* locale) {
  IQXModule* module = kernel->AcquireModule("ILocaleUtils");
  const char* result = "<failed to load ILocaleUtils>";
  if (module != nullptr) {
    result = static_cast<platform::ILocaleUtils*>(module)->SetLocale(
        platform::ILocaleUtils::kLocaleMessages, locale);
  }
  kernel->Printf("Desired locale: ");
  kernel->Printf("%s", locale);
  kernel->Printf("\n");
  kernel->Printf("Locale set to: ");
  kernel->Printf("%s", result);
  kernel->Printf("\n");
  if (module != nullptr) kernel->ReleaseModule(module);
}

}  // namespace

bool StageWindowImpl::Configure(int argc, const char** argv) {
  int index = 1;
  if (owner->ParseCommandLineParametersForOneStageWindow(argc, argv, index, parameters, false) ==
      0) {
    return false;
  }
  if (parameters.contentPath == nullptr) return false;
  StageWindow* self = this;
  return self->Configure(parameters);
}

bool StageWindowImpl::Configure(const StageWindowParameters& newParameters) {
  IQXKernel* kernel = Kernel();
  QXLock lock(stateLock);

  const char* moduleName = ChooseRuntimeModule(kernel, newParameters);
  runtimeLib = static_cast<IMorvelRuntimeLib*>(AcquireTimed(kernel, moduleName));
  if (runtimeLib == nullptr) return false;

  MorvelInstanceParameters instanceParameters;
  runtimeLib->FillInstanceParameters(instanceParameters, newParameters);
  // The runtime fills in what it takes from a window; who hears of it is the window's own business.
  instanceParameters.notifier = this;
  instanceParameters.moduleName.Append(moduleName);

  // What is made from here on stays in the window, for the destructor, whatever fails. A window is
  // configured once: an earlier instance and watchdog would be lost.
  MorvelInstance* player = runtimeLib->CreateMorvelInstance(this);
  TakePlayer(player);
  if (player == nullptr) return FailWith(kErrorModuleUnavailable);
  memoryWatchdog =
      new (nullptr, 0, QX_NEW_DELETE) StageWindowMemoryWatchdog(this, newParameters.memoryLimit);
  if (memoryWatchdog == nullptr) return FailWith(kErrorNotEnoughMemory);

  parameters = newParameters;  // harmless when it is the window's own record, read a moment ago
  if (parameters.notifier != nullptr) {
    // At the back, so that it hears everything before the observers registered later.
    QXLock geometry(geometryLock);
    notifiers.Append(parameters.notifier);
    hasNotifiers = !notifiers.IsEmpty();
  }
  if (!player->Configure(instanceParameters)) return false;

  if (newParameters.rectProvider != nullptr) parameters.hasRectProvider = true;
  KeepText(parameters.contentPath, contentUrl);
  KeepText(parameters.outputPlaneName, auxString);
  if (parameters.locale == nullptr) parameters.locale = "en_US.UTF-8";
  SetLocale(kernel, parameters.locale);
  return true;
}

void StageWindowImpl::UpdateProxyParameters(const char* host, unsigned short port, const char* user,
                                            const char* password) {
  // No lock: content that waits for a dead proxy holds it, and this is how it gets another.
  MorvelInstance* player = instance;
  if (player != nullptr) player->UpdateProxyParameters(host, port, user, password);
}

}  // namespace plexion
}  // namespace qx
