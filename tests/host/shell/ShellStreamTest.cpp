// Commands from pipes and files.

#include <gmock/gmock.h>
#include <unistd.h>

#include <chrono>

#include "host/shell/Shell.h"
#include "tests/host/shell/ShellHost.h"

namespace plexion_host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class ShellStreamTest : public testing::Test {
 protected:
  ShellStreamTest() {
    setenv("XDG_STATE_HOME", (state_ / "state").c_str(), 1);
    EXPECT_EQ(pipe(input_), 0);
    EXPECT_EQ(pipe(output_), 0);
    SendConsoleTo(output_[1]);
    shell_ = std::make_unique<Shell>(input_[0], output_[1]);
    shell_->RegisterCommand("say", &say_);
  }
  ~ShellStreamTest() override {
    shell_.reset();
    for (const int fd : {input_[0], input_[1], output_[0], output_[1]}) {
      if (fd >= 0) close(fd);
    }
  }
  void Send(const std::string& text) {
    EXPECT_EQ(write(input_[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }
  void EndInput() {
    close(input_[1]);
    input_[1] = -1;
  }

  TestFolder state_;
  int input_[2] = {-1, -1};
  int output_[2] = {-1, -1};
  EchoCommand say_;
  std::unique_ptr<Shell> shell_;
};

TEST_F(ShellStreamTest, RunsTheLinesOfAPipeAndPrintsTheirOutput) {
  Listener console(output_[0]);
  EXPECT_TRUE(shell_->Start() == QXError_OK);
  EXPECT_TRUE(shell_->Start() == QXError_OK);
  Send("say 1\nbad\nsay '\n");
  EXPECT_EQ(console.ReadUntil("partner\n"),
            "[say][1]\n"
            "unknown command 'bad'; there are help, say\n"
            "the quote ' at column 5 has no partner\n");
}

TEST_F(ShellStreamTest, TheLastLineNeedsNoEndAndTheEndOfInputEndsOnlyTheReading) {
  Send("say 1\nsay 2");
  EndInput();
  shell_->Start();
  ASSERT_TRUE(say_.WaitForRuns(2));
  EXPECT_THAT(say_.GetRuns()[1], ElementsAre("say", "2"));
  EchoCommand late;
  EXPECT_TRUE(shell_->RegisterCommand("late", &late) == QXError_OK);
  EXPECT_EQ(shell_->UnregisterCommand("late"), &late);
}

TEST_F(ShellStreamTest, ACommandMayBeRegisteredAfterTheStart) {
  shell_->Start();
  EchoCommand late;
  shell_->RegisterCommand("late", &late);
  Send("late\n");
  EXPECT_TRUE(late.WaitForRuns(1));
  EXPECT_EQ(shell_->UnregisterCommand("late"), &late);
}

TEST_F(ShellStreamTest, DoesWithoutStandardInput) {
  Shell closed(-1, -1);
  EXPECT_TRUE(closed.Start() == QXError_OK);
  EXPECT_TRUE(closed.RegisterCommand("say", &say_) == QXError_OK);
}

TEST_F(ShellStreamTest, ServesTheSocketWithoutReadingStandardInput) {
  std::string error;
  ASSERT_TRUE(shell_->Listen(state_ / "socket", "", error)) << error;
  EXPECT_FALSE(shell_->Listen(state_ / "second", "", error));
  EXPECT_THAT(error, HasSubstr("serves a socket already"));
  Send("say\n");
  shell_.reset();
  EXPECT_TRUE(say_.GetRuns().empty());
}

TEST_F(ShellStreamTest, EndsAtOnceWhileItWaitsForInput) {
  std::string error;
  ASSERT_TRUE(shell_->Listen(state_ / "socket", "", error)) << error;
  shell_->Start();
  Send("say\n");
  ASSERT_TRUE(say_.WaitForRuns(1));
  const auto before = std::chrono::steady_clock::now();
  shell_.reset();
  const auto took = std::chrono::steady_clock::now() - before;
  RecordProperty("shutdown_us", static_cast<int>(took / std::chrono::microseconds(1)));
  // It takes well under a millisecond; a machine that is busy may take longer.
  EXPECT_LT(took, std::chrono::seconds(2));
}

}  // namespace
}  // namespace plexion_host
