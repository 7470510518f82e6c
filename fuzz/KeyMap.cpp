// Any text as a key map: refused with its line, or taken whole.

#include "host/input/KeyMap.h"

#include "fuzz/FuzzInput.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  plexion_host::KeyMap fresh;
  plexion_host::KeyMap map;
  std::string error;
  const bool taken = map.Parse(text, "keys", error);
  Require(taken == error.empty(), "an error, or none");
  if (!taken) {
    Require(error.compare(0, 5, "keys:") == 0, "the error names file and line: " + error);
    // A refused map changes nothing.
    for (int32_t key = 0; key < 128; ++key) Require(map.Map(key, 0) == fresh.Map(key, 0), "kept");
  } else {
    plexion_host::KeyMap twice;
    Require(twice.Parse(text, "keys", error) && twice.Parse(text, "keys", error),
            "a map may be read on top of itself");
    for (int32_t key = 0; key < 128; ++key) Require(map.Map(key, 0) == twice.Map(key, 0), "same");
  }
  return 0;
}
