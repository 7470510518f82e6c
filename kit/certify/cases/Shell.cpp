// Promises of the operator's shell.

#include <pthread.h>

#include <cstring>
#include <mutex>
#include <vector>

#include "kit/certify/Bench.h"
#include "kit/certify/Case.h"
#include "kit/certify/Groups.h"
#include "kit/certify/bench/ModuleUnderTest.h"
#include "qx/platform/IShell.h"

namespace plexion_certify {
namespace {

using qx::platform::IShell;
using qx::platform::IShellCommand;

/// A command that notes how it was run. Nobody but the case destroys it.
class Command final : public IShellCommand {
 public:
  explicit Command(Case& c) : c_(c) {}
  ~Command() override { destroyed = true; }
  QXError Execute(unsigned long argc, char** argv) override {
    ++running;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      words_.clear();
      for (unsigned long i = 0; i < argc; ++i)
        words_.push_back(argv[i] != nullptr ? argv[i] : "(null)");
      thread = pthread_self();
      stack = reinterpret_cast<const char*>(&argc);
    }
    ++runs;
    if (heldMs > 0) c_.SleepMs(heldMs);
    --running;
    return answer;
  }
  std::string Words() {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::string text;
    for (const std::string& word : words_) text += (text.empty() ? "" : "|") + word;
    return text;
  }
  std::atomic<int> runs{0}, running{0}, heldMs{0};
  std::atomic<bool> destroyed{false};
  pthread_t thread{};
  const char* stack = nullptr;
  QXError answer = QXError_OK;

 private:
  Case& c_;
  std::mutex mutex_;
  std::vector<std::string> words_;
};

/// Types a line, and skips the case where there is no way to.
void Type(Case& c, const std::string& line) {
  c.Step("typing \"" + line + "\"");
  if (!c.GetBench().Type(line)) c.Skip("there is no way to type at this shell");
}

bool Ran(Case& c, Command& command, int runs) {
  return c.Until([&] { return command.runs >= runs; }, 3000);
}

void Registers(Case& c) {
  auto& shell = ModuleUnderTest<IShell>(c, "IShell");
  auto* const command = new Command(c);
  c.Step("RegisterCommand and UnregisterCommand");
  const QXError error = shell.RegisterCommand("certify", command);
  CERTIFY_REQUIRE(c, error == QXError_OK, "QXError_OK", error.name);
  IShellCommand* const back = shell.UnregisterCommand("certify");
  CERTIFY_REQUIRE(c, back == command, "the command object from UnregisterCommand",
                  back == nullptr ? "null" : "another");
  CERTIFY_REQUIRE(c, !command->destroyed, "the shell never destroys a command", "it did");
  CERTIFY_REQUIRE(c, shell.UnregisterCommand("certify") == nullptr, "null for a name that is gone",
                  "an object");
}

void Unknown(Case& c) {
  auto& shell = ModuleUnderTest<IShell>(c, "IShell");
  c.Step("UnregisterCommand of an unknown name");
  CERTIFY_REQUIRE(c, shell.UnregisterCommand("certify-unknown") == nullptr, "null", "an object");
}

void Replaces(Case& c) {
  auto& shell = ModuleUnderTest<IShell>(c, "IShell");
  auto *const first = new Command(c), *const second = new Command(c);
  shell.RegisterCommand("certify", first);
  c.Step("registering a second command under one name");
  const QXError error = shell.RegisterCommand("certify", second);
  CERTIFY_REQUIRE(c, error == QXError_OK, "QXError_OK", error.name);
  CERTIFY_REQUIRE(c, !first->destroyed, "the first one not destroyed", "it was");
  CERTIFY_REQUIRE(c, shell.UnregisterCommand("certify") == second,
                  "the second one in the place of the first", "another");
  CERTIFY_REQUIRE(c, shell.UnregisterCommand("certify") == nullptr, "one command for a name",
                  "a second one");
}

void Starts(Case& c) {
  auto& shell = ModuleUnderTest<IShell>(c, "IShell");
  for (int i = 0; i < 3; ++i) {
    c.Step("Start, which must not block");
    const QXError error = shell.Start();
    CERTIFY_REQUIRE(c, error == QXError_OK, "QXError_OK, again also when it has begun already",
                    error.name);
  }
}

/// A shell that has begun to read, with one command.
struct Reading {
  explicit Reading(Case& c) : shell(ModuleUnderTest<IShell>(c, "IShell")), command(new Command(c)) {
    shell.RegisterCommand("certify", command);
    const QXError error = shell.Start();
    CERTIFY_REQUIRE(c, error == QXError_OK, "QXError_OK from Start", error.name);
  }
  IShell& shell;
  Command* command;
};

void Executes(Case& c) {
  Reading reading(c);
  Type(c, "certify");
  CERTIFY_REQUIRE(c, Ran(c, *reading.command, 1), "the command runs when its word is typed",
                  "it did not within three seconds");
  CERTIFY_REQUIRE(c, reading.command->Words() == "certify", "argc 1 and argv[0] the command's word",
                  reading.command->Words());
  c.SleepMs(50);  // a second run would come after the first
  if (reading.command->runs != 1)
    c.Fail("one run for one line", Text("%d", reading.command->runs.load()));
}

void Words(Case& c) {
  Reading reading(c);
  Type(c, "certify one two three");
  CERTIFY_REQUIRE(c, Ran(c, *reading.command, 1), "the command runs",
                  "it did not within three seconds");
  CERTIFY_REQUIRE(c, reading.command->Words() == "certify|one|two|three",
                  "the words certify|one|two|three", reading.command->Words());
}

void NameCopied(Case& c) {
  auto& shell = ModuleUnderTest<IShell>(c, "IShell");
  auto* const command = new Command(c);
  char name[] = "certify";
  shell.RegisterCommand(name, command);
  strcpy(name, "another");
  c.Step("UnregisterCommand after the text of the name has changed");
  CERTIFY_REQUIRE(c, shell.UnregisterCommand("certify") == command,
                  "the command by the name that it was registered by: it is copied", "null");
}

void OneOfMany(Case& c) {
  Reading reading(c);
  auto* const other = new Command(c);
  reading.shell.RegisterCommand("certify2", other);
  Type(c, "certify2");
  CERTIFY_REQUIRE(c, Ran(c, *other, 1), "the command of that whole word",
                  "it did not run within three seconds");
  CERTIFY_REQUIRE(c, reading.command->runs == 0, "no other command", "another one ran");
}

void GoesOn(Case& c) {
  Reading reading(c);
  reading.command->answer = QXError_Generic;
  Type(c, "certify");
  CERTIFY_REQUIRE(c, Ran(c, *reading.command, 1), "the command runs",
                  "it did not within three seconds");
  Type(c, "no-such-command");
  Type(c, "");
  Type(c, "certify again");
  CERTIFY_REQUIRE(c, Ran(c, *reading.command, 2),
                  "the shell reads on after an error, an unknown word and an empty line",
                  "the next command did not run within three seconds");
}

void GoneIsGone(Case& c) {
  Reading reading(c);
  auto* const other = new Command(c);
  reading.shell.RegisterCommand("certify2", other);
  reading.shell.UnregisterCommand("certify");
  Type(c, "certify");
  Type(c, "certify2");
  CERTIFY_REQUIRE(c, Ran(c, *other, 1), "the next command runs", "it did not within three seconds");
  CERTIFY_REQUIRE(c, reading.command->runs == 0, "no execution of a command that was unregistered",
                  "it ran");
}

void UnregisterWaits(Case& c) {
  Reading reading(c);
  reading.command->heldMs = 250;
  Type(c, "certify");
  CERTIFY_REQUIRE(c, c.Until([&] { return reading.command->running > 0; }, 3000),
                  "the command runs", "it did not within three seconds");
  c.Step("UnregisterCommand while the command runs");
  reading.shell.UnregisterCommand("certify");
  CERTIFY_REQUIRE(c, reading.command->running == 0,
                  "it returns when the execution under way has returned", "it returned before");
}

void RegisterWhileRunning(Case& c) {
  Reading reading(c);
  reading.command->heldMs = 1500;
  Type(c, "certify");
  CERTIFY_REQUIRE(c, c.Until([&] { return reading.command->running > 0; }, 3000),
                  "the command runs", "it did not within three seconds");
  c.Step("RegisterCommand and UnregisterCommand of another while one runs");
  auto* const other = new Command(c);
  reading.shell.RegisterCommand("certify2", other);
  reading.shell.UnregisterCommand("certify2");
  CERTIFY_REQUIRE(c, reading.command->running > 0,
                  "others need not wait for an execution under way", "they waited for its end");
}

void OwnThread(Case& c) {
  Reading reading(c);
  const char here = 0;
  Type(c, "certify");
  CERTIFY_REQUIRE(c, Ran(c, *reading.command, 1), "the command runs while nobody calls the shell",
                  "it did not within three seconds");
  // A kernel with a scheduler of its own has several stacks on one thread of the system.
  const ptrdiff_t deeper = &here - reading.command->stack;
  const bool ours = pthread_equal(reading.command->thread, pthread_self()) != 0;
  CERTIFY_REQUIRE(c, !ours || deeper < 0 || deeper > 60000,
                  "the command runs on the shell's thread", "it ran on the thread of who types");
}

void Thousands(Case& c) {
  auto& shell = ModuleUnderTest<IShell>(c, "IShell");
  auto* const command = new Command(c);
  c.Step("10,000 registrations");
  long before = 0;
  for (int i = 0; i < 10000; ++i) {
    if (i == 500) before = ResidentBytes();
    shell.RegisterCommand("certify-with-a-rather-long-name", command);
    CERTIFY_REQUIRE(c, shell.UnregisterCommand("certify-with-a-rather-long-name") == command,
                    "the command", "another");
  }
  const long grown = ResidentBytes() - before;
  CERTIFY_REQUIRE(c, grown < (1L << 19), "registrations leave nothing behind",
                  Text("the process grew by %ld KiB", grown >> 10));
}

constexpr Promise kShellPromises[] = {
    {"shell.registers",
     "A command that is unregistered comes back, and is never destroyed by the shell.",
     Level::kBasic, "", Registers},
    {"shell.unknown", "An unknown name is null.", Level::kContract, "", Unknown},
    {"shell.replaces", "A second registration of a name takes the place of the first.",
     Level::kContract, "shell.registers", Replaces},
    {"shell.name-copied", "The name is copied.", Level::kContract, "shell.registers", NameCopied},
    {"shell.starts", "Start does not block, and may be called again.", Level::kBasic, "", Starts},
    {"shell.executes", "A word that is typed runs its command, once.", Level::kBasic,
     "shell.registers shell.starts", Executes},
    {"shell.own-thread", "Commands run while nobody calls the shell.", Level::kContract,
     "shell.executes", OwnThread},
    {"shell.words", "The command is handed the words that were typed.", Level::kContract,
     "shell.executes", Words},
    {"shell.whole-word", "A command answers to its whole name.", Level::kContract, "shell.executes",
     OneOfMany},
    {"shell.goes-on", "Errors, unknown words and empty lines do not end the shell.",
     Level::kContract, "shell.executes", GoesOn},
    {"shell.gone", "A command that was unregistered does not run.", Level::kContract,
     "shell.executes", GoneIsGone},
    {"shell.unregister-waits", "UnregisterCommand waits for an execution that is under way.",
     Level::kContract, "shell.executes", UnregisterWaits},
    {"shell.others-go-on", "Other commands come and go while one runs.", Level::kContract,
     "shell.executes", RegisterWhileRunning},
    {"shell.thousands", "10,000 registrations leave nothing behind.", Level::kFull,
     "shell.registers", Thousands},
};

}  // namespace

PromiseGroup ShellPromises() {
  return MakeGroup("Shell", "qx/platform/IShell.h",
                   "Typed at standard input, or through `PlexionHost_Type` of the kernel's "
                   "library. The window that waits\n"
                   "for \"go\" destroys its command right after UnregisterCommand.",
                   kShellPromises);
}

}  // namespace plexion_certify
