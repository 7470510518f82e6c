#ifndef HOST_SYSTEM_LOCALEUTILS_H_
#define HOST_SYSTEM_LOCALEUTILS_H_

#include <mutex>
#include <string>

#include "qx/platform/ILocaleUtils.h"

namespace plexion_host {

/// Language of the process. Only the category of messages can be set: numbers are read and written
/// all over the process in the form that "C" has, and must stay so.
class LocaleUtils final : public qx::platform::ILocaleUtils {
 public:
  const char* SetLocale(int category, const char* locale) override;

 private:
  std::mutex mutex_;  // guards name_, and the process's locale against ourselves
  std::string name_;
};

}  // namespace plexion_host

#endif  // HOST_SYSTEM_LOCALEUTILS_H_
