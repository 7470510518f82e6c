#include "host/contracts/HostModule.h"
#include "host/pointer/MouseStream.h"

PLEXION_HOST_MODULE(IMouseStream, plexion_host::MouseStream)
