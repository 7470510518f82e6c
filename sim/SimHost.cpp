#include "sim/SimHost.h"

#include "qx/plexion/StageWindowParameters.h"

namespace plexion_sim {

using qx::plexion::IPlexionSets;
using qx::plexion::StageWindow;
using qx::plexion::StageWindowParameters;
using qx::plexion::StageWindowStatus;

IPlexionSets* SimHost::LoadService() {
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

QXError SimHost::OpenWindows(const std::vector<std::string>& arguments, unsigned long maxWindows) {
  const char** argv = Keep(arguments);
  return service_->CreateAndConfigureStageWindowSet(set_, static_cast<int>(arguments.size()) + 1,
                                                    argv, maxWindows);
}

StageWindow* SimHost::OpenWindow(const std::vector<std::string>& arguments) {
  const char** argv = Keep(arguments);
  StageWindowParameters parameters{};
  service_->InitParameters(parameters);
  if (!service_->ParseCommandLineParameters(static_cast<int>(arguments.size()) + 1, argv,
                                            parameters)) {
    return nullptr;
  }
  StageWindow* window = service_->CreateStageWindow(parameters);
  if (window != nullptr) set_.Append(window);
  return window;
}

bool SimHost::RunWindows() { return service_->RunStageWindowSetToCompletion(set_); }

void SimHost::CloseWindow(StageWindow* window) {
  for (unsigned i = 0; i < set_.Count(); ++i) {
    if (set_[i] != window) continue;
    set_.RemoveAt(i);
    break;
  }
  service_->DestroyStageWindow(window);
}

void SimHost::CloseWindows() { service_->DestroyStageWindowSet(set_); }

bool SimHost::WaitFor(StageWindow* window, StageWindowStatus status, Nanoseconds limit) {
  const Nanoseconds end = device_.kernel.Now() + limit;
  for (;;) {
    const StageWindowStatus now = window->GetStageWindowStatus();
    if (now == status) return true;
    if (IsTerminalStatus(now) || device_.kernel.Now() >= end) return false;
    device_.kernel.Sleep(kMillisecond);
  }
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
