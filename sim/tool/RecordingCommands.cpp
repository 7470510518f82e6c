// The commands that read recordings.

#include "sim/tool/RecordingCommands.h"

#include <cstdio>
#include <fstream>

#include "sim/replay/Drawing.h"
#include "sim/replay/Replay.h"
#include "sim/replay/Story.h"

namespace plexion_sim {

using plexion_record::Recording;

namespace {

constexpr int kEqual = 0;
constexpr int kDifferent = 1;
constexpr int kUsage = 2;
constexpr int kUnreadable = 3;

bool Open(const std::string& path, Recording& recording) {
  std::string error;
  if (recording.ReadFile(path, error)) return true;
  std::fprintf(stderr, "plexion-sim: %s\n", error.c_str());
  return false;
}

}  // namespace

int ShowRecording(const std::string& path, bool all, const std::string& html) {
  Recording recording;
  if (!Open(path, recording)) return kUnreadable;
  if (!html.empty()) {
    std::ofstream file(html, std::ios::binary);
    file << DrawRecording(recording);
    file.close();
    if (file) return kEqual;
    std::fprintf(stderr, "plexion-sim: cannot write '%s'\n", html.c_str());
    return kUsage;
  }
  WriteStory(recording, all, [](const std::string& line) { std::printf("%s\n", line.c_str()); });
  return kEqual;
}

int ReplayRecordingFile(const std::string& path, const std::string& module, bool ignoreMemory) {
  Recording recording;
  if (!Open(path, recording)) return kUnreadable;
  ReplayOptions options;
  options.module = module;
  options.ignoreMemory = ignoreMemory;
  const ReplayResult result = ReplayRecording(recording, options);
  std::printf("%s", result.report.c_str());
  switch (result.outcome) {
    case ReplayResult::Outcome::kEqual:
      return kEqual;
    case ReplayResult::Outcome::kDifferent:
      return kDifferent;
    case ReplayResult::Outcome::kNoModule:
      return kUsage;
    case ReplayResult::Outcome::kUnreadable:
      break;
  }
  return kUnreadable;
}

}  // namespace plexion_sim
