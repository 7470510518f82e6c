// Who is connected to the page, and who goes when another one comes.

#ifndef HOST_LOOK_PLACES_H_
#define HOST_LOOK_PLACES_H_

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace plexion_host {

/// The places for connections. There are few, and a client that sends or reads a byte now and then
/// would keep one for ever: so whoever comes takes the place of the one that has waited longest for
/// the end of a request. A page that asks all the time is never that one.
///
/// Thread   one.
class Places {
 public:
  using Clock = std::chrono::steady_clock;
  using Id = const void*;

  Places(size_t most, size_t mostFromOneAddress)
      : most_(most), mostFromOneAddress_(mostFromOneAddress) {}

  /// Returns  who is to go for it, who stays in the list until Leave; none while there is room.
  std::optional<int> Enter(Id id, int socket, const std::string& address, Clock::time_point now);
  /// A request has been answered whole.
  void Answered(Id id, Clock::time_point now);
  void Leave(Id id);

 private:
  struct Place {
    Id id;
    int socket;
    std::string address;
    Clock::time_point since;
    bool going = false;
  };
  size_t CountOf(const std::string& address) const;

  const size_t most_;
  const size_t mostFromOneAddress_;
  std::vector<Place> places_;
};

}  // namespace plexion_host

#endif  // HOST_LOOK_PLACES_H_
