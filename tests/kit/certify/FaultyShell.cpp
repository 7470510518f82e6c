// Shells that are wrong in one thing each: a reader of lines and a table of commands.

#include <atomic>
#include <chrono>
#include <cstring>
#include <iostream>
#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "qx/core/IQXKernel.h"
#include "qx/platform/IShell.h"
#include "tests/kit/certify/Fault.h"

namespace {

using qx::platform::IShellCommand;

void SleepMs(int milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

class FaultyShell final : public qx::platform::IShell {
 public:
  QXError RegisterCommand(const char* name, IShellCommand* command) override {
    if (FAULT("shell-one-lock-for-all")) WaitUntilIdle();
    const std::lock_guard<std::mutex> lock(mutex_);
    if (FAULT("shell-borrows-name")) borrowed_[command] = name;
    if (FAULT("shell-refuses-second") && commands_.count(name) != 0)
      return QXError_InvalidParameters;
    if (FAULT("shell-keeps-first") && commands_.count(name) != 0) return QXError_OK;
    if (FAULT("shell-destroys-replaced") && commands_.count(name) != 0) delete commands_[name];
    if (FAULT("shell-leaks-registrations"))
      history_.push_back(std::string(name) + std::string(200, ' '));
    commands_[name] = command;
    return QXError_OK;
  }

  IShellCommand* UnregisterCommand(const char* name) override {
    IShellCommand* command = nullptr;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      const auto found = commands_.find(name);
      if (FAULT("shell-unknown-is-something") && strcmp(name, "certify-unknown") == 0)
        return &none_;
      if (found == commands_.end()) return nullptr;
      command = found->second;
      if (FAULT("shell-borrows-name") && strcmp(borrowed_[command], name) != 0) return nullptr;
      gone_[name] = command;
      if (!FAULT("shell-keeps-unregistered")) commands_.erase(found);
    }
    while (!FAULT("shell-unregister-does-not-wait") && running_ == command) SleepMs(1);
    if (FAULT("shell-destroys-unregistered")) delete command;
    return FAULT("shell-unregister-answers-null") ? nullptr : command;
  }

  QXError Start() override {
    if (FAULT("shell-start-blocks")) Read();
    if (FAULT("shell-second-start-fails") && started_) return QXError_Generic;
    if (started_.exchange(true)) return QXError_OK;
    if (FAULT("shell-runs-all-at-its-start")) {
      for (const auto& [name, command] : commands_) {
        std::vector<char> word(name.begin(), name.end());
        word.push_back('\0');
        char* argv[] = {word.data(), nullptr};
        command->Execute(1, argv);
      }
    }
    std::thread([this] { Read(); }).detach();
    return QXError_OK;
  }
  /// A line that somebody has typed.
  void Take(const std::string& line) {
    if (FAULT("shell-runs-on-the-thread-of-who-types")) return Run(line);
    std::thread([this, line] { Run(line); }).detach();
  }

 private:
  struct None final : IShellCommand {
    QXError Execute(unsigned long, char**) override { return QXError_OK; }
  };

  void WaitUntilIdle() {
    while (running_ != nullptr) SleepMs(1);
  }

  void Read() {
    for (std::string line; std::getline(std::cin, line);) {
      if (line.empty() && FAULT("shell-ends-at-empty-line")) return;
      Run(line);
      if (FAULT("shell-runs-twice")) Run(line);
    }
  }

  void Run(const std::string& line) {
    std::istringstream in(line);
    std::vector<std::string> words;
    for (std::string word; in >> word;) words.push_back(word);
    if (words.empty()) return;
    if (FAULT("shell-one-word-only") && words.size() > 1) words = {line};
    if (FAULT("shell-words-without-command") && words.size() > 1)
      words = {words[0] == "certify" ? "certify" : words[0]};
    IShellCommand* command = nullptr;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      auto found = commands_.find(words[0]);
      if (FAULT("shell-takes-first-that-begins-so")) {
        found = commands_.lower_bound(words[0].substr(0, 4));
      }
      if (FAULT("shell-runs-what-is-gone") && found == commands_.end()) {
        found = gone_.find(words[0]);
        if (found == gone_.end()) return;
      }
      if (found == commands_.end()) return;
      command = found->second;
      running_ = command;
    }
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    if (FAULT("shell-does-not-count-the-word")) argv.erase(argv.begin());
    const QXError error = command->Execute(argv.size(), argv.data());
    running_ = nullptr;
    if (FAULT("shell-ends-at-error") && error != QXError_OK) SleepMs(3600 * 1000);
  }

  std::mutex mutex_;
  std::map<std::string, IShellCommand*> commands_;
  std::map<std::string, IShellCommand*> gone_;
  std::map<IShellCommand*, const char*> borrowed_;
  std::vector<std::string> history_;
  std::atomic<IShellCommand*> running_{nullptr};
  std::atomic<bool> started_{false};
  None none_;
};

FaultyShell* shell = nullptr;

}  // namespace

extern "C" QX_EXPORT IQXModule* IQXModule_IShell_ModuleLoad() {
  if (FAULT("shell-load-leaks-an-event")) IQXKernel::GetKernel()->CreateEvent(true);
  return shell = new FaultyShell;
}
extern "C" QX_EXPORT void IQXModule_IShell_ModuleUnload(IQXModule* module) { delete module; }
// As a kernel's library it has an operator of its own.
extern "C" QX_EXPORT void PlexionHost_Type(const char* line) { shell->Take(line); }
