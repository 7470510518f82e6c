// Records from a content's process: whatever comes, what is let through is within its limits.

#include "host/player/remote/Answers.h"

#include <cmath>
#include <cstring>

#include "fuzz/FuzzInput.h"
#include "host/base/Text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace plexion_host::player;
  using namespace plexion_host::player::remote;
  constexpr qx::plexion::Dims kPlane = {640, 360};
  while (size > 0) {
    Record sent;
    const size_t bytes = size < sizeof sent ? size : sizeof sent;
    std::memcpy(static_cast<void*>(&sent), data, bytes);
    data += bytes;
    size -= bytes;
    Record record;
    CopyRecord(sent, record);
    Require(TextOf(record).size() <= kMostText, "a text lies in its record");

    std::string fault;
    ContentFacts facts;
    if (ReadLoaded(record, facts, fault)) {
      Require(std::isfinite(facts.framesPerSecond) && facts.framesPerSecond >= 0, "a rate");
    } else {
      Require(!fault.empty(), "a refusal says why");
    }
    DrawResult drawn;
    uint64_t next = 0;
    if (ReadDrawn(record, kPlane, drawn, next, fault)) {
      Require(uint64_t{drawn.dirty.x} + drawn.dirty.width <= kPlane.width, "within the plane");
      Require(uint64_t{drawn.dirty.y} + drawn.dirty.height <= kPlane.height, "within the plane");
      Require(plexion_host::IsUtf8(drawn.failure), "a text for logs");
    }
    StepResult step;
    ReadAdvanced(record, step, fault);
    std::string answer;
    if (ReadProtected(record, answer, fault)) {
      Require(plexion_host::IsUtf8(answer), "a text for logs");
    }
    if (ReadSought(record, answer, fault)) {
      Require(plexion_host::IsUtf8(answer), "a text for people");
    }
    EngineError error;
    if (ReadError(record, error, fault)) {
      Require(qx::plexion::IsTerminalStatus(error.status), "an error ends the content");
      Require(error.status != qx::plexion::kStatusComplete, "and is one");
    }
    Event event;
    if (ReadEvent(record, event, fault)) {
      Require(event.percent <= 100, "progress has an end");
      Require(plexion_host::IsUtf8(event.error.message), "a text for logs");
    }
  }
  return 0;
}
