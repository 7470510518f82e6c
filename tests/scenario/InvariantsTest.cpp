// The invariants that all stories are held to can fail.

#include <gtest/gtest.h>

#include "qx/plexion/IPlexionImpl.h"
#include "sim/stories/Stories.h"

namespace plexion_sim {
namespace {

using qx::plexion::IPlexionImpl;
using qx::plexion::StageWindow;

std::string FindingsOf(const std::function<void(SimDevice&, SimHost&)>& tell) {
  return RunStory(ServiceStory("broken", "breaks an invariant", nullptr, tell), SimOptions())
      .findings;
}

TEST(InvariantsTest, LocksAgainstTheDocumentedOrderAreFoundWithoutAnOpponent) {
  const auto takesBoth = [](SimDevice& device, SimHost&) {
    device.kernel.NameNextMutexes({"stateLock1", "geometryLock1"});
    IQXKernel::Mutex* state = device.kernel.CreateMutex();
    IQXKernel::Mutex* geometry = device.kernel.CreateMutex();
    geometry->Lock();
    state->Lock();
    state->Unlock();
    geometry->Unlock();
    device.kernel.DestroyMutex(geometry);
    device.kernel.DestroyMutex(state);
  };
  EXPECT_NE(FindingsOf(takesBoth).find(
                "host takes stateLock1 while it holds geometryLock1, against the documented order"),
            std::string::npos);
}

TEST(InvariantsTest, ADesignatedWindowOutsideTheListIsFound) {
  for (const bool active : {true, false}) {
    const std::string findings = FindingsOf([active](SimDevice& device, SimHost& host) {
      auto* service = static_cast<IPlexionImpl*>(host.Service());
      StageWindow* const stranger = reinterpret_cast<StageWindow*>(service);
      StageWindow*& place = active ? service->activeStageWindow : service->keyMaster;
      // Under the lock it may be anything; without it, it may not.
      service->stageWindowLock->Lock();
      place = stranger;
      host.RunForMs(1);
      EXPECT_EQ(device.kernel.GetFindings().ToText(), "");
      service->stageWindowLock->Unlock();
      host.RunForMs(1);
      place = nullptr;
    });
    EXPECT_NE(findings.find(active ? "the active window is no window of the service's list"
                                   : "the key master is no window of the service's list"),
              std::string::npos);
  }
}

TEST(InvariantsTest, OneDroppedKeyEventTooManyIsALeak) {
  EXPECT_NE(FindingsOf([](SimDevice& device, SimHost&) {
              AllowDroppedKeyEvents(device, 1);
              device.kernel.Allocate(32, "keys", 1);
              device.kernel.Allocate(32, "keys", 2);
            }).find("than allowed"),
            std::string::npos);
}

TEST(InvariantsTest, OnlyWhatTheStoryExpectedIsVoidWhenACallFails) {
  const FaultCase refusedLoad = {Fallible::kInstanceLoad, 1, Faults::Repeat::kOnce};
  const FaultCase noMemory = {Fallible::kAllocate, 1, Faults::Repeat::kOnce};
  const std::string blocked = "deadlock at 0.000000 ms, thread host: host waits for event2\n";
  const std::string expected = "contract at 0.000000 ms, thread host: expected: planes are made\n";
  bool left = false;
  EXPECT_EQ(UnexpectedFindings(refusedLoad, expected, &left), "");
  EXPECT_FALSE(left);
  EXPECT_EQ(UnexpectedFindings(refusedLoad, blocked, &left), "");
  EXPECT_TRUE(left);
  EXPECT_EQ(UnexpectedFindings(noMemory, expected + blocked), blocked);
}

}  // namespace
}  // namespace plexion_sim
