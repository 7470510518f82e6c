#ifndef QX_PLATFORM_ISYSTEMDRIVER_H_
#define QX_PLATFORM_ISYSTEMDRIVER_H_

#include "qx/core/IQXModule.h"

class QXString;

namespace qx {
namespace platform {

/// Facts about the device, module "ISystemDriver". Thread: any.
class ISystemDriver : public IQXModule {
 public:
  /// Replaces `name` with the current user's login name, made fit for one path component; empty
  /// when there is none.
  virtual void GetCurrentUserName(QXString& name) = 0;
};

}  // namespace platform
}  // namespace qx

#endif  // QX_PLATFORM_ISYSTEMDRIVER_H_
