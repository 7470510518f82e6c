// The scripted shell and its thread.

#include "sim/device/SimShell.h"

#include <sstream>

#include "qx/core/Check.h"

namespace plexion_sim {

void SimShell::Type(const std::string& line) {
  kernel_.Note("types", line);
  Released(this);
  typed_.push_back(line);
}

QXError SimShell::RegisterCommand(const char* name, qx::platform::IShellCommand* command) {
  Enter("RegisterCommand");
  QX_CHECK(name != nullptr && command != nullptr, "a word, and what it does");
  if (kernel_.GetFaults().Fails(Fallible::kShellRegisterCommand)) {
    kernel_.Note("RegisterCommand", std::string(name) + " -> QXError_NoMemory");
    return QXError_NoMemory;
  }
  kernel_.Note("RegisterCommand", name);
  Released(this);
  commands_[name] = command;
  return QXError_OK;
}

qx::platform::IShellCommand* SimShell::UnregisterCommand(const char* name) {
  Enter("UnregisterCommand");
  const auto found = commands_.find(name);
  if (found == commands_.end()) {
    kernel_.Note("UnregisterCommand", std::string(name) + " -> null");
    return nullptr;
  }
  qx::platform::IShellCommand* command = found->second;
  commands_.erase(found);
  if (kernel_.CurrentTask() != thread_) {
    const std::string leaving = name;
    kernel_.WaitUntil(
        "UnregisterCommand", [this, leaving] { return executing_ != leaving; },
        IQXKernel::kInfinite);
  }
  Acquired(this);
  kernel_.Note("UnregisterCommand", name);
  return command;
}

QXError SimShell::Start() {
  Enter("Start");
  if (kernel_.GetFaults().Fails(Fallible::kShellStart)) {
    kernel_.Note("Shell.Start", "-> QXError_Generic");
    return QXError_Generic;
  }
  kernel_.Note("Shell.Start", "");
  if (started_) return QXError_OK;
  started_ = true;
  thread_ = kernel_.SpawnPlatform("shell", [this] {
    for (;;) {
      kernel_.WaitUntil(
          "the shell's prompt", [this] { return !typed_.empty(); }, IQXKernel::kInfinite);
      const std::string line = typed_.front();
      typed_.pop_front();
      Execute(line);
    }
  });
  return QXError_OK;
}

void SimShell::Execute(const std::string& line) {
  std::istringstream stream(line);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) words.push_back(word);
  if (words.empty()) return;
  const auto found = commands_.find(words[0]);
  if (found == commands_.end()) {
    results_.push_back(words[0] + " -> unknown command");
    kernel_.Note("executes", results_.back());
    return;
  }
  std::vector<char*> argv;
  argv.reserve(words.size());
  for (std::string& word : words) argv.push_back(&word[0]);
  kernel_.Note("executes", line);
  executing_ = words[0];
  Acquired(this);
  const QXError result = found->second->Execute(argv.size(), argv.data());
  Released(this);
  executing_.clear();
  results_.push_back(words[0] + " -> " + result.name);
  kernel_.Note("executes", results_.back());
}

}  // namespace plexion_sim
