// Moves properties along, and says which movements are over.
#include "host/player/application/stage/Animations.h"

#include <math.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "host/base/Check.h"
#include "host/player/application/stage/Easing.h"

namespace plexion_host::player::application {

namespace {

constexpr std::string_view kEasings[] = {"linear", "in", "out", "inout", "back", "bounce"};

uint8_t Mixed(uint8_t from, uint8_t to, double fraction) {
  const double value = from + (to - from) * fraction;
  return static_cast<uint8_t>(std::clamp(lround(value), 0L, 255L));
}

Colour Mixed(const Colour& from, const Colour& to, double fraction) {
  // Out of nothing, a colour comes as itself made transparent.
  Colour begin = from;
  if (from.none) {
    begin = to;
    begin.alpha = 0;
  }
  return {Mixed(begin.red, to.red, fraction), Mixed(begin.green, to.green, fraction),
          Mixed(begin.blue, to.blue, fraction), Mixed(begin.alpha, to.alpha, fraction), false};
}

double Bounce(double t) {
  constexpr double kStrength = 7.5625;
  constexpr double kSteps = 2.75;
  if (t < 1 / kSteps) return kStrength * t * t;
  if (t < 2 / kSteps) return kStrength * (t - 1.5 / kSteps) * (t - 1.5 / kSteps) + 0.75;
  if (t < 2.5 / kSteps) return kStrength * (t - 2.25 / kSteps) * (t - 2.25 / kSteps) + 0.9375;
  return kStrength * (t - 2.625 / kSteps) * (t - 2.625 / kSteps) + 0.984375;
}

}  // namespace

int FindEasing(std::string_view name) {
  for (int i = 0; i < static_cast<int>(std::size(kEasings)); ++i) {
    if (name == kEasings[i]) return i;
  }
  return -1;
}

double Ease(int easing, double fraction) {
  const double t = std::clamp(fraction, 0.0, 1.0);
  // Cubic curves, as designers know them; `back` overshoots by a tenth.
  const double left = 1 - t;
  switch (easing) {
    case 1:
      return t * t * t;
    case 2:
      return 1 - left * left * left;
    case 3:
      return t < 0.5 ? 4 * t * t * t : 1 - 4 * left * left * left;
    case 4:
      return 1 - left * left * (2.70158 * left - 1.70158);
    case 5:
      return Bounce(t);
    default:
      return t;
  }
}

bool Animations::Start(uint32_t element, const std::vector<AnimationTarget>& targets,
                       const AnimationTiming& timing, int token, double now) {
  for (const AnimationTarget& target : targets) {
    PLEXION_CHECK(target.property->number != nullptr || target.property->colour != nullptr,
                  "only numbers and colours can be between two values");
  }
  if (animations_.size() >= kMostAnimations) return false;
  // A newer movement of a property takes the place of an older one; the rest of that one goes on.
  for (Animation& other : animations_) {
    if (other.element != element) continue;
    auto& tracks = other.tracks;
    tracks.erase(std::remove_if(tracks.begin(), tracks.end(),
                                [&targets](const Track& track) {
                                  for (const AnimationTarget& target : targets) {
                                    if (target.property == track.target.property) return true;
                                  }
                                  return false;
                                }),
                 tracks.end());
  }
  for (auto at = animations_.begin(); at != animations_.end();) {
    if (at->element == element && at->tracks.empty()) {
      dropped_.push_back(at->token);
      at = animations_.erase(at);
    } else {
      ++at;
    }
  }
  Animation animation = {element, {}, timing, now + timing.delay, token, false};
  for (const AnimationTarget& target : targets) animation.tracks.push_back({target, 0, Colour()});
  animations_.push_back(std::move(animation));
  return true;
}

void Animations::Stop(uint32_t element) {
  for (auto at = animations_.begin(); at != animations_.end();) {
    if (at->element == element) {
      dropped_.push_back(at->token);
      at = animations_.erase(at);
    } else {
      ++at;
    }
  }
}

void Animations::StopAll() {
  for (const Animation& animation : animations_) dropped_.push_back(animation.token);
  animations_.clear();
}

void Animations::SetProgress(Element& element, const Animation& animation, double fraction) {
  const double eased = Ease(animation.timing.easing, fraction);
  for (const Track& track : animation.tracks) {
    const Property& property = *track.target.property;
    if (property.number != nullptr) {
      const double value = track.fromNumber + (track.target.number - track.fromNumber) * eased;
      // `back` may lead out of what a property allows.
      const double allowed = std::clamp(value, property.lowest, property.highest);
      // A moment that is asked for twice moves nothing.
      if (element.*property.number == allowed) continue;
      element.*property.number = allowed;
    } else {
      const auto mixed = Mixed(track.fromColour, track.target.colour, eased);
      if (element.*property.colour == mixed) continue;
      element.*property.colour = mixed;
    }
    stage_.Touch(element, property);
  }
}

std::vector<int> Animations::Advance(double now) {
  std::vector<std::pair<double, int>> over;
  for (auto at = animations_.begin(); at != animations_.end();) {
    Element* element = stage_.FindByHandle(at->element);
    if (element == nullptr) {
      dropped_.push_back(at->token);
      at = animations_.erase(at);
      continue;
    }
    if (now < at->begins) {
      ++at;
      continue;
    }
    // It begins where the property is when the delay is over, not where it was when it was asked
    // for.
    if (!at->started) {
      at->started = true;
      for (Track& track : at->tracks) {
        const Property& property = *track.target.property;
        if (property.number != nullptr) track.fromNumber = element->*property.number;
        if (property.colour != nullptr) track.fromColour = element->*property.colour;
      }
    }
    const double ends = at->begins + at->timing.duration;
    const bool finished = now >= ends;
    SetProgress(*element, *at, finished ? 1 : (now - at->begins) / at->timing.duration);
    if (!finished) {
      ++at;
      continue;
    }
    over.emplace_back(ends, at->token);
    at = animations_.erase(at);
  }
  // A late frame may find many at their end; their functions hear of it in the order of time.
  std::stable_sort(over.begin(), over.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<int> tokens;
  tokens.reserve(over.size());
  for (const auto& each : over) tokens.push_back(each.second);
  return tokens;
}

std::vector<int> Animations::TakeDropped() { return std::exchange(dropped_, {}); }

double Animations::NextMoment(double now) const {
  double next = std::numeric_limits<double>::infinity();
  for (const Animation& animation : animations_) {
    next = std::min(next, std::max(now, animation.begins));
  }
  return next;
}

}  // namespace plexion_host::player::application
