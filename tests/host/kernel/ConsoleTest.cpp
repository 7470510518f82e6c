#include <thread>
#include <vector>

#include "host/kernel/Console.h"
#include "tests/host/kernel/KernelFixture.h"

namespace plexion_host {
namespace {

class ConsoleTest : public KernelFixture {};

TEST_F(ConsoleTest, PrintsWithThePrintfConventionsOfTheService) {
  // The service hands 64-bit values to "%d" and "%ld".
  kernel_->Printf("%s %d %ld %lu%%\n", "a", int64_t{1234}, int64_t{5000000000}, 7UL);
  EXPECT_EQ("a 1234 5000000000 7%\n", output_.Read());
}

TEST_F(ConsoleTest, PrintsTextLongerThanItsBufferWhole) {
  const std::string text(5000, 'x');
  kernel_->Printf("[%s]", text.c_str());
  EXPECT_EQ("[" + text + "]", output_.Read());
}

TEST_F(ConsoleTest, KeepsTheLinesOfTwoThreadsApart) {
  constexpr int kLines = 300;
  const auto print = [this](char letter) {
    for (int i = 0; i < kLines; ++i) kernel_->Printf("%s\n", std::string(40, letter).c_str());
  };
  std::thread first(print, 'a');
  std::thread second(print, 'b');
  first.join();
  second.join();
  int lines = 0;
  const std::string text = output_.Read();
  for (size_t i = 0; i < text.size(); i += 41, ++lines) {
    ASSERT_EQ(std::string(40, text[i]) + "\n", text.substr(i, 41));
  }
  EXPECT_EQ(2 * kLines, lines);
}

TEST_F(ConsoleTest, CapturesOnlyTheThreadThatAskedForIt) {
  auto* const console = static_cast<IHostConsole*>(kernel_->AcquireModule("IHostConsole"));
  ASSERT_NE(nullptr, console);
  console->BeginCapture();
  kernel_->Printf("kept %d", 1);
  std::thread([this] { kernel_->Printf("written"); }).join();
  EXPECT_EQ("kept 1", console->EndCapture());
  kernel_->Printf(" after");
  EXPECT_EQ("written after", output_.Read());
  EXPECT_EQ("", console->EndCapture());
}

TEST_F(ConsoleTest, CallsTheHooksAroundEachPieceOfOutput) {
  // A hook may print itself, and is not called around that.
  kernel_->GetConsole().SetTerminalHooks(
      [](void* context) { static_cast<HostKernel*>(context)->Printf("<"); },
      [](void* context) { static_cast<HostKernel*>(context)->Printf(">"); }, kernel_.get());
  kernel_->Printf("one\n");
  kernel_->GetConsole().BeginCapture();
  kernel_->Printf("captured");
  kernel_->GetConsole().EndCapture();
  kernel_->GetConsole().SetTerminalHooks(nullptr, nullptr, nullptr);
  kernel_->Printf("two\n");
  EXPECT_EQ("<one\n>two\n", output_.Read());
}

TEST_F(ConsoleTest, LetsNothingThroughThatSteersATerminal) {
  kernel_->Printf("\033]0;title\007 %s\n", "\xC3\xA4\x9B");
  EXPECT_EQ("\\x1B]0;title\\x07 \xC3\xA4\\x9B\n", output_.Read());
  kernel_->GetConsole().PrintError("a\rb\n");
  EXPECT_EQ("a\\x0Db\n", errors_.Read());
  kernel_->GetConsole().BeginCapture();
  kernel_->Printf("\033c");
  EXPECT_EQ("\\x1Bc", kernel_->GetConsole().EndCapture()) << "a socket's reader has a terminal too";
}

TEST_F(ConsoleTest, NobodyWaitsForAReaderThatDoesNotRead) {
  int ends[2];
  ASSERT_EQ(0, pipe(ends));  // blocking, as a launcher's standard output is
  constexpr size_t kLine = 1000;
  constexpr size_t kLines = 3000;  // three times what is kept
  std::string text;
  {
    Console console(ends[1], errors_.WriteEnd());
    for (size_t i = 0; i < kLines; ++i) console.Print(std::string(kLine - 1, 'x') + "\n");
    console.PrintError("still heard\n");
    EXPECT_EQ("still heard\n", errors_.Read());
    std::thread reader([&] {
      char buffer[65536];
      for (ssize_t n; (n = read(ends[0], buffer, sizeof(buffer))) > 0;) {
        text.append(buffer, static_cast<size_t>(n));
      }
    });
    console.Flush(std::chrono::minutes(1));
    close(ends[1]);
    reader.join();
  }
  close(ends[0]);
  const size_t told = text.find("plexion: ");
  ASSERT_NE(std::string::npos, told);
  EXPECT_EQ(0U, told % kLine) << "whole lines are kept or dropped";
  EXPECT_GE(told, Console::kMaxKept - kLine);
  EXPECT_EQ("plexion: " + std::to_string(kLines * kLine - told) +
                " bytes of output are left out here: nobody read them in time\n",
            text.substr(told));
}

}  // namespace
}  // namespace plexion_host
