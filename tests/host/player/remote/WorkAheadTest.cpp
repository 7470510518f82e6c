// A process that draws before a frame is due: the same pictures, no sleep for an answer that is there, and
// what one can do that is not to be trusted.

#include <gmock/gmock.h>
#include <signal.h>
#include <sys/resource.h>

#include "tests/host/player/PlainHost.h"
#include "tests/host/player/remote/RemoteFixture.h"

namespace plexion_host::player::remote {
namespace {

using ::testing::HasSubstr;

class WorkAheadTest : public RemoteEngineTest {
 protected:
  bool WorkAhead(uint64_t frame) { return engine_->WorkAhead({frame, 0, frame, true}); }
  void WaitUntilChildSleeps() const {
    const std::string path = "/proc/" + std::to_string(OnlyChild()) + "/stat";
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (std::chrono::steady_clock::now() < deadline) {
      std::string line;
      std::getline(std::ifstream(path), line);
      if (line.find(") S") != std::string::npos) return;
      std::this_thread::yield();
    }
    ADD_FAILURE() << "the process does not come to rest";
  }
};

TEST_F(WorkAheadTest, DrawsWhatIsDrawnInTime) {
  std::ofstream(path_, std::ios::trunc) << Walk();
  Use(kProgram);
  ASSERT_TRUE(Load()) << error_.message;
  PlainHost plain;
  InstalledEngines installed;
  const std::unique_ptr<Engine> own = installed.OpenEngine(content_, plain, error_);
  ContentFacts facts;
  ASSERT_TRUE(own->Load(content_, facts, error_)) << error_.message;
  EXPECT_FALSE(WorkAhead(0)) << "nowhere to draw yet";
  FakePlane first(20, 10, 3);
  FakePlane second(20, 10, 3);
  FakePlane reference(20, 10, 3);
  int ahead = 0;
  for (uint64_t frame = 0; frame < 50; ++frame) {
    const FrameStep step = {frame, 0, frame, true};
    const StepResult expected = own->Advance(step);
    if (expected.changed) {
      DrawTarget target;
      target.pixels = static_cast<uint32_t*>(reference.LockPixels(false));
      target.pitchBytes = reference.GetPitch();
      target.dims = reference.GetDims();
      target.everything = frame == 0;
      own->Draw(target);
      reference.UnlockPixels();
    }
    // From frame 15 on into another plane, which comes while the frame is worked on.
    FakePlane& plane = frame < 15 ? first : second;
    const StepResult moved = engine_->Advance(step);
    const bool everything = frame == 0 || frame == 15;
    EXPECT_EQ(expected.changed, moved.changed) << frame;
    EXPECT_GT(moved.nextPosition, frame);
    if (moved.changed || everything) {
      // Of one plane's frame the Draw is left out, as when its pixels cannot be had.
      if (frame == 8) {
        EXPECT_TRUE(engine_->Advance(step).changed) << "it was not seen";
      }
      const DrawResult drawn = Draw(plane, everything);
      EXPECT_TRUE(drawn.drawn);
      if (frame == 8) {
        EXPECT_EQ(20u, drawn.dirty.width) << "nobody knows what differs";
      }
    }
    ASSERT_EQ(reference.Pixels(), plane.Pixels()) << "frame " << frame;
    if (frame < 49 && WorkAhead(frame + 1)) ++ahead;
  }
  EXPECT_EQ(49, ahead);
  EXPECT_EQ(0, host_.Failures());
}

TEST_F(WorkAheadTest, AnAnswerThatIsThereIsTakenWithoutSleeping) {
  std::ofstream(path_, std::ios::trunc) << Walk();
  Use(kProgram);
  ASSERT_TRUE(Load()) << error_.message;
  FakePlane plane(20, 10);
  Advance(0);
  Draw(plane, true);
  long slept = 0;
  for (uint64_t frame = 1; frame < 20; ++frame) {
    ASSERT_TRUE(WorkAhead(frame));
    WaitUntilChildSleeps();
    rusage before = {};
    rusage after = {};
    getrusage(RUSAGE_THREAD, &before);
    const bool changed = Advance(frame).changed;
    const bool drawn = changed && Draw(plane).drawn;
    getrusage(RUSAGE_THREAD, &after);
    EXPECT_TRUE(drawn) << frame;
    slept += after.ru_nvcsw - before.ru_nvcsw;
  }
  // One may be a lock that another thread has.
  EXPECT_LE(slept, 2);
}

TEST_F(WorkAheadTest, AProcessThatEndsBetweenOrderAndAnswerIsTold) {
  for (const int signal : {SIGKILL, SIGSTOP}) {
    WaitingHost host;
    ContentProcesses processes(kProgram);
    Patience patience;
    patience.still = std::chrono::milliseconds(150);
    RemoteEngine engine(processes, host, {ContentKind::kMovie, false}, patience);
    ASSERT_TRUE(engine.Load(content_, facts_, error_)) << error_.message;
    FakePlane plane(20, 10);
    engine.Advance({0, 0, 0, true});
    DrawTarget target;
    target.pixels = static_cast<uint32_t*>(plane.LockPixels(false));
    target.pitchBytes = plane.GetPitch();
    target.dims = plane.GetDims();
    target.everything = true;
    ASSERT_TRUE(engine.Draw(target).drawn);
    kill(OnlyChild(), SIGSTOP);
    ASSERT_TRUE(engine.WorkAhead({1, 0, 1, true}));
    if (signal == SIGKILL) kill(OnlyChild(), SIGKILL);
    EXPECT_EQ(kNoFrame, engine.Advance({1, 0, 1, true}).nextPosition);
    const EngineError failure = host.WaitForFailure();
    EXPECT_EQ(kErrorFatalPlaybackError, failure.status);
    EXPECT_THAT(failure.message, HasSubstr(signal == SIGKILL ? "SIGKILL" : "no answer for"));
    EXPECT_FALSE(engine.WorkAhead({2, 0, 2, true}));
    plane.UnlockPixels();
  }
}

TEST_F(WorkAheadTest, AnEngineGoesInTheMiddleOfIt) {
  Use(kProgram);
  ASSERT_TRUE(Load()) << error_.message;
  FakePlane plane(20, 10);
  Advance(0);
  Draw(plane, true);
  ASSERT_TRUE(WorkAhead(1));
  engine_.reset();
  EXPECT_EQ(0, host_.Failures());
}

using HostileAheadTest = HostileProcessTest;
TEST_P(HostileAheadTest, EndsTheContentOrItsOwnPictureAtMost) {
  ASSERT_TRUE(Load()) << error_.message;
  FakePlane plane(8, 8);
  Advance(0);
  Draw(plane, true);
  for (uint64_t frame = 1; frame < 500 && host_.Failures() == 0; ++frame) {
    engine_->WorkAhead({frame, 0, frame, true});
    if (frame % 4 == 0) std::this_thread::yield();
    if (!Advance(frame).changed) continue;
    const DrawResult drawn = Draw(plane);
    ASSERT_LE(uint64_t{drawn.dirty.x} + drawn.dirty.width, 8u);
    ASSERT_LE(uint64_t{drawn.dirty.y} + drawn.dirty.height, 8u);
  }
  const std::string mode = GetParam();
  if (mode == "claims") {
    EXPECT_EQ(0, host_.Failures()) << "a picture that stays is its own matter";
  } else if (mode != "flickers") {
    EXPECT_THAT(host_.WaitForFailure().message, HasSubstr("process"));
  }
}
INSTANTIATE_TEST_SUITE_P(Modes, HostileAheadTest,
                         ::testing::Values("claims", "flickers", "ahead-killed", "ahead-stopped",
                                           "ahead-outside", "ahead-advanced", "ahead-silent"));

}  // namespace
}  // namespace plexion_host::player::remote
