// Angles in the document are degrees; what computes with them wants radians.
#ifndef HOST_PLAYER_LOTTIE_TIMELINE_ANGLES_H_
#define HOST_PLAYER_LOTTIE_TIMELINE_ANGLES_H_

namespace plexion_host::movie {

constexpr double kPi = 3.14159265358979323846;
/// One degree in radians.
constexpr double kDegrees = kPi / 180;

}  // namespace plexion_host::movie

#endif  // HOST_PLAYER_LOTTIE_TIMELINE_ANGLES_H_
