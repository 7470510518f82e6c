// Recordings as anybody could have written them: read, told, drawn; and texts with secrets in them.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "kit/record/RecordingReader.h"
#include "kit/record/Secrets.h"
#include "sim/replay/Drawing.h"
#include "sim/replay/Story.h"

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  plexion_record::Recording recording;
  std::string error;
  if (recording.Read(std::vector<uint8_t>(data, data + size), error)) {
    plexion_sim::WriteStory(recording, true, [](const std::string& line) {
      // Nothing of a recording may steer a terminal.
      for (const char each : line)
        Require(static_cast<unsigned char>(each) >= 0x20 && each != 0x7F);
    });
    plexion_sim::DrawRecording(recording);
  } else {
    Require(!error.empty());
  }
  // What was hidden keeps its length, and is hidden for good.
  const std::string text(reinterpret_cast<const char*>(data), size < 4096 ? size : 4096);
  plexion_record::Secrets secrets;
  const std::string hidden = secrets.Hide(text);
  Require(hidden.size() == text.size());
  Require(secrets.Hide(hidden).size() == text.size());
  return 0;
}
