#ifndef HOST_PLAYER_LOTTIE_MOVIEVALUES_H_
#define HOST_PLAYER_LOTTIE_MOVIEVALUES_H_

#include <algorithm>
#include <string>

#include "host/player/lottie/MovieDocument.h"

/// Reading the values of a movie's document. An object may hold a name more than once; whoever
/// checks looks at every one of them.
namespace plexion_host::player {

using MovieMember = MovieValue::Member;

bool NameIs(const MovieMember& member, const char* name);
bool TextIs(const MovieValue& value, const char* text);
/// The last value of that name, as the renderer reads it; null when there is none.
const MovieValue* Find(const MovieValue& object, const char* name);

/// A number as people write it: 24, 29.97.
std::string Shown(double number);
/// A text in quotes, shortened when it is long.
std::string Quoted(const MovieValue& text);

// Values that may be animated: {"k": 3}, {"k": [{"t": 0, "s": [3], "e": [5]}, ...]}.

/// The highest number that the value has at any time; never below 0.
double Highest(const MovieValue& value);
double Lowest(const MovieValue& value);
/// The largest factor by which a transform enlarges what it applies to; never below 1.
double ScaleOf(const MovieValue& transform);

/// Keeps easing curves from overshooting by more than `limit`, wherever there are keyframes.
void BoundEasing(MovieValue& value, double limit);

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_LOTTIE_MOVIEVALUES_H_
