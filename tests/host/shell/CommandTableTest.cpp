// Commands by name: registering, running, completing.

#include <gmock/gmock.h>

#include <atomic>
#include <thread>

#include "host/shell/CommandTable.h"
#include "tests/host/shell/ShellHost.h"

namespace plexion_host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class CommandTableTest : public testing::Test {
 protected:
  CommandTableTest() { table_.SetConsole(&TestKernel().GetConsole()); }
  CommandTable table_;
  EchoCommand command_;
};

TEST_F(CommandTableTest, HandsTheOutputToWhoeverTyped) {
  table_.Register("say", &command_);
  const CommandTable::Outcome outcome = table_.Run("say 'two words' x");
  EXPECT_TRUE(outcome.succeeded);
  EXPECT_EQ(outcome.output, "[say][two words][x]\n");
  EXPECT_TRUE(table_.Run("  # nothing").succeeded);
  EXPECT_EQ(table_.Unregister("say"), &command_);
  EXPECT_EQ(table_.Unregister("say"), nullptr);
  EXPECT_EQ(table_.Unregister(nullptr), nullptr);
}

TEST_F(CommandTableTest, RefusesARegistrationWithoutNameOrObject) {
  EXPECT_TRUE(table_.Register(nullptr, &command_) == QXError_InvalidParameters);
  EXPECT_TRUE(table_.Register("", &command_) == QXError_InvalidParameters);
  EXPECT_TRUE(table_.Register("say", nullptr) == QXError_InvalidParameters);
}

TEST_F(CommandTableTest, TakesTheLastPrintedLineAsTheReasonOfAFailure) {
  table_.Register("say", &command_);
  command_.result = QXError_Usage;
  command_.message = "say: expected a word";
  CommandTable::Outcome outcome = table_.Run("say");
  EXPECT_FALSE(outcome.succeeded);
  EXPECT_EQ(outcome.output, "[say]\n");
  EXPECT_EQ(outcome.reason, "say: expected a word");

  struct Silent : qx::platform::IShellCommand {
    QXError Execute(unsigned long, char**) override { return QXError_NotFound; }
  } silent;
  table_.Register("silent", &silent);
  EXPECT_EQ(table_.Run("silent").reason, "silent failed with QXError_NotFound");
}

TEST_F(CommandTableTest, NamesWhatIsThereForAnUnknownWord) {
  table_.Register("say", &command_);
  EXPECT_EQ(table_.Run("sya hello").reason, "unknown command 'sya'; there are help, say");
  EXPECT_EQ(table_.Run("help sya").reason, "help: there is no command 'sya'; there are help, say");
  EXPECT_EQ(table_.Run("say 'x").reason, "the quote ' at column 5 has no partner");
  EXPECT_THAT(command_.GetRuns(), IsEmpty());
}

TEST_F(CommandTableTest, HelpDescribesWhatIsRegistered) {
  table_.Register("say", &command_);
  table_.Register("other", &command_);
  table_.Describe("say", {"say WORD...", "says it", {}});
  table_.Describe("absent", {"absent", "is not registered", {}});
  EXPECT_EQ(table_.Run("help").output,
            "help [COMMAND]  says what can be typed\n"
            "other\n"
            "say WORD...     says it\n");
  EXPECT_EQ(table_.Run("help say").output, "say WORD...  says it\n");
}

TEST_F(CommandTableTest, CompletesCommandsAndFirstArguments) {
  for (const char* name : {"hide", "hello", "key"}) table_.Register(name, &command_);
  table_.Describe("key", {"key NAME", "", [] {
                            return std::vector<std::string>{"red", "right", "left"};
                          }});
  EXPECT_THAT(table_.Complete("h"), ElementsAre("hello", "help", "hide"));
  EXPECT_THAT(table_.Complete("key r"), ElementsAre("red", "right"));
  EXPECT_THAT(table_.Complete("key red r"), IsEmpty());
  EXPECT_THAT(table_.Complete("help k"), ElementsAre("key"));
  EXPECT_THAT(table_.Complete("x"), IsEmpty());
  EXPECT_THAT(table_.Complete("key 'r"), IsEmpty());
}

TEST_F(CommandTableTest, UnregisteringWaitsForARunningExecution) {
  Gate entered;
  Gate leave;
  std::atomic<bool> returned{false};
  command_.during = [&] {
    entered.Open();
    leave.Wait();
    returned = true;
  };
  table_.Register("slow", &command_);
  std::thread runner([&] { table_.Run("slow"); });
  ASSERT_TRUE(entered.Wait());
  // Other words come and go meanwhile.
  EchoCommand other;
  table_.Register("other", &other);
  EXPECT_EQ(table_.Unregister("other"), &other);
  EXPECT_FALSE(returned);

  std::thread opener([&] { leave.Open(); });
  EXPECT_EQ(table_.Unregister("slow"), &command_);
  EXPECT_TRUE(returned);
  runner.join();
  opener.join();
}

TEST_F(CommandTableTest, ReplacingWaitsForARunningExecutionOfTheOldOne) {
  Gate entered;
  Gate leave;
  std::atomic<bool> returned{false};
  command_.during = [&] {
    entered.Open();
    leave.Wait();
    returned = true;
  };
  table_.Register("slow", &command_);
  std::thread runner([&] { table_.Run("slow"); });
  ASSERT_TRUE(entered.Wait());
  EchoCommand other;
  std::thread opener([&] { leave.Open(); });
  table_.Register("slow", &other);
  EXPECT_TRUE(returned);
  runner.join();
  opener.join();
  EXPECT_EQ(table_.Unregister("slow"), &other);
}

TEST_F(CommandTableTest, ACommandMayUnregisterItself) {
  command_.during = [&] { EXPECT_EQ(table_.Unregister("once"), &command_); };
  table_.Register("once", &command_);
  EXPECT_TRUE(table_.Run("once").succeeded);
  EXPECT_THAT(table_.Run("once").reason, HasSubstr("unknown command 'once'"));
}

TEST_F(CommandTableTest, RunsOneCommandAtATime) {
  std::atomic<int> inside{0};
  std::atomic<bool> overlapped{false};
  command_.during = [&] {
    if (++inside > 1) overlapped = true;
    std::this_thread::yield();
    --inside;
  };
  table_.Register("busy", &command_);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int n = 0; n < 50; ++n) table_.Run("busy");
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_FALSE(overlapped);
  EXPECT_EQ(command_.GetRuns().size(), 200u);
}

TEST_F(CommandTableTest, ALineThatMayNotWaitIsWaitedForByWhoeverUnregisters) {
  table_.Expect("go");
  EXPECT_FALSE(table_.TryRun("go")->succeeded) << "it does not wait for the word";
  Gate entered;
  Gate leave;
  std::atomic<bool> returned{false};
  command_.during = [&] {
    std::thread([&] { EXPECT_FALSE(table_.TryRun("help").has_value()); }).join();  // nor its turn
    entered.Open();
    leave.Wait();
    returned = true;
  };
  table_.Register("go", &command_);
  std::thread runner([&] { EXPECT_TRUE(table_.TryRun("go now")->succeeded); });
  ASSERT_TRUE(entered.Wait());
  std::thread opener([&] { leave.Open(); });
  EXPECT_EQ(table_.Unregister("go"), &command_);
  EXPECT_TRUE(returned);
  runner.join();
  opener.join();
}

TEST_F(CommandTableTest, ALineWaitsForAnExpectedWord) {
  table_.Expect("go");
  CommandTable::Outcome outcome;
  std::thread typist([&] { outcome = table_.Run("go now"); });
  EXPECT_TRUE(table_.Run("help").succeeded);  // others are not held up
  table_.Register("go", &command_);
  typist.join();
  EXPECT_EQ(outcome.output, "[go][now]\n");
  // Once it was there and is gone again, it is a word like any other.
  table_.Unregister("go");
  EXPECT_FALSE(table_.Run("go").succeeded);
}

TEST_F(CommandTableTest, StoppingEndsTheWaitForAnExpectedWord) {
  table_.Expect("go");
  CommandTable::Outcome outcome;
  std::thread typist([&] { outcome = table_.Run("go"); });
  table_.Stop();
  typist.join();
  EXPECT_THAT(outcome.reason, HasSubstr("unknown command 'go'"));
}

}  // namespace
}  // namespace plexion_host
