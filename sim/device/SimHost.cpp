// The verbs of a host program.

#include "sim/device/SimHost.h"

#include <algorithm>

#include "qx/core/Check.h"
#include "qx/plexion/StageWindowParameters.h"

namespace plexion_sim {

using qx::plexion::IPlexionSets;
using qx::plexion::StageWindow;
using qx::plexion::StageWindowParameters;
using qx::plexion::StageWindowStatus;

IPlexionSets* SimHost::LoadService() {
  QX_CHECK(service_ == nullptr, "one service at a time");
  device_.kernel.NameNextMutexes({"stageWindowLock", "dataDirectoryLock", "keySimulatorLock"});
  service_ = static_cast<IPlexionSets*>(entries_.load());
  return service_;
}

void SimHost::UnloadService() {
  if (service_ == nullptr) return;
  CloseWindows();
  entries_.unload(service_);
  service_ = nullptr;
}

const char** SimHost::Keep(const std::vector<std::string>& arguments) {
  texts_.push_back({"plexion"});
  texts_.back().insert(texts_.back().end(), arguments.begin(), arguments.end());
  std::vector<const char*> vector;
  for (const std::string& text : texts_.back()) vector.push_back(text.c_str());
  vector.push_back(nullptr);
  vectors_.push_back(std::move(vector));
  return vectors_.back().data();
}

void SimHost::NameLocksOfNextWindows(unsigned long windows) {
  std::vector<std::string> names;
  for (unsigned long i = 0; i < windows; ++i) {
    const std::string number = std::to_string(++windowNumber_);
    for (const char* name : {"stateLock", "geometryLock", "watchdogLock"}) {
      names.push_back(name + number);
    }
  }
  device_.kernel.NameNextMutexes(names);
}

QXError SimHost::OpenWindows(const std::vector<std::string>& arguments, unsigned long maxWindows) {
  QX_CHECK(service_ != nullptr, "a service that is loaded");
  const char** argv = Keep(arguments);
  NameLocksOfNextWindows(maxWindows);
  const QXError result = service_->CreateAndConfigureStageWindowSet(
      set_, static_cast<int>(arguments.size()) + 1, argv, maxWindows);
  device_.kernel.NameNextMutexes({});
  return result;
}

StageWindow* SimHost::OpenWindow(const std::vector<std::string>& arguments,
                                 const std::function<void(StageWindowParameters&)>& edit) {
  QX_CHECK(service_ != nullptr, "a service that is loaded");
  const char** argv = Keep(arguments);
  StageWindowParameters parameters{};
  service_->InitParameters(parameters);
  if (!service_->ParseCommandLineParameters(static_cast<int>(arguments.size()) + 1, argv,
                                            parameters)) {
    return nullptr;
  }
  if (edit) edit(parameters);
  NameLocksOfNextWindows(1);
  StageWindow* window = service_->CreateStageWindow(parameters);
  device_.kernel.NameNextMutexes({});
  // The set's memory is the device's and may be refused.
  const Unseen unseen;  // story threads share the set; only the story orders them
  if (window != nullptr && !set_.Append(window)) loose_.push_back(window);
  return window;
}

bool SimHost::RunWindows() { return service_->RunStageWindowSetToCompletion(set_); }

void SimHost::CloseWindow(StageWindow* window) {
  QX_CHECK(service_ != nullptr && window != nullptr, "a window of a service that is loaded");
  {
    const Unseen unseen;
    for (unsigned i = 0; i < set_.Count(); ++i) {
      if (set_[i] != window) continue;
      set_.RemoveAt(i);
      break;
    }
  }
  loose_.erase(std::remove(loose_.begin(), loose_.end(), window), loose_.end());
  service_->DestroyStageWindow(window);
}

void SimHost::CloseWindows() {
  service_->DestroyStageWindowSet(set_);
  for (StageWindow* window : loose_) service_->DestroyStageWindow(window);
  loose_.clear();
}

bool SimHost::WaitFor(StageWindow* window, StageWindowStatus status, Nanoseconds limit) {
  QX_CHECK(window != nullptr, "only a window that was made can be waited for");
  const Nanoseconds end = device_.kernel.Now() + limit;
  for (;;) {
    const StageWindowStatus now = window->GetStageWindowStatus();
    if (now == status) return true;
    if (IsTerminalStatus(now) || device_.kernel.Now() >= end) return false;
    device_.kernel.Sleep(kMillisecond);
  }
}

void SimHost::Join() {
  for (const SimTask* thread : spawned_) {
    device_.kernel.WaitUntil(
        "Join", [thread] { return thread->ended; }, IQXKernel::kInfinite);
    Acquired(thread);
  }
  spawned_.clear();
}

void SimHost::PressKey(unsigned long key, Nanoseconds held) {
  KeyDown(key);
  RunFor(held);
  KeyUp(key);
}

SimInstance* SimHost::Player(StageWindow* window) {
  SimInstance* instance = device_.player.InstanceOf(window);
  return instance != nullptr ? instance : device_.glPlayer.InstanceOf(window);
}

}  // namespace plexion_sim
