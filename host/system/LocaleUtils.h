// The language of the process: the module "ILocaleUtils".

#ifndef HOST_SYSTEM_LOCALEUTILS_H_
#define HOST_SYSTEM_LOCALEUTILS_H_

#include <string>

#include "host/base/Mutex.h"
#include "qx/platform/ILocaleUtils.h"

namespace plexion_host {

/// Language of the process. Only the category of messages can be set: numbers are read and written
/// all over the process in the form that "C" has, and must stay so.
class LocaleUtils final : public qx::platform::ILocaleUtils {
 public:
  const char* SetLocale(int category, const char* locale) override;

 private:
  Mutex mutex_;  // also guards the process's locale against ourselves
  std::string name_ GUARDED_BY(mutex_);
};

}  // namespace plexion_host

#endif  // HOST_SYSTEM_LOCALEUTILS_H_
