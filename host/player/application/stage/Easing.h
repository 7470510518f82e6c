// The curves that movements follow.
#ifndef HOST_PLAYER_APPLICATION_STAGE_EASING_H_
#define HOST_PLAYER_APPLICATION_STAGE_EASING_H_

#include <string_view>

namespace plexion_host::player::application {

/// Number of a timing curve by its name: linear, in, out, inout, back, bounce. -1: no such name.
int FindEasing(std::string_view name);
constexpr char kEasingNames[] = "linear, in, out, inout, back or bounce";
constexpr int kEaseInOut = 3;

/// How far a movement is when `fraction` (0 to 1) of its time is over. 0 to 1, but `back` goes a
/// little beyond 1 on its way.
double Ease(int easing, double fraction);

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_STAGE_EASING_H_
