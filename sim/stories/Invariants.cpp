// Watches what must hold in every story.

#include "sim/stories/Invariants.h"

#include <memory>
#include <sstream>

#include "qx/plexion/IPlexionImpl.h"
#include "qx/plexion/parts/KeyEventSimulator.h"

namespace plexion_sim {

using qx::plexion::IPlexionImpl;
using qx::plexion::StageWindow;

namespace {

/// Calls that may fail in a way that the contract leaves to the host: nobody tells the window.
struct LeftToHost {
  Fallible operation;
  const char* kind;
  const char* part;
};
const LeftToHost kLeftToHost[] = {
    {Fallible::kInstanceLoad, "deadlock", "waits for event"},
    {Fallible::kInstanceLoad, "run away", "waits for event"},
    {Fallible::kInstancePlay, "deadlock", "waits for event"},
    {Fallible::kInstancePlay, "run away", "waits for event"},
    {Fallible::kInstancePlay, "run away", "host sleeps"},  // the set runner asks again for ever
    {Fallible::kShellRegisterCommand, "deadlock", "waits for event"},
    {Fallible::kShellRegisterCommand, "run away", "waits for event"},
    {Fallible::kShellStart, "deadlock", "waits for event"},
    {Fallible::kShellStart, "run away", "waits for event"},
    {Fallible::kInstanceSetRenderPlane, "use after destroy", "render"},
};

/// Looked at between two steps of the device, while nobody holds the lock and nobody runs.
bool Listed(const IPlexionImpl& service, const StageWindow* window) QX_UNCHECKED_LOCKS {
  for (unsigned i = 0; i < service.stageWindows.Count(); ++i) {
    if (service.stageWindows[i] == window) return true;
  }
  return false;
}

}  // namespace

void WatchLocks(SimDevice& device) {
  device.kernel.GetLockOrder().Document(
      {{"stageWindowLock"},
       {"stateLock"},
       {"geometryLock"},
       {"keySimulatorLock", "watchdogLock", "dataDirectoryLock"}});
}

void WatchService(SimDevice& device, qx::plexion::IPlexionSets* made) {
  auto* service = static_cast<IPlexionImpl*>(made);
  auto reported = std::make_shared<bool>(false);
  device.kernel.SetWatcher([&device, service, reported]() QX_UNCHECKED_LOCKS {
    // In the middle of a change.
    if (*reported || device.kernel.IsHeld(service->stageWindowLock)) return;
    const char* wrong = nullptr;
    if (service->activeStageWindow != nullptr && !Listed(*service, service->activeStageWindow)) {
      wrong = "active window";
    } else if (service->keyMaster != nullptr && !Listed(*service, service->keyMaster)) {
      wrong = "key master";
    }
    if (wrong == nullptr) return;
    *reported = true;
    device.kernel.Report(FindingKind::kContract,
                         "the " + std::string(wrong) + " is no window of the service's list");
  });
}

void UnwatchService(SimDevice& device) { device.kernel.SetWatcher(nullptr); }

void AllowDroppedKeyEvents(SimDevice& device, unsigned count) {
  constexpr unsigned long kTrackedHeader = 8;
  device.kernel.AllowLeak("key ups of other windows, dropped when one window's are cleared",
                          sizeof(qx::plexion::KeyEventData) + kTrackedHeader, count);
}

std::string UnexpectedFindings(const std::string& findings) {
  std::istringstream lines(findings);
  std::string rest;
  for (std::string line; std::getline(lines, line);) {
    if (line.find(": expected: ") == std::string::npos) rest += line + "\n";
  }
  return rest;
}

std::string UnexpectedFindings(const FaultCase& fault, const std::string& findings,
                               bool* leftToHost) {
  const std::string rest = UnexpectedFindings(findings);
  for (const LeftToHost& known : kLeftToHost) {
    if (known.operation != fault.operation ||
        rest.compare(0, std::string(known.kind).size(), known.kind) != 0) {
      continue;
    }
    if (rest.find(known.part) == std::string::npos) continue;
    if (leftToHost != nullptr) *leftToHost = true;
    return "";
  }
  return rest;
}

}  // namespace plexion_sim
