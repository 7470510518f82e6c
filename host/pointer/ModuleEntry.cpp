// Entry points of the module IMouseStream.

#include "host/contracts/HostModule.h"
#include "host/pointer/MouseStream.h"

PLEXION_HOST_MODULE(IMouseStream, plexion_host::MouseStream)
