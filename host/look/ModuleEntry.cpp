// The entry points of the module "IHostLook".
#include "host/contracts/HostModule.h"
#include "host/look/LookServer.h"

PLEXION_HOST_MODULE(IHostLook, plexion_host::LookServer)
