// Making and destroying windows, and whole command lines of them.

#include "qx/core/Check.h"
#include "qx/core/QXLock.h"
#include "qx/core/QXMem.h"
#include "qx/platform/IShell.h"
#include "qx/plexion/IPlexionImpl.h"
#include "qx/plexion/StageWindowImpl.h"
#include "qx/plexion/parts/ShellCommands.h"

namespace qx {
namespace plexion {

static_assert(alignof(StageWindowImpl) <= 8, "tracked memory is aligned to 8 bytes");
static_assert(alignof(GoShellCommand) <= 8, "tracked memory is aligned to 8 bytes");

namespace {

constexpr IQXKernel::Time kPollInterval = 100 * 1000000LL;

/// Registers "go" and blocks until an operator types it.
void WaitForGo(platform::IShell* shell, IQXKernel::Event* event) {
  auto* const command = new (nullptr, 0, QX_NEW_DELETE) GoShellCommand(event);
  if (command == nullptr) return;  // nobody could end the wait
  QX_CHECK(shell != nullptr && event != nullptr,
           "somebody to say \"go\", and something to hear it");
  shell->RegisterCommand("go", command);
  shell->Start();
  event->Wait(IQXKernel::kInfinite);
  QXTypes_ScalarDelete(shell->UnregisterCommand("go"), nullptr, 0);
}

}  // namespace

StageWindow* IPlexionImpl::CreateStageWindow() { return MakeStageWindow(nullptr); }

StageWindow* IPlexionImpl::CreateStageWindow(const StageWindowParameters& parameters) {
  return MakeStageWindow(&parameters);
}

StageWindow* IPlexionImpl::MakeStageWindow(const StageWindowParameters* parameters) {
  const QXLock lock(stageWindowLock);
  if (stageWindows.IsEmpty() && persistentResourceState == 0) LoadDynamicResourcesInternal();

  auto* const window = new (nullptr, 0, QX_NEW_DELETE) StageWindowImpl(this);
  if (window != nullptr && (parameters == nullptr || window->Configure(*parameters)) &&
      stageWindows.Append(window)) {
    DisplayBannerOneTimeOnly(window);
    return window;
  }
  QXTypes_ScalarDelete(window, nullptr, 0);
  if (persistentResourceState == 0) UnloadDynamicResourcesInternal();
  return nullptr;
}

void IPlexionImpl::DestroyStageWindow(StageWindow* window) {
  {
    const QXLock lock(stageWindowLock);
    for (unsigned i = 0; i < stageWindows.Count(); ++i) {
      if (stageWindows[i] == window) {
        stageWindows.RemoveAt(i);
        break;
      }
    }
    ResetKeyMaster();
    if (activeStageWindow == window) {
      activeStageWindow = nullptr;
      ResetActiveStageWindow();
    }
    if (stageWindows.IsEmpty() && persistentResourceState == 0) UnloadDynamicResourcesInternal();
  }
  // Outside the lock: the destructor waits for the player's thread, which may be on its way in
  // here. A window that is not in the list is destroyed as well.
  QXTypes_ScalarDelete(static_cast<StageWindowImpl*>(window), nullptr, 0);
}

QXError IPlexionImpl::CreateAndConfigureStageWindowSet(StageWindowSet& set, int argc,
                                                       const char** argv) {
  return CreateAndConfigureStageWindowSet(set, argc, argv, 1);
}

QXError IPlexionImpl::CreateAndConfigureStageWindowSet(StageWindowSet& set, int argc,
                                                       const char** argv,
                                                       unsigned long maxStageWindows) {
  // One record for all windows: the parser writes the defaults anew for each, except the locale,
  // which therefore holds for the windows after it too.
  StageWindowParameters parameters;
  kernel->MemSet(&parameters, 0, sizeof(parameters));
  int index = 1;
  while (set.Count() < maxStageWindows && index < argc) {
    if (ParseCommandLineParametersForOneStageWindow(argc, argv, index, parameters, true) == 0 ||
        parameters.contentPath == nullptr) {
      return QXError_Usage;
    }
    StageWindow* const window = CreateStageWindow(parameters);
    if (window == nullptr) return QXError_Generic;
    if (!set.Append(window)) {
      DestroyStageWindow(window);
      return QXError_Generic;
    }
  }
  // Without a window, or with words left over, the command line was not what it should be.
  return set.IsEmpty() || index < argc ? QXError_Usage : QXError_OK;
}

bool IPlexionImpl::RunStageWindowSetToCompletion(StageWindowSet& set) {
  PauseUntilGo();
  if (set.IsEmpty()) return true;
  for (unsigned i = 0; i < set.Count(); ++i) {
    if (!set[i]->CreatePlanes()) return false;
  }
  for (unsigned i = 0; i < set.Count(); ++i) set[i]->Play();

  do {
    for (unsigned i = 0; i < set.Count();) {
      if (IsTerminalStatus(set[i]->GetStageWindowStatus())) {
        DestroyStageWindow(set[i]);
        set.RemoveAt(i);
      } else {
        ++i;
      }
    }
    kernel->Sleep(kPollInterval);
  } while (!set.IsEmpty());
  return true;
}

void IPlexionImpl::PauseUntilGo() {
  if (!HostAsksForPause(kernel)) return;
  IQXKernel::Event* const event = kernel->CreateEvent(true);
  if (event != nullptr) {
    event->Reset();
    if (shell == nullptr) {
      shell = static_cast<platform::IShell*>(kernel->AcquireModule("IShell"));
    }
    if (shell != nullptr) WaitForGo(shell, event);
  }
  kernel->DestroyEvent(event);  // null too: the kernel accepts it
}

void IPlexionImpl::DestroyStageWindowSet(StageWindowSet& set) {
  for (unsigned i = 0; i < set.Count(); ++i) DestroyStageWindow(set[i]);
  set.SetSize(0);
}

}  // namespace plexion
}  // namespace qx
