#ifndef QX_PLEXION_STAGEWINDOWSET_H_
#define QX_PLEXION_STAGEWINDOWSET_H_

#include "qx/core/QXArray.h"

namespace qx {
namespace plexion {

class StageWindow;

/// The windows of one command line. The host owns the set, the service owns the windows in it: they
/// are destroyed through IPlexion::DestroyStageWindow or IPlexionSets::DestroyStageWindowSet.
class StageWindowSet : public QXArray<StageWindow*> {};

}  // namespace plexion
}  // namespace qx

#endif  // QX_PLEXION_STAGEWINDOWSET_H_
