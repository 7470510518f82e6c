// Content in a process of its own, its player's side: a movie to play, somebody who hears, and what is left behind.

#ifndef TESTS_HOST_PLAYER_REMOTE_REMOTEFIXTURE_H_
#define TESTS_HOST_PLAYER_REMOTE_REMOTEFIXTURE_H_

#include <dirent.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host/player/engines/EngineSource.h"
#include "host/player/remote/RemoteEngine.h"
#include "host/player/remote/RemoteEngines.h"
#include "tests/host/player/LinkedMovies.h"
#include "tests/host/player/PlayerFixture.h"

namespace plexion_host::player::remote {

constexpr char kProgram[] = PLEXION_BIN "/plexion-content";

/// 20 x 10, 10 frames a second, 5 frames: a red square, 5 pixels to the right from frame 3 on.
constexpr char kSquare[] = R"({"v":"5","fr":10,"ip":0,"op":5,"w":20,"h":10,"layers":[{"ty":4,"ip":0,
  "op":5,"st":0,"sr":1,"ks":{"o":{"a":0,"k":100},"r":{"a":0,"k":0},"p":{"a":1,"k":[
  {"t":0,"s":[5,5],"h":1},{"t":3,"s":[10,5],"h":1}]},"a":{"a":0,"k":[0,0]},"s":{"a":0,"k":[100,100]}},
  "shapes":[{"ty":"gr","it":[{"ty":"rc","p":{"a":0,"k":[0,0]},"s":{"a":0,"k":[10,10]},
  "r":{"a":0,"k":0}},{"ty":"fl","c":{"a":0,"k":[1,0,0,1]},"o":{"a":0,"k":100},"r":1},
  {"ty":"tr","p":{"a":0,"k":[0,0]},"a":{"a":0,"k":[0,0]},"s":{"a":0,"k":[100,100]},
  "r":{"a":0,"k":0},"o":{"a":0,"k":100}}]}]}]})";

/// Hears what an engine says, on any thread.
class WaitingHost final : public EngineHost {
 public:
  qx::plexion::MemoryWatchdog* Memory() override { return memory; }
  const PlayerSettings& Settings() override { return settings; }
  bool Cancelled() override { return cancelled; }
  void ReportProgress(unsigned percent) override { progress = percent; }
  void RequestFrame() override {}
  void Complete() override {}
  void Fail(const EngineError& error) override {
    std::lock_guard<std::mutex> lock(mutex_);
    if (failures_++ == 0) failure_ = error;
    changed_.notify_all();
  }
  void Notify(StageWindowStatus, const std::string&) override {
    // A listener takes its time, and whoever counts on having been heard has to wait for it.
    for (int i = 0; i < 20; ++i) std::this_thread::yield();
    ++notices;
  }

  EngineError WaitForFailure() {
    std::unique_lock<std::mutex> lock(mutex_);
    EXPECT_TRUE(changed_.wait_for(lock, kPatience, [this] { return failures_ > 0; }));
    return failure_;
  }
  int Failures() {
    std::lock_guard<std::mutex> lock(mutex_);
    return failures_;
  }

  PlayerSettings settings;
  qx::plexion::MemoryWatchdog* memory = nullptr;
  std::atomic<bool> cancelled{false};
  unsigned progress = 0;
  std::atomic<int> notices{0};

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  EngineError failure_;
  int failures_ = 0;
};

inline std::vector<std::string> NamesIn(const char* folder) {
  std::vector<std::string> names;
  DIR* const open = opendir(folder);
  while (const dirent* entry = readdir(open)) names.emplace_back(entry->d_name);
  closedir(open);
  return names;
}

/// Processes that this one has started and not collected.
inline size_t Children() {
  std::ifstream list("/proc/self/task/" + std::to_string(getpid()) + "/children");
  size_t count = 0;
  for (const std::string& task : NamesIn("/proc/self/task")) {
    std::ifstream children("/proc/self/task/" + task + "/children");
    for (std::string id; children >> id;) ++count;
  }
  return count;
}

inline size_t Descriptors() { return NamesIn("/proc/self/fd").size(); }

class RemoteEngineTest : public ::testing::Test {
 protected:
  RemoteEngineTest() {
    LinkMovies(TestKernel());
    char path[] = "/tmp/plexion-remote-XXXXXX";
    close(mkstemp(path));
    path_ = path;
    std::ofstream(path_) << kSquare;
    content_.path = path_;
    content_.name = "square.mvx";
    // Of this process's own, which stay.
    { ContentProcesses first(kProgram); }
    descriptors_ = Descriptors();
    EXPECT_EQ(0u, Children());
  }
  ~RemoteEngineTest() override {
    engine_.reset();
    processes_.reset();
    EXPECT_EQ(0u, Children()) << "no process is left behind";
    EXPECT_EQ(descriptors_, Descriptors()) << "no descriptor is left behind";
    unlink(path_.c_str());
  }

  void Use(const std::string& program, const Patience& patience = {},
           ContentKind kind = ContentKind::kMovie) {
    engine_.reset();
    processes_ = std::make_unique<ContentProcesses>(program);
    engine_ =
        std::make_unique<RemoteEngine>(*processes_, host_, ContentOrder{kind, false}, patience);
  }
  bool Load() { return engine_->Load(content_, facts_, error_); }
  StepResult Advance(uint64_t frame) { return engine_->Advance({frame, 0, frame, true}); }
  DrawResult Draw(FakePlane& plane, bool everything = false) {
    DrawTarget target;
    target.pixels = static_cast<uint32_t*>(plane.LockPixels(false));
    target.pitchBytes = plane.GetPitch();
    target.dims = plane.GetDims();
    target.everything = everything;
    const DrawResult result = engine_->Draw(target);
    plane.UnlockPixels();
    return result;
  }

  /// The one process there is, as the system lists it.
  static pid_t OnlyChild() {
    for (const std::string& task : NamesIn("/proc/self/task")) {
      std::ifstream children("/proc/self/task/" + task + "/children");
      pid_t id = 0;
      if (children >> id) return id;
    }
    return -1;
  }

  std::string path_;
  ContentAddress content_;
  ContentFacts facts_;
  EngineError error_;
  WaitingHost host_;
  size_t descriptors_ = 0;
  std::unique_ptr<ContentProcesses> processes_;
  std::unique_ptr<RemoteEngine> engine_;
};

/// As kSquare, 50 frames: the square moves from frame to frame, stands still from 20 to 30, and moves on.
inline std::string Walk() {
  std::string movie = kSquare;
  const auto replace = [&movie](const std::string& what, const std::string& with) {
    for (size_t at = 0; (at = movie.find(what, at)) != std::string::npos; at += with.size()) {
      movie.replace(at, what.size(), with);
    }
  };
  replace("\"op\":5", "\"op\":50");
  replace("{\"t\":0,\"s\":[5,5],\"h\":1},{\"t\":3,\"s\":[10,5],\"h\":1}", "KEYS");
  replace("\n  {\"t\":0,\"s\":[5,5],\"h\":1},{\"t\":3,\"s\":[10,5],\"h\":1}", "KEYS");
  const std::string line = "\"i\":{\"x\":1,\"y\":1},\"o\":{\"x\":0,\"y\":0}";
  replace("KEYS", "{\"t\":0,\"s\":[0,5]," + line +
                      "},{\"t\":20,\"s\":[10,5],\"h\":1},{\"t\":30,\"s\":[10,5]," + line +
                      "},{\"t\":50,\"s\":[20,5]}");
  return movie;
}

/// A process that does what no honest one does.
class HostileProcessTest : public RemoteEngineTest,
                           public ::testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override {
    setenv("PLEXION_HOSTILE", GetParam(), 1);
    Patience patience;
    patience.still = std::chrono::milliseconds(200);
    patience.working = std::chrono::milliseconds(300);
    patience.loading = std::chrono::milliseconds(300);
    Use(PLEXION_HOSTILE_PROGRAM, patience);
  }
};

}  // namespace plexion_host::player::remote

#endif  // TESTS_HOST_PLAYER_REMOTE_REMOTEFIXTURE_H_
