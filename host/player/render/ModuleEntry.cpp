// The entry points of the module "IContentRenderer".
#include "host/contracts/HostModule.h"
#include "host/player/render/ContentRenderer.h"

PLEXION_HOST_MODULE(IContentRenderer, plexion_host::player::ContentRenderer)
