// Who is connected to the page, and who goes when another one comes.
#include "host/look/Places.h"

#include <algorithm>

namespace plexion_host {

size_t Places::CountOf(const std::string& address) const {
  return static_cast<size_t>(std::count_if(places_.begin(), places_.end(), [&](const Place& place) {
    return !place.going && place.address == address;
  }));
}

std::optional<int> Places::Enter(Id id, int socket, const std::string& address,
                                 Clock::time_point now) {
  const auto staying = std::count_if(places_.begin(), places_.end(),
                                     [](const Place& place) { return !place.going; });
  const bool full = static_cast<size_t>(staying) >= most_;
  const bool ofOne = CountOf(address) >= mostFromOneAddress_;
  Place* longest = nullptr;
  size_t mostOfOne = 0;
  if (full || ofOne) {
    for (Place& place : places_) {
      if (place.going || (ofOne && place.address != address)) continue;
      // Where the house is full, of those who have the most places: nobody puts the others out.
      const size_t count = CountOf(place.address);
      const bool before = longest == nullptr || count > mostOfOne ||
                          (count == mostOfOne && place.since < longest->since);
      if (!before) continue;
      longest = &place;
      mostOfOne = count;
    }
  }
  std::optional<int> goes;
  if (longest != nullptr) {
    // It keeps its entry until the library has closed it, and counts no more.
    longest->going = true;
    goes = longest->socket;
  }
  places_.push_back({id, socket, address, now});
  return goes;
}

void Places::Answered(Id id, Clock::time_point now) {
  for (Place& place : places_) {
    if (place.id == id) place.since = now;
  }
}

void Places::Leave(Id id) {
  places_.erase(std::remove_if(places_.begin(), places_.end(),
                               [id](const Place& place) { return place.id == id; }),
                places_.end());
}

}  // namespace plexion_host
