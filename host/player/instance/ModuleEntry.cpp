// The entry points of the modules "IMorvelRuntimeLib" and "IHostPlayer".
#include "host/contracts/HostModule.h"
#include "host/player/instance/PlayerBoard.h"
#include "host/player/instance/PlayerRuntime.h"

PLEXION_HOST_MODULE(IMorvelRuntimeLib, plexion_host::player::PlayerRuntime)
PLEXION_HOST_MODULE(IHostPlayer, plexion_host::player::PlayerCommands)
