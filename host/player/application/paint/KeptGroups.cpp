// Follows how groups move and what in them changes.
#include "host/player/application/paint/KeptGroups.h"

#include <string.h>

#include <iterator>

namespace plexion_host::player::application {

namespace {

/// A single step is no movement.
constexpr unsigned kLeastMoves = 3;
/// Of pictures in which it stood: other things on the stage may move twice as often.
constexpr unsigned kMostRests = 2;

uint64_t Hashed(uint64_t hash, uint64_t value) {
  hash = (hash ^ value) * 0x9E3779B97F4A7C15U;
  return hash ^ (hash >> 29);
}

uint64_t Hashed(uint64_t hash, double value) {
  uint64_t bits = 0;
  memcpy(&bits, &value, sizeof bits);
  return Hashed(hash, bits);
}

/// What a group does to the picture of what is in it, but for where it stands.
uint64_t ShapeOf(const Element& element, uint64_t around) {
  for (const double value : {element.scale, element.rotation, element.opacity}) {
    around = Hashed(around, value);
  }
  return Hashed(around, uint64_t{element.visible ? 1U : 0U});
}

}  // namespace

uint64_t KeptGroups::Visit(const Element& element, uint64_t shape) {
  shape = ShapeOf(element, shape);
  uint64_t content = Hashed(Hashed(shape, uint64_t{element.handle}), element.revision);
  for (const auto& child : element.children) {
    // Where a child stands in its group is part of the group's picture.
    content = Hashed(Hashed(content, Visit(*child, shape)), child->moves);
  }
  if (element.children.empty()) return content;
  History& history = groups_[element.handle];
  const bool isNew = history.round == 0;
  if (isNew || history.content != content) {
    history.moves = 0;
  } else if (history.place != element.moves) {
    ++history.moves;
    history.rests = 0;
  } else if (++history.rests >= kMostRests) {
    // Its picture may lie beside its place, which is seen of what stands.
    history.moves = 0;
  }
  history.content = content;
  history.place = element.moves;
  history.round = round_;
  return content;
}

void KeptGroups::Look(const Stage& stage) {
  ++round_;
  Visit(stage.Backdrop(), 0);
  if (stage.CurrentScene() != nullptr) Visit(*stage.CurrentScene(), 0);
  Visit(stage.Overlay(), 0);
  for (auto at = groups_.begin(); at != groups_.end();) {
    at = at->second.round == round_ ? std::next(at) : groups_.erase(at);
  }
}

bool KeptGroups::IsKept(const Element& group) const {
  const auto found = groups_.find(group.handle);
  return found != groups_.end() && found->second.moves >= kLeastMoves;
}

}  // namespace plexion_host::player::application
