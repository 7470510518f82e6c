#ifndef QX_PLEXION_IPLEXIONIMPL_H_
#define QX_PLEXION_IPLEXIONIMPL_H_

#include <atomic>

#include "qx/core/IQXKernel.h"
#include "qx/core/QXArray.h"
#include "qx/core/QXError.h"
#include "qx/core/QXString.h"
#include "qx/plexion/IPlexion.h"
#include "qx/plexion/StageWindowParameters.h"
#include "qx/plexion/StageWindowSet.h"

namespace qx {
namespace platform {
class IFileSystem;
class IShell;
}  // namespace platform

namespace plexion {

class PlexionKeyEventSimulator;
class StageWindowImpl;

/// The one service object: made by the load entry point, destroyed by the unload entry point.
///
/// One class over several files; the operations below stand under the file that holds them.
class IPlexionImpl : public IPlexionSets {
 public:
  /// A set of private copies of texts.
  ///
  /// Errors   a text that cannot be copied is not added.
  class StringTable : public QXArray<char*> {
   public:
    StringTable();
    ~StringTable() override;
    void AddString(const char* text);
    bool StringExists(const char* text) const;
  };

  // IPlexionImpl.cpp: construction, persistent resources, banner, StringTable.
  IPlexionImpl();
  ~IPlexionImpl() override;
  void LockPersistentResourcesOnStartup() override;
  void ReleasePersistentResourcesForShutdown() override;
  /// Prints the product banner and the runtime's version; only the first call, of either overload,
  /// does anything, also when it could print nothing.
  void DisplayBannerOneTimeOnly(StageWindowImpl* window);
  /// Null: the banner alone.
  void DisplayBannerOneTimeOnly(const QXString* runtimeModuleName);
  void LoadDynamicResourcesInternal();
  void UnloadDynamicResourcesInternal();

  // service/Parameters.cpp: defaults.
  int InitParameters(StageWindowParameters& parameters) override;

  // service/CommandLine.cpp: the parsers, on CommandLineGrammar.h.
  bool ReadDimsArg(const char* text, Dims& dims);
  bool ReadRectArg(const char* text, Rect& rect);
  bool ReadDurationArg(const char* text, unsigned long& milliseconds);
  bool ParseCommandLineParameters(int argc, const char** argv,
                                  StageWindowParameters& parameters) override;
  /// Parses from argv[index]; on return `index` is the first argument not consumed, after a failure
  /// the one behind the word that failed. Returns 1 or 0.
  int ParseCommandLineParametersForOneStageWindow(int argc, const char** argv, int& index,
                                                  StageWindowParameters& parameters,
                                                  bool stopAfterContent);

  // service/Usage.cpp
  int ShowUsage(const char* programName) override;

  // service/WindowSets.cpp: making, running and destroying windows.
  StageWindow* CreateStageWindow() override;
  StageWindow* CreateStageWindow(const StageWindowParameters& parameters) override;
  void DestroyStageWindow(StageWindow* window) override;

  // service/InputRouting.cpp: active window, key master, dispatch.
  bool SetKeyInputMode(KeyInputMode mode, IQXKernel::Time delay, IQXKernel::Time interval) override;
  void DispatchKeyDown(unsigned long key) override;
  void DispatchKeyUp(unsigned long key) override;
  void DispatchMouseButtonDown(MouseButton button, unsigned short x, unsigned short y) override;
  void DispatchMouseButtonUp(MouseButton button, unsigned short x, unsigned short y) override;
  void DispatchMouseMove(unsigned short x, unsigned short y) override;
  void DispatchScrollWheelScroll(ScrollWheelDirection direction, unsigned short delta) override;
  /// Returns  true when `window` is the active one on return.
  bool SetActiveStageWindow(StageWindow* window);
  StageWindow* GetActiveStageWindow();
  PlexionKeyEventSimulator* GetKeyEventSimulator();
  void ResetKeyMaster();
  void ResetActiveStageWindow();
  void ResetKeyMasterAndClearMyActivation(StageWindow* window, bool keepActive);
  void ResetKeyMasterAndSetInitialActivationIfRequired(StageWindow* window);

  // service/Directories.cpp
  bool GetPlexionDataDirectory(QXString& out) override;
  bool GetPlexionBinDirectory(QXString& out) override;
  bool GetPlexionBaseDirectory(QXString& out) override;
  bool GetPlexionFontDirectory(QXString& out) override;
  bool GetUserPrivateDataDirectory(QXString& out) override;
  bool GetPlexionTempDirectory(QXString& out) override;
  bool GetApplicationPrivateTempFileDirectory(QXString& out) override;
  /// Makes the directory `path` exist and be writable.
  bool EnsureWritability(const QXString& path);
  /// The virtual GetApplicationPrivateTempFileDirectory without what a host put in its place.
  /// Returns  false when a piece is missing for lack of memory.
  bool BuildApplicationTempDirectory(QXString& out);
  /// Returns  false when the whole of `text`, which is ASCII, could not be appended.
  bool AppendWhole(QXString& path, const char* text);

  // service/Values.cpp: values exchanged between host and content, status names.
  const char* StageWindowStatusToString(StageWindowStatus status) override;
  bool SetUserInputKey(int key) override;
  int GetUserInputKey() override;
  bool SetWindowXID(int xid) override;
  int GetWindowXID() override;
  void SetExitFlag() override;
  void GetExitFlag(bool& flag) override;
  bool SetViewIndex(int index) override;
  int GetViewIndex() override;
  bool SetLastFrame(char* data, int size, long value) override;
  void GetLastFrame(char** data, int* size, long* value, bool* valid) override;
  bool SetStreamFrameRate(double& rate) override;
  bool GetStreamFrameRate(double& rate) override;
  bool IsRewindOrForward() override;

  // service/Usage.cpp again, then service/WindowSets.cpp: the operations behind those of IPlexion.
  int ShowUsage(const char* programName, unsigned long maxStageWindows) override;
  QXError CreateAndConfigureStageWindowSet(StageWindowSet& set, int argc,
                                           const char** argv) override;
  QXError CreateAndConfigureStageWindowSet(StageWindowSet& set, int argc, const char** argv,
                                           unsigned long maxStageWindows) override;
  bool RunStageWindowSetToCompletion(StageWindowSet& set) override;
  void DestroyStageWindowSet(StageWindowSet& set) override;

  // Public for the service's own files and white-box tests; the host sees IPlexionSets only.
  IQXKernel* kernel;  ///< constant after construction, as are the next two and the simulator
  IQXKernel::Mutex* stageWindowLock;
  IQXKernel::Mutex* dataDirectoryLock;

  /// Every window not destroyed yet, in order of creation.
  QXArray<StageWindow*> stageWindows QX_GUARDED_BY(stageWindowLock);
  /// Receive input, and keys; null or one of stageWindows.
  StageWindow* activeStageWindow QX_GUARDED_BY(stageWindowLock);
  StageWindow* keyMaster QX_GUARDED_BY(stageWindowLock);

  platform::IShell* shell;                      ///< held once acquired
  platform::IFileSystem* fileSystem;            ///< held for life, null when there is none
  PlexionKeyEventSimulator* keyEventSimulator;  ///< owned
  unsigned long masterShellKey;                 ///< becomes the shell key; 0: none; constant

  QXString plexionDataDirectory QX_GUARDED_BY(dataDirectoryLock);  ///< empty until first asked for
  QXString applicationPrivateTempFileDirectory;  ///< constant; removed at destruction
  bool bannerDisplayed QX_GUARDED_BY(stageWindowLock);

  // Plain values, no lock; those that threads share are atomic.
  std::atomic<int> userInputKey;  ///< given no value by the constructor: the host sets it first
  std::atomic<int> viewIndex;     ///< the same
  char* lastFrameData;            ///< owned; from the plain array allocator
  int lastFrameSize;
  long lastFrameValue;  ///< given no value by the constructor
  bool lastFrameValid;
  std::atomic<bool> rewindOrForward;
  std::atomic<bool> exitFlag;
  std::atomic<int> windowXID;
  int persistentResourceState QX_GUARDED_BY(stageWindowLock);  ///< 0 none, 1 locked, 2 released
  std::atomic<double> streamFrameRate;

 private:
  // service/WindowSets.cpp
  /// Null: the window is left unconfigured.
  StageWindow* MakeStageWindow(const StageWindowParameters* parameters);
  void PauseUntilGo();
};

}  // namespace plexion
}  // namespace qx

#endif  // QX_PLEXION_IPLEXIONIMPL_H_
