// Recordings on the disk: kept whole at the beginning, turned in a ring, read back.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <memory>
#include <vector>

#include "kit/record/RecordingFile.h"
#include "kit/record/RecordingReader.h"

namespace plexion_record {
namespace {

constexpr int64_t kSecond = 1000000000;

class RecordingFileTest : public testing::Test {
 protected:
  RecordingFileTest() {
    char name[] = "/tmp/recording-XXXXXX";
    folder_ = mkdtemp(name);
    settings_.path = folder_ + "/a.rec";
    settings_.chunkBytes = kSmallestChunkBytes;
    settings_.limitBytes = 9 * kSmallestChunkBytes;
  }
  ~RecordingFileTest() override {
    unlink(settings_.path.c_str());
    rmdir(folder_.c_str());
  }

  void Write(RecordingFile& file, unsigned count, int64_t stepNs) {
    RecordHeader header{};
    header.kind = RecordKind::kWhole;
    header.operation = Operation::kKernelSleep;
    header.thread = 1;
    for (unsigned i = 0; i < count; ++i) {
      fields_->Clear();
      fields_->Text(std::string(1000, 'x'));
      header.timeNs = now_ += stepNs;
      if (file.IsChunkFull(fields_->Size())) file.NextChunk(now_);
      file.Append(header, *fields_);
    }
  }
  std::vector<uint8_t> Bytes() const {
    std::ifstream file(settings_.path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(file), {});
  }

  std::string folder_;
  RecordingFile::Settings settings_;
  std::unique_ptr<Encoder> fields_ = std::make_unique<Encoder>();
  int64_t now_ = 0;
  std::string error_;
};

TEST_F(RecordingFileTest, KeepsTheBeginningAndTheEndAndNamesTheGap) {
  RecordingFile file;
  ASSERT_TRUE(file.Open(settings_, error_)) << error_;
  Write(file, 3000, 1);
  // As a process that dies leaves it.
  Recording open;
  ASSERT_TRUE(open.ReadFile(settings_.path, error_)) << error_;
  file.Close();
  Recording closed;
  ASSERT_TRUE(closed.ReadFile(settings_.path, error_)) << error_;
  EXPECT_EQ(open.Records().size(), closed.Records().size());
  ASSERT_EQ(closed.Gaps().size(), 1u);
  const size_t gap = closed.Gaps()[0];
  EXPECT_EQ(closed.Records().front().number, 1u);
  EXPECT_EQ(closed.Records()[gap - 1].number, gap) << "the beginning is whole";
  EXPECT_GT(closed.Records()[gap].number, gap + 1);
  EXPECT_EQ(closed.Records().back().number, 3000u);
  EXPECT_TRUE(closed.Faults().empty());
  struct stat status;
  ASSERT_EQ(stat(settings_.path.c_str(), &status), 0);
  EXPECT_LE(status.st_size, static_cast<off_t>(settings_.limitBytes));
  EXPECT_EQ(status.st_mode & 0777, 0600u);
}

TEST_F(RecordingFileTest, KeepsNoMoreThanTheLastMinutes) {
  settings_.limitBytes = 100 * kSmallestChunkBytes;
  settings_.keepNs = 60 * kSecond;
  RecordingFile file;
  ASSERT_TRUE(file.Open(settings_, error_)) << error_;
  Write(file, 25 * 62, 1);  // what is kept of the beginning
  Write(file, 3000, kSecond / 10);
  file.Close();
  Recording recording;
  ASSERT_TRUE(recording.ReadFile(settings_.path, error_)) << error_;
  ASSERT_EQ(recording.Gaps().size(), 1u);
  const int64_t kept = recording.Records().back().header.timeNs -
                       recording.Records()[recording.Gaps()[0]].header.timeNs;
  EXPECT_GE(kept, 60 * kSecond);
  EXPECT_LE(kept, 90 * kSecond);
}

TEST_F(RecordingFileTest, SaysWhyItCannotBeWritten) {
  RecordingFile first;
  ASSERT_TRUE(first.Open(settings_, error_)) << error_;
  RecordingFile second;
  EXPECT_FALSE(second.Open(settings_, error_));
  EXPECT_NE(error_.find("is being written by another"), std::string::npos) << error_;
  first.Close();
  settings_.limitBytes = 1000;
  EXPECT_FALSE(second.Open(settings_, error_));
  EXPECT_NE(error_.find("room for four chunks"), std::string::npos) << error_;
  settings_.limitBytes = 9 * kSmallestChunkBytes;
  const std::string path = settings_.path;
  settings_.path = "/dev/null";
  EXPECT_FALSE(second.Open(settings_, error_));
  EXPECT_NE(error_.find("is no file"), std::string::npos) << error_;
  settings_.path = path + ".link";
  ASSERT_EQ(symlink(path.c_str(), settings_.path.c_str()), 0);
  EXPECT_FALSE(second.Open(settings_, error_)) << "a link leads where another wants";
  unlink(settings_.path.c_str());
  settings_.path = path;
}

TEST_F(RecordingFileTest, ReadsWhateverAnEnemyWrote) {
  RecordingFile file;
  ASSERT_TRUE(file.Open(settings_, error_)) << error_;
  Write(file, 200, 1);
  file.Close();
  const std::vector<uint8_t> whole = Bytes();
  const auto put = [](std::vector<uint8_t>& bytes, size_t at, uint64_t value, size_t count) {
    std::memcpy(bytes.data() + at, &value, count);
  };
  const size_t chunk = kFileHeaderBytes;
  const size_t record = chunk + sizeof(ChunkHeader);
  const struct {
    const char* what;
    size_t at;
    uint64_t value;
    size_t bytes;
    const char* said;  // null: it is refused
  } kChanges[] = {
      {"no chunks of that size", 12, 1, 4, nullptr},
      {"no such version", 8, 9, 4, nullptr},
      {"more is used than there is", chunk + 4, 0xFFFFFFFF, 4, "are used"},
      {"an endless record", record, 0xFFFFFFFF, 4, "it has 4294967295 bytes"},
      {"an empty record", record, 0, 4, "it has 0 bytes"},
      {"a kind that there is not", record + 4, 9, 1, "a kind that"},
      {"an operation that there is not", record + 6, 0xFFFF, 2, "an operation that there is not"},
      {"a whole call into the module", record + 6, static_cast<uint64_t>(Operation::kWindowPlay), 2,
       "a kind that"},
      {"a field that is none", record + sizeof(RecordHeader), 0xEE, 1, "that is none"},
      {"a chunk far away", chunk + 16, UINT64_MAX, 8, "does not follow"},
  };
  for (const auto& each : kChanges) {
    std::vector<uint8_t> bytes = whole;
    put(bytes, each.at, each.value, each.bytes);
    Recording recording;
    const bool read = recording.Read(bytes, error_);
    if (each.said == nullptr) {
      EXPECT_FALSE(read) << each.what;
      continue;
    }
    ASSERT_FALSE(recording.Faults().empty()) << each.what;
    EXPECT_NE(recording.Faults()[0].find(each.said), std::string::npos)
        << each.what << ": " << recording.Faults()[0];
  }
  for (size_t length = 0; length < whole.size(); length += 997) {
    Recording recording;
    recording.Read(std::vector<uint8_t>(whole.begin(), whole.begin() + length), error_);
    for (const Record& each : recording.Records()) DescribeAll(each.Fields());
  }
}

}  // namespace
}  // namespace plexion_record
