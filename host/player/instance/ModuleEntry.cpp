// The entry points of the module "IMorvelRuntimeLib".
#include "host/contracts/HostModule.h"
#include "host/player/instance/PlayerRuntime.h"

PLEXION_HOST_MODULE(IMorvelRuntimeLib, plexion_host::player::PlayerRuntime)
