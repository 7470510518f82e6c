// The movie engine that a suite links, where a host would load a library.

#ifndef TESTS_HOST_PLAYER_LINKEDMOVIES_H_
#define TESTS_HOST_PLAYER_LINKEDMOVIES_H_

#include "host/kernel/HostKernel.h"
#include "host/player/lottie/MovieModule.h"

namespace plexion_host::player {

inline HostKernel& LinkMovies(HostKernel& kernel) {
  static MovieModule movies;
  kernel.AddBuiltIn(kMovieEngineModule, &movies);
  return kernel;
}

}  // namespace plexion_host::player

#endif  // TESTS_HOST_PLAYER_LINKEDMOVIES_H_
