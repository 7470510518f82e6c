// Content in a process of its own: the same pictures, and whatever that process does, its player goes on
// and says what happened.

#include <gmock/gmock.h>
#include <signal.h>
#include <sys/resource.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <functional>
#include <thread>
#include <vector>

#include "tests/host/player/PlainHost.h"
#include "tests/host/player/remote/RemoteFixture.h"

namespace plexion_host::player::remote {
namespace {

using ::testing::AllOf;
using ::testing::AnyOf;
using ::testing::HasSubstr;

TEST_F(RemoteEngineTest, DrawsWhatAnEngineOfTheLauncherDraws) {
  Use(kProgram);
  ASSERT_TRUE(Load()) << error_.message;
  PlainHost plain;
  InstalledEngines installed;
  const std::unique_ptr<Engine> own = installed.OpenEngine(content_, plain, error_);
  ContentFacts facts;
  ASSERT_TRUE(own->Load(content_, facts, error_));
  EXPECT_TRUE(facts.framesPerSecond == facts_.framesPerSecond &&
              facts.frameCount == facts_.frameCount &&
              facts.stageDims.width == facts_.stageDims.width);

  // A plane with padding, whose rows are not the picture's.
  FakePlane plane(20, 10, 3);
  FakePlane reference(20, 10, 3);
  for (uint64_t frame = 0; frame < 5; ++frame) {
    const StepResult step = Advance(frame);
    const StepResult expected = own->Advance({frame, 0, frame, true});
    EXPECT_EQ(expected.changed, step.changed);
    EXPECT_EQ(expected.nextPosition, step.nextPosition);
    const DrawResult drawn = Draw(plane, frame == 0);
    DrawTarget target;
    target.pixels = static_cast<uint32_t*>(reference.LockPixels(false));
    target.pitchBytes = reference.GetPitch();
    target.dims = reference.GetDims();
    target.everything = frame == 0;
    const DrawResult other = own->Draw(target);
    reference.UnlockPixels();
    EXPECT_EQ(other.drawn, drawn.drawn);
    EXPECT_EQ(other.dirty.width, drawn.dirty.width);
    EXPECT_EQ(reference.Pixels(), plane.Pixels()) << "frame " << frame;
  }
  EXPECT_EQ(0, host_.Failures());
}

TEST_F(RemoteEngineTest, AMovieThatMovesAndStandsStillIsDrawnFrameByFrame) {
  std::ofstream(path_, std::ios::trunc) << Walk();
  Use(kProgram);
  ASSERT_TRUE(Load()) << error_.message;
  PlainHost plain;
  InstalledEngines installed;
  const std::unique_ptr<Engine> own = installed.OpenEngine(content_, plain, error_);
  ContentFacts facts;
  ASSERT_TRUE(own->Load(content_, facts, error_)) << error_.message;
  FakePlane plane(20, 10, 3);
  FakePlane reference(20, 10, 3);
  int drawn = 0;
  for (uint64_t frame = 0; frame < 50; ++frame) {
    const FrameStep step = {frame, 0, frame, true};
    if (own->Advance(step).changed) {
      DrawTarget target;
      target.pixels = static_cast<uint32_t*>(reference.LockPixels(false));
      target.pitchBytes = reference.GetPitch();
      target.dims = reference.GetDims();
      target.everything = frame == 0;
      own->Draw(target);
      reference.UnlockPixels();
    }
    const StepResult moved = engine_->Advance(step);
    EXPECT_GT(moved.nextPosition, frame);
    if (moved.changed && Draw(plane, frame == 0).drawn) ++drawn;
    ASSERT_EQ(reference.Pixels(), plane.Pixels()) << "frame " << frame;
  }
  EXPECT_GE(drawn, 38);
  EXPECT_LE(drawn, 41) << "what stands still is not drawn";
  EXPECT_EQ(0, host_.Failures());
}

/// 640 x 360, 100 frames: a square moves over a gradient that lies still, and is worth being kept as pixels.
constexpr char kOverGradient[] =
    R"({"v":"5","fr":10,"ip":0,"op":100,"w":640,"h":360,"layers":[{"ty":4,
  "ip":0,"op":100,"st":0,"sr":1,"ks":{"o":{"a":0,"k":100},"r":{"a":0,"k":0},"p":{"a":1,"k":[
  {"t":0,"s":[150,180],"i":{"x":1,"y":1},"o":{"x":0,"y":0}},{"t":100,"s":[490,180]}]},
  "a":{"a":0,"k":[0,0]},"s":{"a":0,"k":[100,100]}},"shapes":[{"ty":"gr","it":[{"ty":"rc",
  "p":{"a":0,"k":[0,0]},"s":{"a":0,"k":[300,300]},"r":{"a":0,"k":0}},{"ty":"fl","c":{"a":0,
  "k":[1,0,0,1]},"o":{"a":0,"k":100},"r":1},{"ty":"tr","p":{"a":0,"k":[0,0]},"a":{"a":0,"k":[0,0]},
  "s":{"a":0,"k":[100,100]},"r":{"a":0,"k":0},"o":{"a":0,"k":100}}]}]},{"ty":4,"ip":0,"op":100,"st":0,
  "sr":1,"ks":{"o":{"a":0,"k":100},"r":{"a":0,"k":0},"p":{"a":0,"k":[320,180]},"a":{"a":0,"k":[0,0]},
  "s":{"a":0,"k":[100,100]}},"shapes":[{"ty":"gr","it":[{"ty":"rc","p":{"a":0,"k":[0,0]},
  "s":{"a":0,"k":[640,360]},"r":{"a":0,"k":0}},{"ty":"gf","t":1,"s":{"a":0,"k":[-320,0]},
  "e":{"a":0,"k":[320,0]},"g":{"p":2,"k":{"a":0,"k":[0,0,1,0,1,0,0,1]}},"o":{"a":0,"k":100},"r":1},
  {"ty":"tr","p":{"a":0,"k":[0,0]},"a":{"a":0,"k":[0,0]},"s":{"a":0,"k":[100,100]},"r":{"a":0,"k":0},
  "o":{"a":0,"k":100}}]}]}]})";

TEST_F(RemoteEngineTest, AProcessThatIsToSaveMemoryGivesBackWhatItKeeps) {
  constexpr uint64_t kPlane = 640 * 360 * 4;
  std::ofstream(path_, std::ios::trunc) << kOverGradient;
  Use(kProgram);
  ASSERT_TRUE(Load()) << error_.message;
  FakePlane plane(640, 360);
  const auto play = [&](uint64_t from, uint64_t to) {
    for (uint64_t frame = from; frame < to; ++frame) {
      if (Advance(frame).changed) Draw(plane, frame == 0);
    }
    return engine_->BytesElsewhere().value_or(0);
  };
  EXPECT_GE(play(0, 40), kPlane) << "the gradient's pixels";
  const std::vector<uint32_t> before = plane.Pixels();
  engine_->SaveMemory();
  EXPECT_LT(play(40, 80), kPlane);
  EXPECT_NE(before, plane.Pixels()) << "it plays on";
  EXPECT_EQ(0, host_.Failures());
}

TEST_F(RemoteEngineTest, ContentThatCannotBePlayedEndsWithItsOwnWords) {
  Use(kProgram);
  std::ofstream(path_, std::ios::trunc) << "{\"v\":";
  EXPECT_FALSE(Load());
  EXPECT_EQ(kErrorCorruptMovie, error_.status);
  EXPECT_THAT(error_.message, HasSubstr("byte 5"));
  content_.path = "/absent";
  Use(kProgram);
  EXPECT_FALSE(Load());
  EXPECT_EQ(kErrorInvalidURL, error_.status);
}

TEST_F(RemoteEngineTest, AMissingProgramIsNamed) {
  Use("/absent/plexion-content");
  EXPECT_FALSE(Load());
  EXPECT_EQ(kErrorStartupFailure, error_.status);
  EXPECT_THAT(error_.message, HasSubstr("cannot start /absent/plexion-content: No such file"));
}

TEST_F(RemoteEngineTest, APreparedProcessIsTheOneThatIsTaken) {
  Use(kProgram);
  processes_->Prepare({ContentKind::kMovie, false}, "movie");
  while (Children() == 0) std::this_thread::yield();
  const pid_t prepared = OnlyChild();
  ASSERT_TRUE(Load()) << error_.message;
  EXPECT_EQ(1u, Children());
  EXPECT_EQ(prepared, OnlyChild());
}

TEST_F(RemoteEngineTest, ACrashWhileItPlaysIsTold) {
  const std::pair<int, const char*> ends[] = {{SIGSEGV, "(SIGSEGV)"}, {SIGKILL, "(SIGKILL)"}};
  for (const auto& [signal, name] : ends) {
    WaitingHost host;
    ContentProcesses processes(kProgram);
    RemoteEngine engine(processes, host, {ContentKind::kMovie, false});
    ASSERT_TRUE(engine.Load(content_, facts_, error_)) << error_.message;
    ASSERT_EQ(1u, Children());
    kill(OnlyChild(), signal);
    // Nothing is asked of it meanwhile: its end is noticed all the same.
    const EngineError failure = host.WaitForFailure();
    EXPECT_EQ(kErrorFatalPlaybackError, failure.status);
    EXPECT_THAT(failure.message, AllOf(HasSubstr("crashed"), HasSubstr(name)));
    EXPECT_EQ(kNoFrame, engine.Advance({1, 0, 1, true}).nextPosition);
    engine.SetPlaying(false);
    EXPECT_EQ(1, host.Failures()) << "told once";
  }
}

TEST_F(RemoteEngineTest, AProcessThatStandsStillIsEndedInTime) {
  Patience patience;
  patience.still = std::chrono::milliseconds(150);
  Use(kProgram, patience);
  ASSERT_TRUE(Load());
  kill(OnlyChild(), SIGSTOP);
  Advance(1);
  const EngineError failure = host_.WaitForFailure();
  EXPECT_EQ(kErrorFatalPlaybackError, failure.status);
  EXPECT_THAT(failure.message, HasSubstr("no answer for"));
}

TEST_F(RemoteEngineTest, AWindowThatEndsDoesNotWaitForItsProcess) {
  Use(kProgram);
  ASSERT_TRUE(Load());
  kill(OnlyChild(), SIGSTOP);
  std::thread later([this] {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    host_.cancelled = true;
  });
  Advance(1);
  later.join();
  EXPECT_EQ(0, host_.Failures()) << "the window knows why it ends";
}

/// Counts on any thread, and refuses nothing.
class CountedMemory final : public qx::plexion::MemoryWatchdog {
 public:
  void* Alloc(unsigned long size, const char*, unsigned long) override {
    used_ += size;
    return new unsigned long(size);
  }
  void Free(void* block, const char*, unsigned long) override {
    auto* const size = static_cast<unsigned long*>(block);
    used_ -= *size;
    delete size;
  }
  unsigned long GetBytesUsed() override { return used_; }
  unsigned long GetBytesAvailable() override { return UINT32_MAX; }

 private:
  std::atomic<unsigned long> used_{0};
};

using HostileLoadTest = HostileProcessTest;
TEST_P(HostileLoadTest, EndsTheLoadWithAnError) {
  EXPECT_FALSE(Load());
  EXPECT_GE(error_.status, kErrorIncompleteConfiguration);
  EXPECT_FALSE(error_.message.empty());
}
INSTANTIATE_TEST_SUITE_P(Modes, HostileLoadTest,
                         ::testing::Values("gone", "shrink", "crash-at-load", "leave-at-load",
                                           "sleep-at-load", "wrong-kind", "wrong-serial",
                                           "bell-alone", "huge-stage", "no-rate",
                                           "complete-as-error"));

using HostilePlayTest = HostileProcessTest;
TEST_P(HostilePlayTest, EndsTheContentWithAnError) {
  ASSERT_TRUE(Load()) << error_.message;
  FakePlane plane(8, 8);
  for (int i = 0; i < 1000 && host_.Failures() == 0; ++i) {
    Advance(static_cast<uint64_t>(i));
    Draw(plane, i == 0);
  }
  const EngineError failure = host_.WaitForFailure();
  EXPECT_EQ(kErrorFatalPlaybackError, failure.status);
  EXPECT_THAT(failure.message, HasSubstr("process"));
  // A flood is cut off early.
  EXPECT_LT(host_.notices, 20000);
}
INSTANTIATE_TEST_SUITE_P(Modes, HostilePlayTest,
                         ::testing::Values("crash", "killed", "stop", "spin", "sleep", "flood",
                                           "short-record", "unknown-event", "print",
                                           "dirty-outside", "endless-text", "waiting-bells",
                                           "part-of-a-ring"));

using SpeakingTest = HostileProcessTest;
TEST_P(SpeakingTest, WhatItSaidBeforeAnAnswerIsHeardBeforeIt) {
  ASSERT_TRUE(Load()) << error_.message;
  for (int i = 1; i <= 200; ++i) {
    Advance(static_cast<uint64_t>(i));
    ASSERT_EQ(i, host_.notices);
  }
}
INSTANTIATE_TEST_SUITE_P(Modes, SpeakingTest, ::testing::Values("speaks"));

using VideoTest = HostileProcessTest;
TEST_P(VideoTest, IsMovedOnAndDrawnByOneOrderForEachFrame) {
  Use(PLEXION_HOSTILE_PROGRAM, {}, ContentKind::kMedia);
  ASSERT_TRUE(Load()) << error_.message;
  FakePlane plane(8, 8);
  const auto show = [&] {
    const StepResult step = Advance(0);  // self-paced: always there
    EXPECT_TRUE(step.changed);
    EXPECT_EQ(kNoFrame, step.nextPosition);
    return Draw(plane).failure;
  };
  std::string moves;
  for (int frame = 0; frame < 20; ++frame) moves = show();
  EXPECT_EQ("3", moves) << "until it is known to be steady";
  // A Draw that does not come holds nothing up: it is moved on by itself then.
  Advance(0);
  Advance(0);
  EXPECT_EQ("4", Draw(plane).failure);
  for (int frame = 0; frame < 20; ++frame) moves = show();
  EXPECT_EQ("6", moves);
  EXPECT_EQ(0, host_.Failures());
}
INSTANTIATE_TEST_SUITE_P(Modes, VideoTest, ::testing::Values("counts"));

using FailingTest = HostileProcessTest;
TEST_P(FailingTest, AnErrorInsteadOfAFrameEndsTheContentWithItsOwnWords) {
  ASSERT_TRUE(Load()) << error_.message;
  EXPECT_EQ(kNoFrame, Advance(1).nextPosition);
  EXPECT_EQ(kErrorCorruptMovie, host_.WaitForFailure().status);
  EXPECT_EQ("out of ink", host_.WaitForFailure().message);
  EXPECT_EQ(kNoFrame, Advance(2).nextPosition);
  EXPECT_EQ(1, host_.Failures());
}
INSTANTIATE_TEST_SUITE_P(Modes, FailingTest, ::testing::Values("fails"));

TEST_F(RemoteEngineTest, AMovieThatHasNoMomentsOfItsOwnSaysSo) {
  Use(kProgram);
  ASSERT_TRUE(Load()) << error_.message;
  std::string fault;
  EXPECT_FALSE(engine_->Seek(1, false, fault));
  EXPECT_THAT(fault, HasSubstr("no positions"));
  EXPECT_EQ(0, host_.Failures());
}

using HostileGiftTest = HostileProcessTest;
TEST_P(HostileGiftTest, LeavesNoDescriptorInTheLauncher) {
  ASSERT_TRUE(Load()) << error_.message;
  const size_t before = Descriptors();
  Advance(1);
  Advance(2);
  EXPECT_EQ(before, Descriptors());
}
using HostileMemoryTest = HostileProcessTest;
TEST_P(HostileMemoryTest, CountsAgainstTheLimitOfItsWindow) {
  CountedMemory memory;
  host_.memory = &memory;
  SetUp();
  ASSERT_TRUE(Load()) << error_.message;
  const auto waitUntil = [](const std::function<bool()>& done) {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (!done() && std::chrono::steady_clock::now() < deadline) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  };
  waitUntil([this] { return host_.notices > 0; });
  Advance(1);
  waitUntil([&memory] { return memory.GetBytesUsed() >= 48U << 20; });
  EXPECT_GE(memory.GetBytesUsed(), 48U << 20);
  EXPECT_EQ(0, host_.Failures());
  engine_.reset();
  EXPECT_EQ(0U, memory.GetBytesUsed());
}
INSTANTIATE_TEST_SUITE_P(Modes, HostileMemoryTest, ::testing::Values("shared-memory"));

/// Ends its window at the limit, as a window's does.
class EndingMemory final : public qx::plexion::MemoryWatchdog {
 public:
  EndingMemory(unsigned long limit, std::atomic<bool>& ended) : limit_(limit), ended_(ended) {}
  void* Alloc(unsigned long size, const char* file, unsigned long line) override {
    if (memory_.GetBytesUsed() + size <= limit_) return memory_.Alloc(size, file, line);
    ended_ = true;
    return nullptr;
  }
  void Free(void* block, const char* file, unsigned long line) override {
    memory_.Free(block, file, line);
  }
  unsigned long GetBytesUsed() override { return memory_.GetBytesUsed(); }
  unsigned long GetBytesAvailable() override { return limit_ - memory_.GetBytesUsed(); }

 private:
  CountedMemory memory_;
  const unsigned long limit_;
  std::atomic<bool>& ended_;
};

using HoardingTest = HostileProcessTest;
TEST_P(HoardingTest, IsEndedSoonAfterTheLimitOfItsWindow) {
  constexpr unsigned long kLimit = 64UL << 20;
  EndingMemory memory(kLimit, host_.cancelled);
  host_.memory = &memory;
  SetUp();
  ASSERT_TRUE(Load()) << error_.message;
  Advance(1);
  EXPECT_TRUE(host_.cancelled) << "the limit has ended the window";
  EXPECT_EQ(0, host_.Failures());
  engine_.reset();
  processes_.reset();
  // Of all processes that were collected; the others of this program take a few mebibytes.
  rusage usage = {};
  getrusage(RUSAGE_CHILDREN, &usage);
  printf("most of a process, at a limit of 64 MiB: %ld MiB\n", usage.ru_maxrss / 1024);
  EXPECT_LT(usage.ru_maxrss / 1024, 400) << "it takes 1500 MiB when nobody looks";
}
INSTANTIATE_TEST_SUITE_P(Modes, HoardingTest, ::testing::Values("hoards", "hoards-shared"));

INSTANTIATE_TEST_SUITE_P(Modes, HostileGiftTest, ::testing::Values("descriptors"));

}  // namespace
}  // namespace plexion_host::player::remote
