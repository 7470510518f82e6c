#include "qx/plexion/StageWindowImpl.h"

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
  IQXKernel* kernel = Kernel();
  kernel->MemSet(&parameters, 0, sizeof(parameters));
  notifiers.Reserve(2);
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
  keyMasterRequested = false;
  activationPending = false;
  owner->ResetKeyMasterAndClearMyActivation(this, false);
  if (keyEventSimulator != nullptr) {
    const StageWindow* active = owner->GetActiveStageWindow();
    keyEventSimulator->ClearKeyEvents(dying, active == this || active == nullptr);
  }
  if (dying != nullptr) runtimeLib->DestroyMorvelInstance(dying);

  if (ownsRenderPlane && parameters.renderPlane != nullptr) {
    Driver()->DestroyRenderPlane(parameters.renderPlane);
  }
  if (replacedRenderPlane != nullptr) Driver()->DestroyRenderPlane(replacedRenderPlane);
  if (ownsOutputPlane && parameters.outputPlane != nullptr) {
    Driver()->DestroyOutputPlane(parameters.outputPlane);
  }
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
  if (hasErrorStatus) return errorStatus;
  core::morvellib::MorvelInstance* player = Player();
  return player != nullptr ? player->GetStageWindowStatus() : kErrorModuleUnavailable;
}

}  // namespace plexion
}  // namespace qx
