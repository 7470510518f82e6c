#ifndef QX_PLATFORM_IUSERINPUTDRIVER_H_
#define QX_PLATFORM_IUSERINPUTDRIVER_H_

#include "qx/core/IQXModule.h"

namespace qx {
namespace platform {

/// Remote control, keyboard and pointer, module "IUserInputDriver". Being acquired is all that the
/// service asks of it: while at least one user holds it, the driver delivers input to the service's
/// dispatch operations.
class IUserInputDriver : public IQXModule {};

}  // namespace platform
}  // namespace qx

#endif  // QX_PLATFORM_IUSERINPUTDRIVER_H_
