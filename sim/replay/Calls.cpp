// The calls of the host, made again from their records.

#include "sim/replay/Calls.h"

#include <list>
#include <tuple>

#include "qx/plexion/StageWindowSet.h"

namespace plexion_sim {

using namespace plexion_record;  // NOLINT(google-build-using-namespace): it is
                                 // all about these
using morvellib::MorvelInstanceNotifier;
using plexion::IPlexion;
using plexion::IPlexionSets;
using plexion::MemoryWatchdog;
using plexion::StageWindow;
using plexion::StageWindowParameters;
using plexion::StageWindowSet;

namespace {

/// What a parameter of type P is given: taken from the record, or room for a
/// result.
template <typename P>
struct Given {
  using Value = std::remove_cv_t<std::remove_reference_t<P>>;
  static constexpr bool kResult =
      std::is_lvalue_reference_v<P> && !std::is_const_v<std::remove_reference_t<P>>;
  Value value{};
  void Take(Border& border, Decoder& from) {
    if constexpr (std::is_same_v<Value, QXString>) {
      TakeString(from, value);  // as it was before the call
    } else if constexpr (!kResult) {
      value = TakeValue<Value>(border, from);
    }
  }
};

/// Calls `method` with what the record has for its parameters, unless that is
/// not there.
template <typename I, typename C, typename R, typename... P>
void Invoke(Border& border, Decoder& from, I* object, R (C::*method)(P...)) {
  std::tuple<Given<P>...> given;
  std::apply([&](auto&... each) { (each.Take(border, from), ...); }, given);
  if (from.Failed()) return;
  std::apply([&](auto&... each) { (object->*method)(each.value...); }, given);
}

template <typename I>
I* TakeSelf(Border& border, Decoder& from) {
  I* const self = TakeObject<I>(border, from);
  if (self == nullptr) from.Fail("a call of nothing");
  return self;
}

/// Windows keep pointers to the texts of what they were made with, and to the
/// record itself no longer than a call: texts live as long as the replay
/// (Outside::Keep).
StageWindowParameters* TakeRecord(Border& border, Decoder& from, StageWindowParameters& room) {
  room = TakeStageParameters(border, from);
  return &room;
}

void TakeSet(Border& border, Decoder& from, StageWindowSet& set) {
  Field field;
  if (!from.Take('l', field)) return;
  for (uint64_t i = 0; i < field.numbers[0] && !from.Failed(); ++i) {
    if (StageWindow* const window = TakeObject<StageWindow>(border, from)) set.Append(window);
  }
}

/// As an argument vector, which a null ends.
struct Words {
  Words(Border& border, Decoder& from) : words(TakeWords(border, from)) {
    count = static_cast<int>(words.size());
    words.push_back(nullptr);
  }
  std::vector<const char*> words;
  int count;
};

void CallWindow(Border& border, Operation operation, Decoder& from) {
  StageWindow* const window = TakeSelf<StageWindow>(border, from);
  if (window == nullptr) return;
#define PLEXION_CALL(NAME)       \
  case Operation::kWindow##NAME: \
    return Invoke(border, from, window, &StageWindow::NAME);
  switch (operation) {
    case Operation::kWindowConfigure: {
      StageWindowParameters parameters;
      TakeRecord(border, from, parameters);
      if (!from.Failed()) window->Configure(parameters);
      return;
    }
    case Operation::kWindowConfigureWords: {
      // A window may borrow its words.
      static std::list<Words> kept;
      kept.emplace_back(border, from);
      if (!from.Failed()) window->Configure(kept.back().count, kept.back().words.data());
      return;
    }
      PLEXION_CALL(LoadMVX)
      PLEXION_CALL(CreatePlanes)
      PLEXION_CALL(RunToCompletion)
      PLEXION_CALL(LoadForLFD)
      PLEXION_CALL(PlayForLFD)
      PLEXION_CALL(LoadMVXAsync)
      PLEXION_CALL(Play)
      PLEXION_CALL(Pause)
      PLEXION_CALL(Terminate)
      PLEXION_CALL(SetRenderPlane)
      PLEXION_CALL(ResetRenderPlane)
      PLEXION_CALL(SetOutputPlane)
      PLEXION_CALL(SetActiveStageWindow)
      PLEXION_CALL(IsActiveStageWindow)
      PLEXION_CALL(MoveTo)
      PLEXION_CALL(Resize)
      PLEXION_CALL(ResizeAndMove)
      PLEXION_CALL(SetVisible)
      PLEXION_CALL(IsVisible)
      PLEXION_CALL(SetAlpha)
      PLEXION_CALL(DispatchKeyDown)
      PLEXION_CALL(DispatchKeyUp)
      PLEXION_CALL(DispatchMouseButtonDown)
      PLEXION_CALL(DispatchMouseButtonUp)
      PLEXION_CALL(DispatchMouseMove)
      PLEXION_CALL(DispatchScrollWheelScroll)
      PLEXION_CALL(GetStageWindowStatus)
      PLEXION_CALL(GetMVXAuthoredStageDims)
      PLEXION_CALL(GetStageDims)
      PLEXION_CALL(GetRenderPlane)
      PLEXION_CALL(GetOutputPlane)
      PLEXION_CALL(GetMemoryWatchdog)
    case Operation::kWindowGetRectOnScreen:
      window->GetRectOnScreen();
      return;
    case Operation::kWindowSetContext: {
      const char* const name = TakeText(border, from);
      Field value;
      if (!from.Take('k', value, true)) return;
      const void* const pointer = value.tag == '0' ? nullptr : border.FindOpaque(value.numbers[0]);
      window->SetContext(name, const_cast<void*>(pointer));
      return;
    }
    case Operation::kWindowGetContext: {
      const char* const name = TakeText(border, from);
      if (!from.Failed()) window->GetContext(name);
      return;
    }
      PLEXION_CALL(GetMemoryInfo)
      PLEXION_CALL(IncrementGraphicsMemoryUsedCount)
      PLEXION_CALL(DecrementGraphicsMemoryUsedCount)
      PLEXION_CALL(UpdateProxyParameters)
      PLEXION_CALL(RegisterNotifier)
      PLEXION_CALL(UnregisterNotifier)
    default:
      from.Fail("no call of a window");
  }
#undef PLEXION_CALL
}

void CallService(Border& border, Operation operation, Decoder& from, ReplayedModule& module) {
  Field self;
  if (!from.Take('o', self)) return;
  if (module.service == nullptr || self.kind != ObjectKind::kService) {
    from.Fail("a call of a service that is not there");
    return;
  }
  IPlexionSets* const service = static_cast<IPlexionSets*>(module.service);
  static std::list<Words> kept;  // windows may borrow their words
#define PLEXION_CALL(NAME)        \
  case Operation::kService##NAME: \
    return Invoke(border, from, service, &IPlexion::NAME);
#define PLEXION_CALL_BY(NAME, OPERATION) \
  case Operation::kService##OPERATION:   \
    return Invoke(border, from, service, &IPlexion::NAME);
  switch (operation) {
    PLEXION_CALL_BY(LockPersistentResourcesOnStartup, LockPersistentResources)
    PLEXION_CALL_BY(ReleasePersistentResourcesForShutdown, ReleasePersistentResources)
    case Operation::kServiceInitParameters: {
      StageWindowParameters parameters;
      TakeRecord(border, from, parameters);
      if (!from.Failed()) service->InitParameters(parameters);
      return;
    }
    case Operation::kServiceParseCommandLine: {
      kept.emplace_back(border, from);
      StageWindowParameters parameters;
      TakeRecord(border, from, parameters);
      if (from.Failed()) return;
      service->ParseCommandLineParameters(kept.back().count, kept.back().words.data(), parameters);
      return;
    }
    case Operation::kServiceCreateStageWindow:
      service->CreateStageWindow();
      return;
    case Operation::kServiceCreateStageWindowFor: {
      StageWindowParameters parameters;
      TakeRecord(border, from, parameters);
      if (!from.Failed()) service->CreateStageWindow(parameters);
      return;
    }
      PLEXION_CALL(DestroyStageWindow)
    case Operation::kServiceShowUsage: {
      const char* const program = TakeText(border, from);
      if (!from.Failed()) service->ShowUsage(program);
      return;
    }
    case Operation::kServiceShowUsageFor: {
      const char* const program = TakeText(border, from);
      const auto windows = TakeValue<unsigned long>(border, from);
      if (!from.Failed()) service->ShowUsage(program, windows);
      return;
    }
      PLEXION_CALL(SetKeyInputMode)
      PLEXION_CALL(DispatchKeyDown)
      PLEXION_CALL(DispatchKeyUp)
      PLEXION_CALL(DispatchMouseButtonDown)
      PLEXION_CALL(DispatchMouseButtonUp)
      PLEXION_CALL(DispatchMouseMove)
      PLEXION_CALL(DispatchScrollWheelScroll)
      PLEXION_CALL_BY(StageWindowStatusToString, StatusToString)
      PLEXION_CALL(GetPlexionDataDirectory)
      PLEXION_CALL(GetPlexionBinDirectory)
      PLEXION_CALL(GetPlexionBaseDirectory)
      PLEXION_CALL(GetPlexionFontDirectory)
      PLEXION_CALL(GetUserPrivateDataDirectory)
      PLEXION_CALL(GetPlexionTempDirectory)
      PLEXION_CALL_BY(GetApplicationPrivateTempFileDirectory, GetPrivateTempFileDirectory)
      PLEXION_CALL(SetUserInputKey)
      PLEXION_CALL(GetUserInputKey)
      PLEXION_CALL(SetWindowXID)
      PLEXION_CALL(GetWindowXID)
      PLEXION_CALL(SetExitFlag)
      PLEXION_CALL(GetExitFlag)
      PLEXION_CALL(SetViewIndex)
      PLEXION_CALL(GetViewIndex)
    case Operation::kServiceSetLastFrame: {
      const auto given = TakeValue<bool>(border, from);
      const auto size = TakeValue<int>(border, from);
      const auto value = TakeValue<long>(border, from);
      constexpr int kMostBytes = 256 * 1024 * 1024;
      if (from.Failed()) return;
      if (size > kMostBytes) return from.Fail("a frame of " + std::to_string(size) + " bytes");
      std::vector<char> bytes(size > 0 ? static_cast<size_t>(size) : 1);
      service->SetLastFrame(given ? bytes.data() : nullptr, size, value);
      return;
    }
    case Operation::kServiceGetLastFrame: {
      char* data = nullptr;
      int size = 0;
      long value = 0;
      bool valid = false;
      service->GetLastFrame(&data, &size, &value, &valid);
      return;
    }
    case Operation::kServiceSetStreamFrameRate: {
      auto rate = TakeValue<double>(border, from);
      if (!from.Failed()) service->SetStreamFrameRate(rate);
      return;
    }
      PLEXION_CALL(GetStreamFrameRate)
      PLEXION_CALL(IsRewindOrForward)
    case Operation::kServiceCreateSet:
    case Operation::kServiceCreateSetUpTo: {
      StageWindowSet set;
      TakeSet(border, from, set);
      kept.emplace_back(border, from);
      const Words& words = kept.back();
      auto** const argv = const_cast<const char**>(words.words.data());
      if (operation == Operation::kServiceCreateSet) {
        if (!from.Failed()) service->CreateAndConfigureStageWindowSet(set, words.count, argv);
        return;
      }
      const auto most = TakeValue<unsigned long>(border, from);
      if (!from.Failed()) service->CreateAndConfigureStageWindowSet(set, words.count, argv, most);
      return;
    }
    case Operation::kServiceRunSet:
    case Operation::kServiceDestroySet: {
      StageWindowSet set;
      TakeSet(border, from, set);
      if (from.Failed()) return;
      if (operation == Operation::kServiceRunSet) {
        service->RunStageWindowSetToCompletion(set);
      } else {
        service->DestroyStageWindowSet(set);
      }
      return;
    }
    default:
      from.Fail("no call of the service");
  }
#undef PLEXION_CALL
#undef PLEXION_CALL_BY
}

void CallWatchdog(Border& border, Operation operation, Decoder& from) {
  MemoryWatchdog* const watchdog = TakeSelf<MemoryWatchdog>(border, from);
  if (watchdog == nullptr) return;
  switch (operation) {
    case Operation::kWatchdogAlloc: {
      const auto bytes = TakeValue<unsigned long>(border, from);
      if (!from.Failed()) watchdog->Alloc(bytes, nullptr, 0);
      return;
    }
    case Operation::kWatchdogFree: {
      Field block;
      if (!from.Take('k', block)) return;
      void* const its = border.FindBlock(block.numbers[0]);
      if (its == nullptr) return from.Fail("a block that was not given");
      watchdog->Free(its, nullptr, 0);
      return;
    }
    case Operation::kWatchdogGetBytesUsed:
      return Invoke(border, from, watchdog, &MemoryWatchdog::GetBytesUsed);
    default:
      return Invoke(border, from, watchdog, &MemoryWatchdog::GetBytesAvailable);
  }
}

void CallNotifier(Border& border, Operation operation, Decoder& from) {
  MorvelInstanceNotifier* const notifier = TakeSelf<MorvelInstanceNotifier>(border, from);
  if (notifier == nullptr) return;
  if (operation == Operation::kNotifierOnInterFrame) {
    notifier->OnMorvelInstanceInterFrameNotification();
    return;
  }
  const auto status = TakeValue<plexion::StageWindowStatus>(border, from);
  plexion::StageWindowStatusData data{};
  plexion::Rect rect{};
  const plexion::StageWindowStatusData* const given = TakeStatusData(border, from, data, rect);
  if (!from.Failed()) notifier->OnMorvelInstanceNotification(status, given);
}

}  // namespace

std::string MakeCall(Border& border, const Record& record, ReplayedModule& module) {
  Decoder from = record.Fields();
  const Operation operation = record.header.operation;
  switch (operation) {
    case Operation::kModuleLoad:
      if (module.service != nullptr) return "the module is loaded twice";
      module.service = LoadModule(border, module.load);
      return {};
    case Operation::kModuleUnload:
      if (module.service == nullptr) return "the module is unloaded, and was not loaded";
      UnloadModule(border, module.unload, module.service);
      module.service = nullptr;
      return {};
    case Operation::kThreadProcedure: {
      IQXKernel::Thread* const thread = TakeSelf<IQXKernel::Thread>(border, from);
      if (thread == nullptr) return from.Reason();
      return RunThreadProcedure(border, WrapperOf(thread)) ? "" : "a thread that was not started";
    }
    case Operation::kCommandExecute: {
      platform::IShellCommand* const command = TakeSelf<platform::IShellCommand>(border, from);
      if (command == nullptr) return from.Reason();
      Words words(border, from);
      if (from.Failed()) return from.Reason();
      command->Execute(static_cast<unsigned long>(words.count),
                       const_cast<char**>(words.words.data()));
      return {};
    }
    default:
      break;
  }
  if (operation >= Operation::kServiceLockPersistentResources) {
    CallService(border, operation, from, module);
  } else if (operation >= Operation::kWindowConfigure) {
    CallWindow(border, operation, from);
  } else if (operation >= Operation::kWatchdogAlloc) {
    CallWatchdog(border, operation, from);
  } else {
    CallNotifier(border, operation, from);
  }
  return from.Reason();
}

}  // namespace plexion_sim
