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

}  // namespace
}  // namespace plexion_host
