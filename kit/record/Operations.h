// Every call that can cross the module's border, by number, name and what its
// fields are.

#ifndef KIT_RECORD_OPERATIONS_H_
#define KIT_RECORD_OPERATIONS_H_

#include <cstdint>

namespace plexion_record {

/// The calls that the module makes: name, and its fields in the order in which
/// they are recorded. What stands behind "->" is a result. The numbers are part
/// of the file format: new ones go to the end of the second list, and the
/// format's version (Format.h) changes with anything else.
#define PLEXION_RECORDED_OUT(X)                                                                    \
  X(KernelAcquireModule, "Kernel.AcquireModule", "name -> module")                                 \
  X(KernelReleaseModule, "Kernel.ReleaseModule", "module")                                         \
  X(KernelCreateThread, "Kernel.CreateThread", "-> thread")                                        \
  X(KernelDestroyThread, "Kernel.DestroyThread", "thread")                                         \
  X(KernelSleep, "Kernel.Sleep", "ns")                                                             \
  X(KernelCreateMutex, "Kernel.CreateMutex", "-> mutex")                                           \
  X(KernelDestroyMutex, "Kernel.DestroyMutex", "mutex")                                            \
  X(KernelCreateEvent, "Kernel.CreateEvent", "manualReset -> event")                               \
  X(KernelDestroyEvent, "Kernel.DestroyEvent", "event")                                            \
  X(KernelAllocate, "Kernel.Allocate", "bytes file line -> given")                                 \
  X(KernelFree, "Kernel.Free", "given file line")                                                  \
  X(KernelGetTime, "Kernel.GetTime", "-> ns")                                                      \
  X(KernelGetProcessId, "Kernel.GetProcessId", "-> id")                                            \
  X(KernelGetArgc, "Kernel.GetArgc", "-> count")                                                   \
  X(KernelGetArgv, "Kernel.GetArgv", "-> words")                                                   \
  X(KernelGetBinDirectory, "Kernel.GetBinDirectory", "moduleName -> known directory")              \
  X(KernelPrintf, "Kernel.Printf", "text")                                                         \
  X(MutexLock, "Mutex.Lock", "")                                                                   \
  X(MutexUnlock, "Mutex.Unlock", "")                                                               \
  X(EventSignal, "Event.Signal", "")                                                               \
  X(EventWait, "Event.Wait", "ns -> signalled")                                                    \
  X(EventReset, "Event.Reset", "")                                                                 \
  X(ThreadStart, "Thread.Start", "name -> started")                                                \
  X(ThreadJoin, "Thread.Join", "ns -> ended")                                                      \
  X(FileSystemCreateFileObject, "FileSystem.CreateFileObject", "-> object")                        \
  X(FileSystemDestroyFileObject, "FileSystem.DestroyFileObject", "object")                         \
  X(FileOpen, "File.Open", "path -> possible")                                                     \
  X(FileEnsureWritable, "File.EnsureWritable", "createMissing -> writable")                        \
  X(FileRemoveDirectory, "File.RemoveDirectory", "recursive -> removed")                           \
  X(GraphicsGetScreenDims, "Graphics.GetScreenDims", "-> dims")                                    \
  X(GraphicsCreateRenderPlane, "Graphics.CreateRenderPlane", "dims format window -> plane")        \
  X(GraphicsCreateOutputPlane, "Graphics.CreateOutputPlane",                                       \
    "rect defaultPlacement renderPlane window name -> plane")                                      \
  X(GraphicsResizeOutputPlane, "Graphics.ResizeOutputPlane",                                       \
    "plane dims rect renderPlane window name -> resized plane")                                    \
  X(GraphicsResizeRenderPlane, "Graphics.ResizeRenderPlane", "plane dims window -> resized plane") \
  X(GraphicsDestroyRenderPlane, "Graphics.DestroyRenderPlane", "plane")                            \
  X(GraphicsDestroyOutputPlane, "Graphics.DestroyOutputPlane", "plane")                            \
  X(PlaneGetDims, "Plane.GetDims", "-> dims")                                                      \
  X(PlaneGetPixelFormat, "Plane.GetPixelFormat", "-> format")                                      \
  X(PlaneGetPitch, "Plane.GetPitch", "-> bytes")                                                   \
  X(PlaneLockPixels, "Plane.LockPixels", "forReading -> bytes")                                    \
  X(PlaneUnlockPixels, "Plane.UnlockPixels", "pixels")                                             \
  X(PlaneGetDrawingContext, "Plane.GetDrawingContext", "-> context")                               \
  X(ContextStretchCopy, "Context.StretchCopy", "source from to -> drawn pixels")                   \
  X(ContextFinish, "Context.Finish", "")                                                           \
  X(OutputShowRegion, "Output.ShowRegion", "region")                                               \
  X(OutputMoveTo, "Output.MoveTo", "point -> moved")                                               \
  X(OutputGetRect, "Output.GetRect", "-> rect")                                                    \
  X(OutputSetVisible, "Output.SetVisible", "visible")                                              \
  X(OutputIsVisible, "Output.IsVisible", "-> visible")                                             \
  X(OutputSetAlpha, "Output.SetAlpha", "alpha")                                                    \
  X(OutputSetAbove, "Output.SetAbove", "other -> known")                                           \
  X(OutputSetBelow, "Output.SetBelow", "other -> known")                                           \
  X(OutputSetActive, "Output.SetActive", "active")                                                 \
  X(OutputGetAlpha, "Output.GetAlpha", "-> alpha")                                                 \
  X(OutputGetStackingIndex, "Output.GetStackingIndex", "-> index")                                 \
  X(OutputGetName, "Output.GetName", "-> name")                                                    \
  X(LocaleSetLocale, "Locale.SetLocale", "category locale -> inForce")                             \
  X(PointerStartMouseStream, "Pointer.StartMouseStream", "parameters -> served")                   \
  X(ShellRegisterCommand, "Shell.RegisterCommand", "name command -> error")                        \
  X(ShellUnregisterCommand, "Shell.UnregisterCommand", "name -> command")                          \
  X(ShellStart, "Shell.Start", "-> error")                                                         \
  X(SystemGetCurrentUserName, "System.GetCurrentUserName", "-> name")                              \
  X(RuntimeGetVersion, "Runtime.GetVersion", "size -> text")                                       \
  X(RuntimeGetDefaultPixelFormat, "Runtime.GetDefaultPixelFormat", "-> format")                    \
  X(RuntimeFillInstanceParameters, "Runtime.FillInstanceParameters", "parameters -> filled")       \
  X(RuntimeCreateMorvelInstance, "Runtime.CreateMorvelInstance", "window -> instance")             \
  X(RuntimeDestroyMorvelInstance, "Runtime.DestroyMorvelInstance", "instance")                     \
  X(InstanceConfigure, "Instance.Configure", "parameters -> accepted")                             \
  X(InstanceGetLoadSettings, "Instance.GetLoadSettings", "-> contentUrl zorBase")                  \
  X(InstanceLoadMVX, "Instance.LoadMVX", "contentUrl zorBase -> accepted")                         \
  X(InstanceLoadMVXAsync, "Instance.LoadMVXAsync", "contentUrl zorBase -> accepted")               \
  X(InstancePlay, "Instance.Play", "-> accepted")                                                  \
  X(InstancePause, "Instance.Pause", "-> accepted")                                                \
  X(InstanceTerminate, "Instance.Terminate", "status -> accepted")                                 \
  X(InstanceGetStageWindowStatus, "Instance.GetStageWindowStatus", "-> status")                    \
  X(InstanceGetMVXAuthoredStageDims, "Instance.GetMVXAuthoredStageDims", "-> dims")                \
  X(InstanceSetRenderPlane, "Instance.SetRenderPlane", "plane -> accepted")                        \
  X(InstanceResetRenderPlane, "Instance.ResetRenderPlane", "plane -> accepted")                    \
  X(InstanceRequestInterFrameNotification, "Instance.RequestInterFrameNotification", "")           \
  X(InstanceSetStageRect, "Instance.SetStageRect", "rect")                                         \
  X(InstanceKeyDown, "Instance.KeyDown", "key")                                                    \
  X(InstanceKeyUp, "Instance.KeyUp", "key")                                                        \
  X(InstanceMouseButtonDown, "Instance.MouseButtonDown", "button x y")                             \
  X(InstanceMouseButtonUp, "Instance.MouseButtonUp", "button x y")                                 \
  X(InstanceMouseMove, "Instance.MouseMove", "x y")                                                \
  X(InstanceScrollWheelScroll, "Instance.ScrollWheelScroll", "direction delta")                    \
  X(InstanceSendEvent, "Instance.SendEvent", "code")                                               \
  X(InstanceActivate, "Instance.Activate", "")                                                     \
  X(InstanceDeactivate, "Instance.Deactivate", "")                                                 \
  X(InstanceUpdateProxyParameters, "Instance.UpdateProxyParameters", "host port user password")    \
  X(ObserverOnNotification, "Observer.OnStageWindowNotification", "window status data")            \
  X(RectProviderGetRectOnScreen, "RectProvider.GetRectOnScreen", "-> rect")

/// The calls that are made into the module.
#define PLEXION_RECORDED_IN(X)                                                                  \
  X(ModuleLoad, "Module.Load", "-> service")                                                    \
  X(ModuleUnload, "Module.Unload", "service")                                                   \
  X(ThreadProcedure, "Thread.Procedure", "thread")                                              \
  X(CommandExecute, "Command.Execute", "words -> error")                                        \
  X(NotifierOnNotification, "Window.OnMorvelInstanceNotification", "status data")               \
  X(NotifierOnInterFrame, "Window.OnMorvelInstanceInterFrameNotification", "")                  \
  X(WatchdogAlloc, "Watchdog.Alloc", "bytes file line -> given")                                \
  X(WatchdogFree, "Watchdog.Free", "block file line")                                           \
  X(WatchdogGetBytesUsed, "Watchdog.GetBytesUsed", "-> bytes")                                  \
  X(WatchdogGetBytesAvailable, "Watchdog.GetBytesAvailable", "-> bytes")                        \
  X(WindowConfigure, "Window.Configure", "parameters -> usable")                                \
  X(WindowConfigureWords, "Window.Configure", "words -> usable")                                \
  X(WindowLoadMVX, "Window.LoadMVX", "-> accepted")                                             \
  X(WindowCreatePlanes, "Window.CreatePlanes", "-> made")                                       \
  X(WindowRunToCompletion, "Window.RunToCompletion", "-> complete")                             \
  X(WindowLoadForLFD, "Window.LoadForLFD", "-> loaded")                                         \
  X(WindowPlayForLFD, "Window.PlayForLFD", "-> complete")                                       \
  X(WindowLoadMVXAsync, "Window.LoadMVXAsync", "-> accepted")                                   \
  X(WindowPlay, "Window.Play", "-> accepted")                                                   \
  X(WindowPause, "Window.Pause", "-> accepted")                                                 \
  X(WindowTerminate, "Window.Terminate", "status -> accepted")                                  \
  X(WindowSetRenderPlane, "Window.SetRenderPlane", "plane -> taken")                            \
  X(WindowResetRenderPlane, "Window.ResetRenderPlane", "plane -> taken")                        \
  X(WindowSetOutputPlane, "Window.SetOutputPlane", "plane -> taken")                            \
  X(WindowSetActiveStageWindow, "Window.SetActiveStageWindow", "-> active")                     \
  X(WindowIsActiveStageWindow, "Window.IsActiveStageWindow", "-> active")                       \
  X(WindowMoveTo, "Window.MoveTo", "point -> false")                                            \
  X(WindowResize, "Window.Resize", "dims deferred")                                             \
  X(WindowResizeAndMove, "Window.ResizeAndMove", "dims point")                                  \
  X(WindowSetVisible, "Window.SetVisible", "visible")                                           \
  X(WindowIsVisible, "Window.IsVisible", "-> visible")                                          \
  X(WindowSetAlpha, "Window.SetAlpha", "alpha")                                                 \
  X(WindowDispatchKeyDown, "Window.DispatchKeyDown", "key")                                     \
  X(WindowDispatchKeyUp, "Window.DispatchKeyUp", "key")                                         \
  X(WindowDispatchMouseButtonDown, "Window.DispatchMouseButtonDown", "button x y")              \
  X(WindowDispatchMouseButtonUp, "Window.DispatchMouseButtonUp", "button x y")                  \
  X(WindowDispatchMouseMove, "Window.DispatchMouseMove", "x y")                                 \
  X(WindowDispatchScrollWheelScroll, "Window.DispatchScrollWheelScroll", "direction delta")     \
  X(WindowGetStageWindowStatus, "Window.GetStageWindowStatus", "-> status")                     \
  X(WindowGetMVXAuthoredStageDims, "Window.GetMVXAuthoredStageDims", "-> dims")                 \
  X(WindowGetStageDims, "Window.GetStageDims", "-> dims")                                       \
  X(WindowGetRenderPlane, "Window.GetRenderPlane", "-> plane")                                  \
  X(WindowGetOutputPlane, "Window.GetOutputPlane", "-> plane")                                  \
  X(WindowGetMemoryWatchdog, "Window.GetMemoryWatchdog", "-> watchdog")                         \
  X(WindowGetRectOnScreen, "Window.GetRectOnScreen", "-> rect")                                 \
  X(WindowSetContext, "Window.SetContext", "name value")                                        \
  X(WindowGetContext, "Window.GetContext", "name -> value")                                     \
  X(WindowGetMemoryInfo, "Window.GetMemoryInfo", "-> used limit graphics")                      \
  X(WindowIncrementGraphicsMemoryUsedCount, "Window.IncrementGraphicsMemoryUsedCount", "bytes") \
  X(WindowDecrementGraphicsMemoryUsedCount, "Window.DecrementGraphicsMemoryUsedCount", "bytes") \
  X(WindowUpdateProxyParameters, "Window.UpdateProxyParameters", "host port user password")     \
  X(WindowRegisterNotifier, "Window.RegisterNotifier", "observer")                              \
  X(WindowUnregisterNotifier, "Window.UnregisterNotifier", "observer")                          \
  X(ServiceLockPersistentResources, "Service.LockPersistentResourcesOnStartup", "")             \
  X(ServiceReleasePersistentResources, "Service.ReleasePersistentResourcesForShutdown", "")     \
  X(ServiceInitParameters, "Service.InitParameters", "parameters -> zero parameters")           \
  X(ServiceParseCommandLine, "Service.ParseCommandLineParameters",                              \
    "words parameters -> good parameters")                                                      \
  X(ServiceCreateStageWindow, "Service.CreateStageWindow", "-> window")                         \
  X(ServiceCreateStageWindowFor, "Service.CreateStageWindow", "parameters -> window")           \
  X(ServiceDestroyStageWindow, "Service.DestroyStageWindow", "window")                          \
  X(ServiceShowUsage, "Service.ShowUsage", "program -> code")                                   \
  X(ServiceShowUsageFor, "Service.ShowUsage", "program maxWindows -> code")                     \
  X(ServiceSetKeyInputMode, "Service.SetKeyInputMode", "mode delay interval -> taken")          \
  X(ServiceDispatchKeyDown, "Service.DispatchKeyDown", "key")                                   \
  X(ServiceDispatchKeyUp, "Service.DispatchKeyUp", "key")                                       \
  X(ServiceDispatchMouseButtonDown, "Service.DispatchMouseButtonDown", "button x y")            \
  X(ServiceDispatchMouseButtonUp, "Service.DispatchMouseButtonUp", "button x y")                \
  X(ServiceDispatchMouseMove, "Service.DispatchMouseMove", "x y")                               \
  X(ServiceDispatchScrollWheelScroll, "Service.DispatchScrollWheelScroll", "direction delta")   \
  X(ServiceStatusToString, "Service.StageWindowStatusToString", "status -> name")               \
  X(ServiceGetPlexionDataDirectory, "Service.GetPlexionDataDirectory", "-> known directory")    \
  X(ServiceGetPlexionBinDirectory, "Service.GetPlexionBinDirectory", "-> known directory")      \
  X(ServiceGetPlexionBaseDirectory, "Service.GetPlexionBaseDirectory", "-> known directory")    \
  X(ServiceGetPlexionFontDirectory, "Service.GetPlexionFontDirectory", "-> known directory")    \
  X(ServiceGetUserPrivateDataDirectory, "Service.GetUserPrivateDataDirectory",                  \
    "-> known directory")                                                                       \
  X(ServiceGetPlexionTempDirectory, "Service.GetPlexionTempDirectory", "-> known directory")    \
  X(ServiceGetPrivateTempFileDirectory, "Service.GetApplicationPrivateTempFileDirectory",       \
    "-> known directory")                                                                       \
  X(ServiceSetUserInputKey, "Service.SetUserInputKey", "key -> true")                           \
  X(ServiceGetUserInputKey, "Service.GetUserInputKey", "-> key")                                \
  X(ServiceSetWindowXID, "Service.SetWindowXID", "id -> true")                                  \
  X(ServiceGetWindowXID, "Service.GetWindowXID", "-> id")                                       \
  X(ServiceSetExitFlag, "Service.SetExitFlag", "")                                              \
  X(ServiceGetExitFlag, "Service.GetExitFlag", "-> flag")                                       \
  X(ServiceSetViewIndex, "Service.SetViewIndex", "index -> true")                               \
  X(ServiceGetViewIndex, "Service.GetViewIndex", "-> index")                                    \
  X(ServiceSetLastFrame, "Service.SetLastFrame", "given size value -> kept")                    \
  X(ServiceGetLastFrame, "Service.GetLastFrame", "-> valid size value")                         \
  X(ServiceSetStreamFrameRate, "Service.SetStreamFrameRate", "rate -> taken")                   \
  X(ServiceGetStreamFrameRate, "Service.GetStreamFrameRate", "-> answer rate")                  \
  X(ServiceIsRewindOrForward, "Service.IsRewindOrForward", "-> either")                         \
  X(ServiceCreateSet, "Service.CreateAndConfigureStageWindowSet", "set words -> error set")     \
  X(ServiceCreateSetUpTo, "Service.CreateAndConfigureStageWindowSet",                           \
    "set words maxWindows -> error set")                                                        \
  X(ServiceRunSet, "Service.RunStageWindowSetToCompletion", "set -> shown set")                 \
  X(ServiceDestroySet, "Service.DestroyStageWindowSet", "set")

/// What is no call: said for who reads, never compared.
#define PLEXION_RECORDED_NOTES(X)                      \
  X(NoteThread, "thread", "number name")               \
  X(NoteObject, "live", "object label")                \
  X(NoteSnapshot, "snapshot", "threads objects")       \
  X(NoteLockWaits, "waits for a lock", "mutex holder") \
  X(NoteEnd, "end", "reason")

enum class Operation : uint16_t {
#define PLEXION_OPERATION(ID, NAME, FIELDS) k##ID,
  PLEXION_RECORDED_NOTES(PLEXION_OPERATION) PLEXION_RECORDED_OUT(PLEXION_OPERATION)
      PLEXION_RECORDED_IN(PLEXION_OPERATION)
#undef PLEXION_OPERATION
          kCount
};

/// "Plane.GetDims"; valid operations only.
const char* OperationName(Operation operation);
/// "dims format window -> plane".
const char* OperationFields(Operation operation);
/// Whether it is a call into the module.
inline bool IsInward(Operation operation) { return operation >= Operation::kModuleLoad; }
inline bool IsNote(Operation operation) { return operation < Operation::kKernelAcquireModule; }

}  // namespace plexion_record

#endif  // KIT_RECORD_OPERATIONS_H_
