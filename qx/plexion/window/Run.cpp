// Loading, playing, and the two ways to run a window to its end, with the operator's pause before.

#include "qx/core/Check.h"
#include "qx/core/QXLock.h"
#include "qx/core/QXMem.h"
#include "qx/core/morvellib/IMorvelRuntimeLib.h"
#include "qx/platform/IMouseStream.h"
#include "qx/platform/IShell.h"
#include "qx/plexion/StageWindowImpl.h"
#include "qx/plexion/parts/ShellCommands.h"

namespace qx {
namespace plexion {

using core::morvellib::MorvelInstance;
using core::morvellib::MorvelLoadSettings;

namespace {

constexpr IQXKernel::Time kPollInterval = 1000000;  // 1 ms
constexpr int kPollBudget = 10000;                  // shared by the two waits of one run

void WaitForever(IQXKernel::Event* event) {
  if (event != nullptr) event->Wait(IQXKernel::kInfinite);
}

}  // namespace

bool StageWindowImpl::LoadMVX() {
  bool result = false;
  {
    QXLock lock(stateLock);
    MorvelInstance* player = Player();
    if (player != nullptr) result = player->LoadMVX();
  }
  // Also without a player: some later notification may end the wait.
  WaitForever(loadEvent);
  return result;
}

bool StageWindowImpl::LoadMVXAsync() {
  QXLock lock(stateLock);
  MorvelInstance* player = Player();
  return player != nullptr && player->LoadMVXAsync();
}

bool StageWindowImpl::Play() {
  QXLock lock(stateLock);
  MorvelInstance* player = Player();
  return player != nullptr && player->Play();
}

bool StageWindowImpl::Pause() {
  QXLock lock(stateLock);
  MorvelInstance* player = Player();
  return player != nullptr && player->Pause();
}

bool StageWindowImpl::Terminate(StageWindowStatus status) {
  // No lock: another thread may be inside a locked operation, and this is how to end it.
  MorvelInstance* player = instance;
  return player != nullptr && player->Terminate(status);
}

bool StageWindowImpl::GetRuntimeVersion(QXString& version) {
  QXLock lock(stateLock);
  if (runtimeLib == nullptr) return false;
  char text[256];  // cleared, and offered one byte less: the end is marked whatever is written
  Kernel()->MemSet(text, 0, sizeof(text));
  runtimeLib->GetVersion(text, sizeof(text) - 1);
  version.Clear();
  if (text[0] != '\0') version.Assign(text);
  return true;
}

bool StageWindowImpl::RunToCompletion() { return LoadForLFD() && PlayToEnd(); }

bool StageWindowImpl::LoadForLFD() {
  int pollBudget = kPollBudget;
  WaitForConfiguration(pollBudget);
  if (HostAsksForPause(Kernel())) WaitForGo();
  StageWindow* self = this;
  self->LoadMVX();
  return WaitForReadiness(pollBudget);
}

bool StageWindowImpl::PlayForLFD() {
  return GetStageWindowStatus() == kStatusReadyToAnimate && PlayToEnd();
}

void StageWindowImpl::WaitForConfiguration(int& pollBudget) {
  // By looking, since nobody announces it: configuring is another thread's call into this window.
  while (GetStageWindowStatus() != kStatusConfigured && pollBudget > 0) {
    Kernel()->Sleep(kPollInterval);
    --pollBudget;
  }
}

void StageWindowImpl::WaitForGo() {
  IQXKernel* kernel = Kernel();
  IQXKernel::Event* event = kernel->CreateEvent(true);
  if (event != nullptr) event->Reset();
  platform::IShell* shell = static_cast<platform::IShell*>(kernel->AcquireModule("IShell"));
  GoToURLShellCommand* command = nullptr;
  if (event != nullptr && shell != nullptr) {
    command = new (nullptr, 0, QX_NEW_DELETE) GoToURLShellCommand(event);
  }
  if (command == nullptr) {
    // Without a shell nobody could say "go": the content plays rather than never.
    kernel->DestroyEvent(event);
    kernel->ReleaseModule(shell);
    return;
  }

  shell->RegisterCommand("go", command);
  shell->Start();
  kernel->Printf("Plexion suspended until you use the \"go\" command.\n");
  event->Wait(IQXKernel::kInfinite);
  // First of all: a second "go" rewrites the command's texts.
  shell->UnregisterCommand("go");
  if (!command->url.IsEmpty()) TakeContentFromGo(command->url, command->baseUrl);
  QXTypes_ScalarDelete<platform::IShellCommand>(command, nullptr, 0);

  // The timing log counts from the operator's word.
  creationTime = kernel->GetTime();
  kernel->DestroyEvent(event);
  kernel->ReleaseModule(shell);
}

void StageWindowImpl::TakeContentFromGo(const QXString& url, const QXString& baseUrl) {
  QX_CHECK(!url.IsEmpty(), "an address; without one the configured content stays");
  QXLock lock(stateLock);
  MorvelInstance* player = Player();
  MorvelLoadSettings* settings = player != nullptr ? player->GetLoadSettings() : nullptr;
  contentUrl.Assign(url);
  parameters.contentPath = contentUrl.Utf8();
  if (settings != nullptr) settings->contentUrl.Assign(url);
  if (baseUrl.IsEmpty()) return;
  goZorBase.Assign(baseUrl);  // the command's own text is about to go
  parameters.zorBase = goZorBase.Utf8();
  if (settings != nullptr) settings->zorBase.Assign(baseUrl);
}

bool StageWindowImpl::WaitForReadiness(int& pollBudget) {
  while (GetStageWindowStatus() != kStatusReadyToAnimate && pollBudget > 0) {
    if (IsTerminalStatus(GetStageWindowStatus())) return false;
    Kernel()->Sleep(kPollInterval);
    --pollBudget;
  }
  return true;  // also when it is merely slow: Play may still bring it there
}

bool StageWindowImpl::PlayToEnd() {
  IQXKernel* kernel = Kernel();
  StageWindow* self = this;
  self->Play();
  const StageWindowStatus status = GetStageWindowStatus();
  if (status != kStatusReadyToAnimate && status != kStatusPlaying) return false;

  // Input and pointer stream stay loaded while the content runs; neither is required.
  platform::IMouseStream* mouseStream = nullptr;
  if (parameters.mouseStream != nullptr) {
    mouseStream = static_cast<platform::IMouseStream*>(kernel->AcquireModule("IMouseStream"));
    if (mouseStream != nullptr) mouseStream->StartMouseStream(parameters);
  }
  IQXModule* userInput = kernel->AcquireModule("IUserInputDriver");
  WaitForever(completionEvent);
  if (userInput != nullptr) kernel->ReleaseModule(userInput);
  if (mouseStream != nullptr) kernel->ReleaseModule(mouseStream);
  return GetStageWindowStatus() == kStatusComplete;
}

}  // namespace plexion
}  // namespace qx
