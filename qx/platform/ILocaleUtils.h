#ifndef QX_PLATFORM_ILOCALEUTILS_H_
#define QX_PLATFORM_ILOCALEUTILS_H_

#include "qx/core/IQXModule.h"

namespace qx {
namespace platform {

/// Language and formatting of the process, module "ILocaleUtils". Thread: any.
class ILocaleUtils : public IQXModule {
 public:
  /// Category codes. The service sets kLocaleMessages.
  enum : int { kLocaleMessages = 5 };

  /// Sets `locale` ("en_US.UTF-8") for the category.
  /// Returns  the name of the locale now in force; never null, valid until the next call.
  virtual const char* SetLocale(int category, const char* locale) = 0;
};

}  // namespace platform
}  // namespace qx

#endif  // QX_PLATFORM_ILOCALEUTILS_H_
