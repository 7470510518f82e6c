// Registers, runs and completes commands.

#include "host/shell/CommandTable.h"

#include <algorithm>
#include <chrono>

#include "host/base/Check.h"
#include "host/base/CommandWords.h"
#include "host/base/Text.h"
#include "host/shell/LineBuffer.h"

namespace plexion_host {

using qx::platform::IShellCommand;

namespace {

constexpr const char* kHelp = "help";

/// How long a line waits for an expected word. The word comes as soon as the service has made its
/// windows, so this only ends the wait for a run that never gets there.
constexpr std::chrono::seconds kExpectationLimit{30};

/// Takes the last line off `text`: a command that fails says last why.
std::string TakeLastLine(std::string& text) {
  while (!text.empty() && text.back() == '\n') text.pop_back();
  const size_t end = text.rfind('\n');
  const size_t start = end == std::string::npos ? 0 : end + 1;
  const std::string line = text.substr(start);
  text.erase(start);
  return line;
}

}  // namespace

void CommandTable::SetConsole(IHostConsole* console) {
  const MutexLock lock(mutex_);
  console_ = console;
}

QXError CommandTable::Register(const char* name, IShellCommand* command) {
  if (name == nullptr || *name == '\0' || command == nullptr) return QXError_InvalidParameters;
  MutexLock lock(mutex_);
  IShellCommand*& slot = commands_[name];
  const IShellCommand* const replaced = slot;
  slot = command;
  const auto expected = expected_.find(name);
  if (expected != expected_.end()) expected->second = true;
  changed_.NotifyAll();
  // The contract: once this returns, nothing of the old command is called any more, and its owner
  // may destroy it.
  if (replaced != nullptr && replaced != command) WaitUntilNotRunning(lock, replaced);
  return QXError_OK;
}

IShellCommand* CommandTable::Unregister(const char* name) {
  if (name == nullptr) return nullptr;
  MutexLock lock(mutex_);
  const auto found = commands_.find(name);
  if (found == commands_.end()) return nullptr;
  IShellCommand* const command = found->second;
  commands_.erase(found);
  WaitUntilNotRunning(lock, command);
  return command;
}

void CommandTable::WaitUntilNotRunning(MutexLock& lock, const IShellCommand* command) {
  changed_.Wait(lock, [&]() REQUIRES(mutex_) {
    // A command that takes itself off would wait for its own end.
    return running_ != command || runner_ == std::this_thread::get_id();
  });
}

void CommandTable::Describe(const std::string& name, const CommandDescription& description) {
  const MutexLock lock(mutex_);
  descriptions_[name] = description;
}

void CommandTable::Expect(const std::string& name) {
  const MutexLock lock(mutex_);
  expected_.emplace(name, commands_.count(name) > 0);
}

void CommandTable::Stop() {
  const MutexLock lock(mutex_);
  stopped_ = true;
  changed_.NotifyAll();
}

CommandTable::Outcome CommandTable::RefuseLongLine() {
  return {false, true, std::string(),
          "the line is longer than " + std::to_string(LineBuffer::kMaxLineBytes) + " bytes"};
}

CommandTable::Outcome CommandTable::Run(const std::string& line) {
  std::vector<std::string> words;
  std::string error;
  if (!SplitCommandWords(line, words, error)) return {false, true, std::string(), error};
  if (words.empty()) return Outcome();
  {
    MutexLock lock(mutex_);
    changed_.WaitFor(lock, kExpectationLimit, [&]() REQUIRES(mutex_) {
      const auto expected = expected_.find(words[0]);
      return stopped_ || expected == expected_.end() || expected->second;
    });
  }
  // One command at a time, in whatever order prompt and clients come: commands of modules were
  // never written for two.
  const std::lock_guard<std::mutex> turn(turn_);
  return Execute(words);
}

std::optional<CommandTable::Outcome> CommandTable::TryRun(const std::string& line) {
  std::vector<std::string> words;
  std::string error;
  if (!SplitCommandWords(line, words, error)) return Outcome{false, true, std::string(), error};
  if (words.empty()) return Outcome();
  // Not waited for: the caller may be what the running command waits for.
  const std::unique_lock<std::mutex> turn(turn_, std::try_to_lock);
  if (!turn.owns_lock()) return std::nullopt;
  return Execute(words);
}

CommandTable::Outcome CommandTable::Execute(std::vector<std::string>& words) {
  PLEXION_CHECK(!words.empty(), "a line without a word is no command");
  std::vector<char*> argv;
  argv.reserve(words.size() + 1);
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);

  IShellCommand* command = nullptr;
  IHostConsole* console = nullptr;
  {
    const MutexLock lock(mutex_);
    const auto found = commands_.find(words[0]);
    if (found != commands_.end()) command = found->second;
    console = console_;
    // Noted under the same lock that found it: Unregister either sees it run, or it is not found.
    running_ = command;
    runner_ = std::this_thread::get_id();
  }
  if (command == nullptr) return words[0] == kHelp ? Help(words) : Unknown(words[0]);

  // What the command prints goes to who typed it, not to the console of the device.
  if (console != nullptr) console->BeginCapture();
  const QXError error = command->Execute(words.size(), argv.data());
  Outcome outcome;
  if (console != nullptr) outcome.output = console->EndCapture();
  {
    const MutexLock lock(mutex_);
    running_ = nullptr;
    changed_.NotifyAll();
  }
  if (error != QXError_OK) {
    outcome.succeeded = false;
    outcome.misused = error == QXError_Usage;
    outcome.reason = TakeLastLine(outcome.output);
    if (outcome.reason.empty()) outcome.reason = words[0] + " failed with " + error.name;
  } else if (!outcome.output.empty() && outcome.output.back() != '\n') {
    outcome.output += '\n';
  }
  return outcome;
}

CommandTable::Outcome CommandTable::Unknown(const std::string& word) {
  const MutexLock lock(mutex_);
  return {false, true, std::string(),
          "unknown command '" + word + "'; there are " + Join(NamesLocked())};
}

std::vector<std::string> CommandTable::NamesLocked() const {
  std::vector<std::string> names;
  for (const auto& [name, command] : commands_) names.push_back(name);
  if (commands_.count(kHelp) == 0) names.emplace_back(kHelp);
  std::sort(names.begin(), names.end());
  return names;
}

CommandTable::Outcome CommandTable::Help(const std::vector<std::string>& words) {
  const MutexLock lock(mutex_);
  const std::vector<std::string> names = NamesLocked();
  if (words.size() > 2) return {false, true, std::string(), "usage: help [COMMAND]"};
  if (words.size() == 2 && std::find(names.begin(), names.end(), words[1]) == names.end()) {
    return {false, true, std::string(),
            "help: there is no command '" + words[1] + "'; there are " + Join(names)};
  }
  CommandDescription own{"help [COMMAND]", "says what can be typed", {}};
  size_t width = 0;
  std::vector<std::pair<std::string, std::string>> rows;
  for (const std::string& name : names) {
    if (words.size() == 2 && name != words[1]) continue;
    const auto found = descriptions_.find(name);
    const bool described = found != descriptions_.end();
    const CommandDescription& description = described ? found->second : own;
    const bool unknown = !described && name != kHelp;
    rows.emplace_back(unknown ? name : description.usage, unknown ? "" : description.summary);
    width = std::max(width, rows.back().first.size());
  }
  Outcome outcome;
  for (const auto& [usage, summary] : rows) {
    outcome.output += usage;
    if (!summary.empty()) outcome.output += std::string(width + 2 - usage.size(), ' ') + summary;
    outcome.output += '\n';
  }
  return outcome;
}

std::vector<std::string> CommandTable::Complete(const std::string& line) {
  const size_t start = LastWordStart(line);
  const std::string prefix = line.substr(start);
  std::vector<std::string> before;
  std::string error;
  if (!SplitCommandWords(line.substr(0, start), before, error)) return {};

  std::vector<std::string> candidates;
  std::function<std::vector<std::string>()> source;
  {
    const MutexLock lock(mutex_);
    if (before.empty() || (before.size() == 1 && before[0] == kHelp)) {
      candidates = NamesLocked();
    } else if (before.size() == 1) {
      const auto described = descriptions_.find(before[0]);
      if (described != descriptions_.end()) source = described->second.firstArguments;
    }
  }
  // Outside of the lock: it asks the service for names of windows.
  if (source) candidates = source();
  candidates.erase(std::remove_if(candidates.begin(), candidates.end(),
                                  [&](const std::string& candidate) {
                                    return candidate.compare(0, prefix.size(), prefix) != 0;
                                  }),
                   candidates.end());
  std::sort(candidates.begin(), candidates.end());
  return candidates;
}

}  // namespace plexion_host
