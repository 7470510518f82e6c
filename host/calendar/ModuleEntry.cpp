// The entry points of the module "ICalendar".
#include "host/calendar/Calendar.h"
#include "host/contracts/HostModule.h"

PLEXION_HOST_MODULE(ICalendar, plexion_host::Calendar)
