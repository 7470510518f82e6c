// What hosts built elsewhere count on without looking: the places of operations in the virtual
// tables, and the order of the fields of the parameters record.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "qx/core/IQXKernel.h"
#include "qx/platform/IShell.h"
#include "qx/plexion/IPlexionImpl.h"
#include "qx/plexion/MemoryWatchdog.h"
#include "qx/plexion/StageWindowImpl.h"

namespace qx {
namespace plexion {
namespace {

/// The slot of a virtual operation. A pointer to member holds its offset in the table, marked as
/// virtual by one more in the first word or, on some processors, in the second.
template <typename Member>
unsigned long Slot(Member member) {
  uintptr_t words[2];
  static_assert(sizeof(member) == sizeof(words), "the common C++ binary interface");
  std::memcpy(words, &member, sizeof(words));
  return (words[0] & ~uintptr_t{1}) / sizeof(void*);
}

template <typename... Members>
std::vector<unsigned long> Slots(Members... members) {
  return {Slot(members)...};
}

void ExpectConsecutive(unsigned long first, const std::vector<unsigned long>& slots) {
  for (size_t i = 0; i < slots.size(); ++i) EXPECT_EQ(slots[i], first + i) << "operation " << i;
}

// A virtual destructor takes two slots.

TEST(BinaryContract, TheKernelsOperationsHaveTheirSlots) {
  using K = IQXKernel;
  ExpectConsecutive(
      0,
      Slots(&K::AcquireModule, &K::ReleaseModule, &K::CreateThread, &K::DestroyThread, &K::Sleep,
            &K::CreateMutex, &K::DestroyMutex, &K::CreateEvent, &K::DestroyEvent, &K::Allocate,
            &K::Free, &K::GetTime, &K::GetProcessId, &K::GetArgc, &K::GetArgv, &K::GetBinDirectory,
            &K::MemSet, &K::MemCopy, &K::MemMove, &K::StrLen16, &K::StrLen, &K::StrCmp, &K::StrCpy,
            &K::FormatString, &K::StrToL, &K::StrToUL, &K::StrChr, &K::StrRChr, &K::Printf));
  ExpectConsecutive(0, Slots(&K::Mutex::Lock, &K::Mutex::Unlock));
  ExpectConsecutive(0, Slots(&K::Event::Signal, &K::Event::Wait, &K::Event::Reset));
  ExpectConsecutive(0, Slots(&K::Thread::Start, &K::Thread::Join));
}

TEST(BinaryContract, TheServicesOperationsHaveTheirSlots) {
  using S = IPlexionImpl;
  using Sets = IPlexionSets;
  ExpectConsecutive(
      2,
      Slots(&S::LockPersistentResourcesOnStartup, &S::ReleasePersistentResourcesForShutdown,
            &S::InitParameters, &S::ParseCommandLineParameters,
            static_cast<StageWindow* (S::*)()>(&S::CreateStageWindow),
            static_cast<StageWindow* (S::*)(const StageWindowParameters&)>(&S::CreateStageWindow),
            &S::DestroyStageWindow, static_cast<int (S::*)(const char*)>(&S::ShowUsage),
            &S::SetKeyInputMode, &S::DispatchKeyDown, &S::DispatchKeyUp,
            &S::DispatchMouseButtonDown, &S::DispatchMouseButtonUp, &S::DispatchMouseMove,
            &S::DispatchScrollWheelScroll, &S::StageWindowStatusToString,
            &S::GetPlexionDataDirectory, &S::GetPlexionBinDirectory, &S::GetPlexionBaseDirectory,
            &S::GetPlexionFontDirectory, &S::GetUserPrivateDataDirectory,
            &S::GetPlexionTempDirectory, &S::GetApplicationPrivateTempFileDirectory,
            &S::SetUserInputKey, &S::GetUserInputKey, &S::SetWindowXID, &S::GetWindowXID,
            &S::SetExitFlag, &S::GetExitFlag, &S::SetViewIndex, &S::GetViewIndex, &S::SetLastFrame,
            &S::GetLastFrame, &S::SetStreamFrameRate, &S::GetStreamFrameRate, &S::IsRewindOrForward,
            static_cast<int (Sets::*)(const char*, unsigned long)>(&Sets::ShowUsage),
            static_cast<QXError (Sets::*)(StageWindowSet&, int, const char**)>(
                &Sets::CreateAndConfigureStageWindowSet),
            static_cast<QXError (Sets::*)(StageWindowSet&, int, const char**, unsigned long)>(
                &Sets::CreateAndConfigureStageWindowSet),
            &Sets::RunStageWindowSetToCompletion, &Sets::DestroyStageWindowSet));
}

TEST(BinaryContract, TheWindowsOperationsHaveTheirSlots) {
  using W = StageWindow;
  using Impl = StageWindowImpl;
  const std::vector<unsigned long> slots = Slots(
      static_cast<bool (W::*)(const StageWindowParameters&)>(&W::Configure),
      static_cast<bool (W::*)(int, const char**)>(&W::Configure), &W::LoadMVX, &W::CreatePlanes,
      &W::RunToCompletion, &W::LoadForLFD, &W::PlayForLFD, &W::LoadMVXAsync, &W::Play, &W::Pause,
      &W::Terminate, &W::SetRenderPlane, &W::ResetRenderPlane, &W::SetOutputPlane,
      &W::SetActiveStageWindow, &W::IsActiveStageWindow, &W::MoveTo, &W::Resize, &W::ResizeAndMove,
      &W::SetVisible, &W::IsVisible, &W::SetAlpha, &W::DispatchKeyDown, &W::DispatchKeyUp,
      &W::DispatchMouseButtonDown, &W::DispatchMouseButtonUp, &W::DispatchMouseMove,
      &W::DispatchScrollWheelScroll, &W::GetStageWindowStatus, &W::GetMVXAuthoredStageDims,
      &W::GetStageDims, &W::GetRenderPlane, &W::GetOutputPlane, &W::GetMemoryWatchdog,
      &W::GetRectOnScreen, &W::SetContext, &W::GetContext, &W::GetMemoryInfo,
      &W::IncrementGraphicsMemoryUsedCount, &W::DecrementGraphicsMemoryUsedCount,
      &W::UpdateProxyParameters, &W::RegisterNotifier, &W::UnregisterNotifier);
  EXPECT_EQ(slots.size(), 43u);
  ExpectConsecutive(0, slots);
  ExpectConsecutive(slots.size() + 2,  // behind the destructor
                    Slots(&Impl::SetAbove, &Impl::SetBelow, &Impl::OnMorvelInstanceNotification,
                          &Impl::OnMorvelInstanceInterFrameNotification));
}

TEST(BinaryContract, CallbacksAndTheWatchdogHaveTheirSlots) {
  using Player = core::morvellib::MorvelInstanceNotifier;
  using M = MemoryWatchdog;
  ExpectConsecutive(0, Slots(&StageWindowNotifier::OnStageWindowNotification));
  ExpectConsecutive(0, Slots(&Player::OnMorvelInstanceNotification,
                             &Player::OnMorvelInstanceInterFrameNotification));
  ExpectConsecutive(2, Slots(&platform::IShellCommand::Execute));
  ExpectConsecutive(2, Slots(&M::Alloc, &M::Free, &M::GetBytesUsed, &M::GetBytesAvailable));
}

TEST(BinaryContract, TheParametersFollowOneAnother) {
#define AT(field) offsetof(StageWindowParameters, field)
  const std::vector<size_t> offsets = {AT(contentPath),
                                       AT(keymap),
                                       AT(renderPlane),
                                       AT(outputPlane),
                                       AT(contentDims),
                                       AT(outputDims),
                                       AT(outputRect),
                                       AT(pixelFormat),
                                       AT(extraWord),
                                       AT(createOutputPlane),
                                       AT(scaleToFit),
                                       AT(outputPlaneName),
                                       AT(notifier),
                                       AT(bgAlpha),
                                       AT(profile),
                                       AT(morvelVars),
                                       AT(qlrArgs),
                                       AT(sslClientCertTable),
                                       AT(sslCertsDir),
                                       AT(morvelModuleName),
                                       AT(hasRectProvider),
                                       AT(noSpeedLimit),
                                       AT(traceFlags),
                                       AT(traceFps),
                                       AT(memoryLimit),
                                       AT(gcHeapLimit),
                                       AT(extraFlag),
                                       AT(base),
                                       AT(zorBase),
                                       AT(zorCmdLine),
                                       AT(rectProvider),
                                       AT(keyMaster),
                                       AT(debugMode),
                                       AT(graphicsMemThreshold),
                                       AT(proxy),
                                       AT(proxyPort),
                                       AT(proxyUser),
                                       AT(proxyPassword),
                                       AT(fontDirs),
                                       AT(extensionsDir),
                                       AT(gl),
                                       AT(dcts),
                                       AT(spdump),
                                       AT(instrument),
                                       AT(mouseStream),
                                       AT(mouseFeedback),
                                       AT(locale)};
#undef AT
  EXPECT_EQ(offsets.size(), 47u);
  for (size_t i = 1; i < offsets.size(); ++i)
    EXPECT_LT(offsets[i - 1], offsets[i]) << "field " << i;
  EXPECT_EQ(offsets.back() + sizeof(const char*), sizeof(StageWindowParameters));
}

}  // namespace
}  // namespace plexion
}  // namespace qx
