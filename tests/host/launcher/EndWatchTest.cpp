// The end of the process, asked for nicely and by force. In processes of their own: signals and ends
// would reach the test program.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>

#include "host/launcher/process/EndWatch.h"

namespace plexion_host {
namespace {

using std::chrono::milliseconds;
using testing::ExitedWithCode;

std::vector<std::string> Nothing() { return {}; }
int CodeFive() { return 5; }

class EndWatchTest : public ::testing::TestWithParam<int> {
 protected:
  void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_P(EndWatchTest, TheFirstSignalAsksForTheEnd) {
  EXPECT_EXIT(
      {
        EndWatch::BlockSignals();
        EndWatch watch;
        watch.Start([] { _exit(7); }, Nothing, CodeFive);
        kill(getpid(), GetParam());
        while (true) pause();
      },
      ExitedWithCode(7), "");
}

TEST_P(EndWatchTest, TheSecondOneEndsTheProcess) {
  EXPECT_EXIT(
      {
        EndWatch::BlockSignals();
        EndWatch watch;
        const int number = GetParam();
        // Ends nothing; when it is asked, the impatient person presses again.
        watch.Start([number] { kill(getpid(), number); }, Nothing, CodeFive);
        kill(getpid(), number);
        while (true) pause();
      },
      ExitedWithCode(128 + GetParam()), "");
}

INSTANTIATE_TEST_SUITE_P(Signals, EndWatchTest, ::testing::Values(SIGINT, SIGTERM, SIGHUP));

TEST_F(EndWatchTest, WhatDoesNotStopIsNamedAndLeft) {
  const std::string path = testing::TempDir() + "end-" + std::to_string(getpid());
  EXPECT_EXIT(
      {
        const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
        bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof(address));
        EndWatch watch;
        watch.Start([] {}, [] { return std::vector<std::string>{"a.gif", "b\033[2J"}; }, CodeFive);
        watch.SetSocket(path);
        watch.SetCleanUp([] { write(STDERR_FILENO, "cleaned", 7); });
        watch.EndWithin(milliseconds(1));
        while (true) pause();
      },
      ExitedWithCode(5), "ended by force; this did not stop: a.gif, b.x1B.2J\ncleaned");
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(EndWatchTest, TheEarliestEndCountsAndTheStepIsNamedWhenNoContentIsLeft) {
  EXPECT_EXIT(
      {
        EndWatch watch;
        watch.Start([] {}, Nothing, CodeFive);
        watch.SetStep("the display");
        watch.EndWithin(milliseconds(1));
        watch.EndWithin(std::chrono::hours(1));
        while (true) pause();
      },
      ExitedWithCode(5), "this did not stop: the display");
}

TEST_F(EndWatchTest, ARunThatEndsInTimeIsLeftAlone) {
  EndWatch watch;
  watch.Start([] {}, Nothing, CodeFive);
  watch.EndWithin(std::chrono::hours(1));
}

}  // namespace
}  // namespace plexion_host
