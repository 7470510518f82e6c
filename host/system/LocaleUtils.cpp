// The language of the process: the module "ILocaleUtils".

#include "host/system/LocaleUtils.h"

#include <clocale>

#include "host/contracts/HostModule.h"

namespace plexion_host {

const char* LocaleUtils::SetLocale(int category, const char* locale) {
  const MutexLock lock(mutex_);
  const char* inForce = nullptr;
  // The other categories stay: numbers with commas would break what is written for machines.
  if (category == kLocaleMessages && locale != nullptr)
    inForce = std::setlocale(LC_MESSAGES, locale);
  // A locale that is not installed leaves the earlier one in force.
  if (inForce == nullptr) inForce = std::setlocale(LC_MESSAGES, nullptr);
  name_ = inForce != nullptr ? inForce : "C";
  return name_.c_str();
}

}  // namespace plexion_host

PLEXION_HOST_MODULE(ILocaleUtils, plexion_host::LocaleUtils)
