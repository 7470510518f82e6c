// What the elements of an application cost to draw.
#ifndef HOST_PLAYER_APPLICATION_PAINT_ELEMENTCOSTS_H_
#define HOST_PLAYER_APPLICATION_PAINT_ELEMENTCOSTS_H_

#include <stdint.h>

#include <functional>
#include <string>
#include <unordered_map>
#include <utility>

#include "host/player/application/stage/Element.h"

namespace plexion_host::player::application {

/// Adds up where the time of an application's moments goes, for --tracefps. Off it costs a look at a
/// flag for each element.
///
/// Units    nanoseconds of processor time.
/// Thread   the application's.
class ElementCosts {
 public:
  /// `clock` tells the time; without one nothing is measured.
  void Measure(std::function<int64_t()> clock) { clock_ = std::move(clock); }
  bool IsOn() const { return clock_ != nullptr; }
  int64_t Now() const { return clock_ == nullptr ? 0 : clock_(); }

  void AddElement(const Element& element, int64_t began);
  void AddScript(int64_t began);
  void AddDrawing(int64_t began);

  /// "script 0.10 ms, drawing 0.43 ms a frame; slowest: <text> "news" 0.21 ms", since the last call.
  /// Empty when nothing was drawn.
  std::string Take();

 private:
  struct Cost {
    std::string name;
    int64_t spent = 0;
  };

  std::function<int64_t()> clock_;
  std::unordered_map<uint32_t, Cost> elements_;
  int64_t script_ = 0;
  int64_t drawing_ = 0;
  uint64_t frames_ = 0;
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_PAINT_ELEMENTCOSTS_H_
