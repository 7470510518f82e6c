#ifndef QX_PLEXION_IPLEXION_H_
#define QX_PLEXION_IPLEXION_H_

#include "qx/core/IQXKernel.h"
#include "qx/core/IQXModule.h"
#include "qx/core/QXError.h"
#include "qx/plexion/InputTypes.h"
#include "qx/plexion/StageWindowStatus.h"

class QXString;

namespace qx {
namespace plexion {

class StageWindow;
class StageWindowSet;
struct StageWindowParameters;

/// The service: puts content on the screen in stage windows, and routes input to them.
///
/// The host gets the one object from IQXModule_IPlexion_ModuleLoad and gives it back to
/// IQXModule_IPlexion_ModuleUnload after it has destroyed every window. The order of the operations
/// is part of the binary contract.
///
/// Thread   any. Operations on windows and input take the service's recursive lock; the plain
///          values at the end take none.
class IPlexion : public IQXModule {
 public:
  // Resources that outlive single windows. Optional: without these calls they are loaded with the
  // first window and dropped with the last.
  virtual void LockPersistentResourcesOnStartup() = 0;
  virtual void ReleasePersistentResourcesForShutdown() = 0;

  /// Writes the defaults into every field but `locale`. Returns 0.
  virtual int InitParameters(StageWindowParameters& parameters) = 0;
  /// Fills `parameters` from argv[1] on; its texts point into `argv`.
  /// Returns  false on an unknown option, a bad value or a second content argument.
  virtual bool ParseCommandLineParameters(int argc, const char** argv,
                                          StageWindowParameters& parameters) = 0;

  /// Returns  a window owned by the service, or null. The first is not configured yet.
  virtual StageWindow* CreateStageWindow() = 0;
  virtual StageWindow* CreateStageWindow(const StageWindowParameters& parameters) = 0;
  virtual void DestroyStageWindow(StageWindow* window) = 0;

  /// Prints the usage text for one window. Returns -1.
  virtual int ShowUsage(const char* programName) = 0;

  /// `delay` and `interval` in nanoseconds, for the modes that use them.
  /// Returns  false, and changes nothing, once a key down has been dispatched.
  virtual bool SetKeyInputMode(KeyInputMode mode, IQXKernel::Time delay,
                               IQXKernel::Time interval) = 0;

  // Input. Keys go to the key master or else to the active window, the rest to the active window;
  // without one they are dropped. Pointer positions are pixels of the active window's output plane.
  virtual void DispatchKeyDown(unsigned long key) = 0;
  virtual void DispatchKeyUp(unsigned long key) = 0;
  virtual void DispatchMouseButtonDown(MouseButton button, unsigned short x, unsigned short y) = 0;
  virtual void DispatchMouseButtonUp(MouseButton button, unsigned short x, unsigned short y) = 0;
  virtual void DispatchMouseMove(unsigned short x, unsigned short y) = 0;
  virtual void DispatchScrollWheelScroll(ScrollWheelDirection direction, unsigned short delta) = 0;

  /// "kStatusPlaying" and so on; null for a value that is no status. Static text.
  virtual const char* StageWindowStatusToString(StageWindowStatus status) = 0;

  // Directories. Each replaces `out`. Returns false when there is none to be had; the user's answers
  // true even then, and `out` is what it was: applications ask for it without looking at the answer.
  virtual bool GetPlexionDataDirectory(QXString& out) = 0;
  virtual bool GetPlexionBinDirectory(QXString& out) = 0;
  virtual bool GetPlexionBaseDirectory(QXString& out) = 0;
  virtual bool GetPlexionFontDirectory(QXString& out) = 0;
  virtual bool GetUserPrivateDataDirectory(QXString& out) = 0;
  virtual bool GetPlexionTempDirectory(QXString& out) = 0;
  virtual bool GetApplicationPrivateTempFileDirectory(QXString& out) = 0;

  // Plain values exchanged between host and content. The setters of the first, second and fourth
  // pair answer true. A value that was never set reads as 0 or false, except the user input key and
  // the view index, which the host sets before anyone asks.
  virtual bool SetUserInputKey(int key) = 0;
  virtual int GetUserInputKey() = 0;
  virtual bool SetWindowXID(int xid) = 0;
  virtual int GetWindowXID() = 0;
  virtual void SetExitFlag() = 0;
  virtual void GetExitFlag(bool& flag) = 0;
  virtual bool SetViewIndex(int index) = 0;
  virtual int GetViewIndex() = 0;
  /// Keeps a copy of `size` bytes; null `data` drops it. Returns false when nothing is kept.
  virtual bool SetLastFrame(char* data, int size, long value) = 0;
  /// Hands out the service's own copy, valid until the next SetLastFrame; without one the arguments
  /// stay untouched.
  virtual void GetLastFrame(char** data, int* size, long* value, bool* valid) = 0;
  /// Returns  false, and changes nothing, for a rate of 0 or less.
  virtual bool SetStreamFrameRate(double& rate) = 0;
  virtual bool GetStreamFrameRate(double& rate) = 0;
  /// Whether the last transport key was one of rewind and forward.
  virtual bool IsRewindOrForward() = 0;
};

/// The operations that follow those of IPlexion in the service object's table: whole command lines.
/// A launcher casts the loaded module to this.
class IPlexionSets : public IPlexion {
 public:
  using IPlexion::ShowUsage;
  /// Prints the usage text for up to `maxStageWindows` windows. Returns -1.
  virtual int ShowUsage(const char* programName, unsigned long maxStageWindows) = 0;

  /// Makes a configured window for each content of the command line (argv[0] is skipped) and
  /// appends them to `set`. The first form allows one window.
  /// Returns  QXError_OK; QXError_Usage for a wrong command line; QXError_Generic when a window could
  ///          not be made. Windows made before an error stay in `set`: destroy the set in any case.
  /// Owns     `argv` is borrowed by the windows and must outlive them.
  virtual QXError CreateAndConfigureStageWindowSet(StageWindowSet& set, int argc,
                                                   const char** argv) = 0;
  virtual QXError CreateAndConfigureStageWindowSet(StageWindowSet& set, int argc, const char** argv,
                                                   unsigned long maxStageWindows) = 0;

  /// Shows and plays all windows and returns when each has ended; ended windows are destroyed and
  /// leave the set. With "--pause" on the host's command line it first waits for "go".
  /// Returns  false at once when some window cannot be shown; all windows are then still in the
  /// set.
  virtual bool RunStageWindowSetToCompletion(StageWindowSet& set) = 0;

  /// Destroys the windows left in `set` and empties it.
  virtual void DestroyStageWindowSet(StageWindowSet& set) = 0;
};

}  // namespace plexion
}  // namespace qx

#endif  // QX_PLEXION_IPLEXION_H_
