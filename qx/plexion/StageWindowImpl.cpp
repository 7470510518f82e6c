// A window's life: what it is made of, in which order that goes again, and the one question that
// everybody asks it.

#include "qx/plexion/StageWindowImpl.h"

#include "qx/core/Check.h"
#include "qx/core/QXLock.h"
#include "qx/core/QXMem.h"
#include "qx/core/morvellib/IMorvelRuntimeLib.h"
#include "qx/platform/IGraphicsDriver.h"
#include "qx/plexion/IPlexionImpl.h"
#include "qx/plexion/parts/KeyEventSimulator.h"
#include "qx/plexion/parts/MemoryWatchdog.h"

namespace qx {
namespace plexion {

// Tracked blocks start 8 bytes into the kernel's.
static_assert(alignof(StageWindowImpl) <= 8, "tracked memory is aligned to 8 bytes only");
static_assert(alignof(StageWindowImpl::ContextRecord) <= 8, "tracked memory is aligned to 8 bytes");

namespace {

IQXKernel::Event* CreateClearedEvent(IQXKernel* kernel) {
  IQXKernel::Event* event = kernel->CreateEvent(true);
  if (event != nullptr) event->Reset();
  return event;
}

}  // namespace

StageWindowImpl::StageWindowImpl(IPlexionImpl* service)
    : owner(service),
      graphicsDriver(nullptr),
      runtimeLib(nullptr),
      instance(nullptr),
      drawingInstance(nullptr),
      geometryLock(nullptr),
      pendingDims{0, 0},
      pendingPoint{0, 0},
      resizeInProgress(false),
      movePending(false),
      resizePending(false),
      deferredResizes(0),
      stateLock(nullptr),
      memoryWatchdog(nullptr),
      completionEvent(nullptr),
      loadEvent(nullptr),
      ownsRenderPlane(false),
      ownsOutputPlane(false),
      hasErrorStatus(false),
      keyEventSimulator(nullptr),
      hasNotifiers(false),
      keyMasterRequested(false),
      activationPending(false),
      creationTime(0),
      firstScreenUpdatePending(true),
      previousOutputRect{0, 0, 0, 0},
      replacedRenderPlane(nullptr) {
  QX_CHECK(owner != nullptr, "a service that the window belongs to");
  IQXKernel* kernel = Kernel();
  kernel->MemSet(&parameters, 0, sizeof(parameters));
  notifiers.Reserve(2);  // the host's observer and the parameters' own, without a second allocation
  stateLock = kernel->CreateMutex();
  geometryLock = kernel->CreateMutex();
  completionEvent = CreateClearedEvent(kernel);
  loadEvent = CreateClearedEvent(kernel);
  owner->InitParameters(parameters);
  keyEventSimulator = owner->GetKeyEventSimulator();
  creationTime = kernel->GetTime();
}

StageWindowImpl::~StageWindowImpl() {
  IQXKernel* kernel = Kernel();

  // From here on status queries answer kErrorModuleUnavailable, while the player may still notify.
  core::morvellib::MorvelInstance* const dying = DropPlayer();
  // Before the player goes: no key is on its way to it when this returns.
  keyMasterRequested = false;
  activationPending = false;
  owner->ResetKeyMasterAndClearMyActivation(this, false);
  if (keyEventSimulator != nullptr) {
    const StageWindow* active = owner->GetActiveStageWindow();
    keyEventSimulator->ClearKeyEvents(dying, active == this || active == nullptr);
  }
  QX_CHECK(dying == nullptr || runtimeLib != nullptr, "the runtime that made the player");
  if (dying != nullptr) runtimeLib->DestroyMorvelInstance(dying);

  // The player's thread has ended, so nobody draws into these any more. A plane that the host made
  // stays the host's.
  if (ownsRenderPlane && parameters.renderPlane != nullptr) {
    Driver()->DestroyRenderPlane(parameters.renderPlane);
  }
  if (replacedRenderPlane != nullptr) Driver()->DestroyRenderPlane(replacedRenderPlane);
  if (ownsOutputPlane && parameters.outputPlane != nullptr) {
    Driver()->DestroyOutputPlane(parameters.outputPlane);
  }
  // Nothing notifies from here on: locks, then modules, whose code the objects above ran in.
  if (stateLock != nullptr) kernel->DestroyMutex(stateLock);
  if (geometryLock != nullptr) kernel->DestroyMutex(geometryLock);
  if (runtimeLib != nullptr) kernel->ReleaseModule(runtimeLib);
  if (graphicsDriver != nullptr) kernel->ReleaseModule(Driver());
  if (completionEvent != nullptr) kernel->DestroyEvent(completionEvent);
  if (loadEvent != nullptr) kernel->DestroyEvent(loadEvent);
  for (unsigned i = 0; i < contexts.Count(); ++i) QXTypes_ScalarDelete(contexts[i], nullptr, 0);
  QXTypes_ScalarDelete(memoryWatchdog, nullptr, 0);
}

core::morvellib::MorvelInstance* StageWindowImpl::DropPlayer() {
  QXLock lock(stateLock);
  core::morvellib::MorvelInstance* const player = Player();
  instance = nullptr;
  return player;
}

StageWindowStatus StageWindowImpl::GetStageWindowStatus() {
  QXLock lock(stateLock);
  // First of all: a window that could not be shown says so, whatever its player does meanwhile.
  if (hasErrorStatus) return errorStatus;
  core::morvellib::MorvelInstance* player = Player();
  return player != nullptr ? player->GetStageWindowStatus() : kErrorModuleUnavailable;
}

}  // namespace plexion
}  // namespace qx
