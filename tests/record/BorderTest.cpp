// What a border writes beside the calls themselves.

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <thread>

#include "kit/record/Border.h"
#include "kit/record/RecordingReader.h"
#include "tests/core/RecordingKernel.h"

namespace plexion_record {
namespace {

TEST(BorderTest, TheLargestRecordHasRoomBehindTheNamesOfManyThreads) {
  char name[] = "/tmp/border-XXXXXX";
  ASSERT_GE(mkstemp(name), 0);
  Border border(tests::RecordingKernel::Get());
  RecorderSettings settings;
  settings.path = name;
  settings.limitBytes = uint64_t{1} << 20;
  std::string error;
  ASSERT_TRUE(border.Open(settings, error)) << error;
  for (int i = 0; i < 600; ++i) {
    std::thread([&] { border.NoteThread(std::string(80, 'n') + std::to_string(i)); }).join();
  }
  // Each chunk of the ring opens with the names, and these come right behind them.
  const std::string text(kLongestTextBytes, 'x');
  for (int i = 0; i < 100; ++i) {
    border.Put(RecordKind::kWhole, Operation::kKernelPrintf, [&](Encoder& to) {
      for (int part = 0; part < 4; ++part) to.Text(text);
    });
  }
  border.Close("the end");

  Recording recording;
  EXPECT_TRUE(recording.ReadFile(name, error)) << error;
  unlink(name);
  EXPECT_TRUE(recording.Faults().empty()) << recording.Faults().front();
  EXPECT_FALSE(recording.Gaps().empty()) << "the ring has turned";
}

}  // namespace
}  // namespace plexion_record
