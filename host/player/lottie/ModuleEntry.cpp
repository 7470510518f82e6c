// The entry points of the module "IMovieEngine".
#include "host/contracts/HostModule.h"
#include "host/player/lottie/MovieModule.h"

PLEXION_HOST_MODULE(IMovieEngine, plexion_host::player::MovieModule)
