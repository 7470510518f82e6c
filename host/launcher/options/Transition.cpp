// Reads a transition from a command line.
#include "host/launcher/options/Transition.h"

#include <algorithm>
#include <iterator>

#include "host/base/Text.h"

namespace plexion_host {
namespace {

/// The place of `word` among `names`; as many as there are when it is none of them.
template <size_t kCount>
size_t PlaceOf(const std::string& word, const char* const (&names)[kCount]) {
  return static_cast<size_t>(std::find(names, names + kCount, word) - names);
}

}  // namespace

std::string ReadTransition(const std::string& text, Transition& transition) {
  const char* const expected =
      "cut, fade, push or wipe, with a duration in milliseconds and a direction if wanted: "
      "push,700,up";
  const std::vector<std::string> words = SplitAt(text, ',');
  const size_t kind = PlaceOf(words[0], kTransitionNames);
  if (kind == std::size(kTransitionNames) || words.size() > 3) return expected;
  Transition read;
  read.kind = static_cast<Transition::Kind>(kind + 1);
  if (read.kind != Transition::Kind::kCut) read.durationMs = Transition::kUsualMs;
  if (words.size() > 1) {
    const auto ms = ReadWholeNumber(words[1], 0, Transition::kLongestMs);
    if (!ms) return expected;
    read.durationMs = *ms;
  }
  if (words.size() > 2) {
    const size_t direction = PlaceOf(words[2], kDirectionNames);
    if (direction == std::size(kDirectionNames)) return expected;
    read.direction = static_cast<Transition::Direction>(direction);
  }
  transition = read;
  return {};
}

}  // namespace plexion_host
