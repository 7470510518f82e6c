#ifndef TESTS_HOST_FAKESERVICE_H_
#define TESTS_HOST_FAKESERVICE_H_

#include "qx/core/QXString.h"
#include "qx/plexion/IPlexion.h"
#include "qx/plexion/StageWindowParameters.h"
#include "qx/plexion/StageWindowSet.h"

namespace plexion_host {

/// A service that does nothing: base of the services that tests of the host's modules hand in.
class FakeService : public qx::plexion::IPlexionSets {
 public:
  using StageWindow = qx::plexion::StageWindow;
  using StageWindowSet = qx::plexion::StageWindowSet;
  using Parameters = qx::plexion::StageWindowParameters;
  using MouseButton = qx::plexion::MouseButton;

  void LockPersistentResourcesOnStartup() override {}
  void ReleasePersistentResourcesForShutdown() override {}
  int InitParameters(Parameters&) override { return 0; }
  bool ParseCommandLineParameters(int, const char**, Parameters&) override { return false; }
  StageWindow* CreateStageWindow() override { return nullptr; }
  StageWindow* CreateStageWindow(const Parameters&) override { return nullptr; }
  void DestroyStageWindow(StageWindow*) override {}
  int ShowUsage(const char*) override { return -1; }
  int ShowUsage(const char*, unsigned long) override { return -1; }
  bool SetKeyInputMode(qx::plexion::KeyInputMode, IQXKernel::Time, IQXKernel::Time) override {
    return false;
  }
  void DispatchKeyDown(unsigned long) override {}
  void DispatchKeyUp(unsigned long) override {}
  void DispatchMouseButtonDown(MouseButton, unsigned short, unsigned short) override {}
  void DispatchMouseButtonUp(MouseButton, unsigned short, unsigned short) override {}
  void DispatchMouseMove(unsigned short, unsigned short) override {}
  void DispatchScrollWheelScroll(qx::plexion::ScrollWheelDirection, unsigned short) override {}
  const char* StageWindowStatusToString(qx::plexion::StageWindowStatus) override { return nullptr; }
  bool GetPlexionDataDirectory(QXString&) override { return false; }
  bool GetPlexionBinDirectory(QXString&) override { return false; }
  bool GetPlexionBaseDirectory(QXString&) override { return false; }
  bool GetPlexionFontDirectory(QXString&) override { return false; }
  bool GetUserPrivateDataDirectory(QXString&) override { return false; }
  bool GetPlexionTempDirectory(QXString&) override { return false; }
  bool GetApplicationPrivateTempFileDirectory(QXString&) override { return false; }
  bool SetUserInputKey(int) override { return false; }
  int GetUserInputKey() override { return 0; }
  bool SetWindowXID(int) override { return false; }
  int GetWindowXID() override { return 0; }
  void SetExitFlag() override {}
  void GetExitFlag(bool&) override {}
  bool SetViewIndex(int) override { return false; }
  int GetViewIndex() override { return 0; }
  bool SetLastFrame(char*, int, long) override { return false; }
  void GetLastFrame(char**, int*, long*, bool*) override {}
  bool SetStreamFrameRate(double&) override { return false; }
  bool GetStreamFrameRate(double&) override { return false; }
  bool IsRewindOrForward() override { return false; }
  QXError CreateAndConfigureStageWindowSet(StageWindowSet&, int, const char**) override {
    return QXError_Generic;
  }
  QXError CreateAndConfigureStageWindowSet(StageWindowSet&, int, const char**,
                                           unsigned long) override {
    return QXError_Generic;
  }
  bool RunStageWindowSetToCompletion(StageWindowSet&) override { return false; }
  void DestroyStageWindowSet(StageWindowSet&) override {}
};

}  // namespace plexion_host

#endif  // TESTS_HOST_FAKESERVICE_H_
