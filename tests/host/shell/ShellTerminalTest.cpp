// The prompt on a terminal.

#include <gmock/gmock.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <fstream>

#include "host/shell/Shell.h"
#include "tests/host/shell/ShellHost.h"

/// What the editor's library keeps for good, once for each editor: the names of added functions,
/// and a terminal's reset text.
extern "C" const char* __lsan_default_suppressions() { return "leak:wcsdup\nleak:_nc_trim_sgr0\n"; }

namespace plexion_host {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/// A shell at a pseudo-terminal of 80 columns, and the person in front of it.
class ShellTerminalTest : public testing::Test {
 protected:
  ShellTerminalTest() {
    setenv("TERM", "xterm", 1);
    setenv("XDG_STATE_HOME", state_.operator/("state").c_str(), 1);
    winsize size{24, 80, 0, 0};
    EXPECT_EQ(openpty(&person_, &terminal_, nullptr, nullptr, &size), 0);
    EXPECT_EQ(tcgetattr(terminal_, &before_), 0);
    SendConsoleTo(terminal_);
  }
  ~ShellTerminalTest() override {
    shell_.reset();
    if (person_ >= 0) close(person_);
    close(terminal_);
  }

  void StartShell() {
    shell_ = std::make_unique<Shell>(terminal_, terminal_);
    shell_->RegisterCommand("say", &say_);
    shell_->RegisterCommand("sail", &sail_);
    shell_->Start();
    screen_ = std::make_unique<Listener>(person_);
    EXPECT_THAT(screen_->ReadUntil(kPrompt), EndsWith(kPrompt));
  }
  void Type(const std::string& keys) {
    EXPECT_EQ(write(person_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
  }

  static constexpr const char* kPrompt = "plexion> ";
  TestFolder state_;
  int person_ = -1;
  int terminal_ = -1;
  termios before_{};
  EchoCommand say_;
  EchoCommand sail_;
  std::unique_ptr<Shell> shell_;
  std::unique_ptr<Listener> screen_;
};

TEST_F(ShellTerminalTest, PromptsRunsAndPromptsAgain) {
  StartShell();
  Type("say hello\r");
  EXPECT_THAT(screen_->ReadUntil("[say][hello]\r\n"), HasSubstr("say hello"));
  EXPECT_THAT(screen_->ReadUntil(kPrompt), EndsWith(kPrompt));
}

TEST_F(ShellTerminalTest, EditsTheLineInPlace) {
  StartShell();
  // Typed, then mended: to the beginning, "say " in front, one letter deleted at the end.
  Type("worlds\001say \005\177\r");
  ASSERT_TRUE(say_.WaitForRuns(1));
  EXPECT_THAT(say_.GetRuns()[0], ElementsAre("say", "world"));
}

TEST_F(ShellTerminalTest, TakesTextBeyondAscii) {
  StartShell();
  Type("say gr\xC3\xBC\xC3\x9F dich\r");
  ASSERT_TRUE(say_.WaitForRuns(1));
  EXPECT_THAT(say_.GetRuns()[0], ElementsAre("say", "gr\xC3\xBC\xC3\x9F", "dich"));
}

TEST_F(ShellTerminalTest, RecallsEarlierLinesAlsoOfAnEarlierRun) {
  StartShell();
  Type("say one\r");
  ASSERT_TRUE(say_.WaitForRuns(1));
  shell_.reset();
  StartShell();
  Type("\033[A\r");
  ASSERT_TRUE(say_.WaitForRuns(2));
  EXPECT_THAT(say_.GetRuns()[1], ElementsAre("say", "one"));
}

TEST_F(ShellTerminalTest, CompletesAWordAndListsWhatItCouldBe) {
  StartShell();
  Type("say\t\tx\r");  // one candidate: completed with a blank; then nothing to complete
  ASSERT_TRUE(say_.WaitForRuns(1));
  EXPECT_THAT(say_.GetRuns()[0], ElementsAre("say", "x"));
  screen_->ReadUntil("[say][x]");
  Type("s\t");  // up to what the candidates share, then the list
  Type("\t");
  EXPECT_THAT(screen_->ReadUntil("sail  say\r\n"), EndsWith("sail  say\r\n"));
  Type("y\r");
  EXPECT_TRUE(say_.WaitForRuns(2));
}

TEST_F(ShellTerminalTest, OutputOfOthersAppearsAboveTheLineBeingTyped) {
  StartShell();
  Type("say ha");
  screen_->ReadUntil("ha");
  TestKernel().Printf("news\n");
  // The row is cleared, the news written, prompt and line drawn again.
  EXPECT_THAT(screen_->ReadUntil("news\r\n"), EndsWith("\r\033[Jnews\r\n"));
  EXPECT_THAT(screen_->ReadUntil("say ha"), EndsWith("plexion> say ha"));
  Type("lf\r");
  ASSERT_TRUE(say_.WaitForRuns(1));
  EXPECT_THAT(say_.GetRuns()[0], ElementsAre("say", "half"));
}

TEST_F(ShellTerminalTest, OutputInPiecesStaysWhole) {
  StartShell();
  Type("say ha");
  screen_->ReadUntil("ha");
  TestKernel().Printf("news of %s", "today");
  TestKernel().Printf(" and more\n");
  EXPECT_THAT(screen_->ReadUntil("more\r\n"), EndsWith("\r\033[Jnews of today and more\r\n"));
  EXPECT_THAT(screen_->ReadUntil("say ha"), EndsWith("plexion> say ha"));
  // A key brings the line back, below what is unfinished.
  TestKernel().Printf("to be continued");
  screen_->ReadUntil("continued");
  Type("lf");
  EXPECT_THAT(screen_->ReadUntil("lf"), StartsWith("\r\nplexion> say ha"));
  Type("\r");
  ASSERT_TRUE(say_.WaitForRuns(1));
  EXPECT_THAT(say_.GetRuns()[0], ElementsAre("say", "half"));
}

TEST_F(ShellTerminalTest, ALineOverSeveralRowsIsClearedWhole) {
  StartShell();
  Type("say " + std::string(150, 'x') + "end");
  screen_->ReadUntil("end");
  TestKernel().Printf("news\n");
  EXPECT_THAT(screen_->ReadUntil("news\r\n"), EndsWith("\r\033[2A\033[Jnews\r\n"));
  screen_->ReadUntil("end");
}

TEST_F(ShellTerminalTest, EndOfInputAtThePromptTellsHowToQuit) {
  StartShell();
  Type("\004");
  EXPECT_THAT(screen_->ReadUntil("ends Plexion.\r\n"), HasSubstr("\"quit\" ends Plexion."));
  Type("say\r");
  EXPECT_TRUE(say_.WaitForRuns(1));
}

TEST_F(ShellTerminalTest, TheTerminalIsAsBeforeWhenTheShellEnds) {
  StartShell();
  Type("half a line");
  screen_->ReadUntil("line");
  termios during{};
  ASSERT_EQ(tcgetattr(terminal_, &during), 0);
  EXPECT_EQ(during.c_lflag & ICANON, 0u);
  shell_.reset();
  termios after{};
  ASSERT_EQ(tcgetattr(terminal_, &after), 0);
  EXPECT_EQ(after.c_lflag, before_.c_lflag);
  EXPECT_EQ(after.c_iflag, before_.c_iflag);
  EXPECT_EQ(after.c_oflag, before_.c_oflag);
  TestKernel().Printf("on its own line\n");
  EXPECT_THAT(screen_->ReadUntil("own line"), EndsWith("\r\non its own line"));
}

TEST_F(ShellTerminalTest, SurvivesTheTerminalGoingAway) {
  StartShell();
  close(person_);
  person_ = -1;
  TestKernel().Printf("to nobody\n");
  EXPECT_EQ(shell_->UnregisterCommand("say"), &say_);
  shell_.reset();
}

TEST_F(ShellTerminalTest, ATerminalWithoutEscapesGetsNone) {
  setenv("TERM", "dumb", 1);
  StartShell();
  Type("say ha");
  screen_->ReadUntil("ha");
  TestKernel().Printf("news\n");
  EXPECT_THAT(screen_->ReadUntil("news\r\n"), Not(HasSubstr("\033")));
}

}  // namespace
}  // namespace plexion_host
