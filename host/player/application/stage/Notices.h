// What of an application could not be drawn or opened, told to its observers once.
#ifndef HOST_PLAYER_APPLICATION_STAGE_NOTICES_H_
#define HOST_PLAYER_APPLICATION_STAGE_NOTICES_H_

#include <stddef.h>

#include <set>
#include <string>

#include "host/player/Engine.h"
#include "host/player/application/stage/Element.h"

namespace plexion_host::player::application {

/// "<image> "sea.png"": an element with its source, id or first words as its name. As its author
/// wrote it; whoever prints it makes it fit for that.
std::string Describe(const Element& element);

/// Tells each notice once, however often it comes: a painter finds the same thing wrong with every
/// picture. Many different ones are told to a limit, the last of which says so.
///
/// Thread   the application's.
class Notices {
 public:
  explicit Notices(EngineHost& host) : host_(host) {}
  Notices(const Notices&) = delete;
  Notices& operator=(const Notices&) = delete;

  /// "<image> "sea.png": why", with the element's source, id or first words as its name.
  void Tell(const Element& element, const std::string& reason);
  /// `text` names what it is about.
  void Tell(const std::string& text);

 private:
  static constexpr size_t kMost = 200;

  EngineHost& host_;
  std::set<std::string> told_;
};

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_STAGE_NOTICES_H_
