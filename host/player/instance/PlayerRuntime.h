// The module IMorvelRuntimeLib.

#ifndef HOST_PLAYER_INSTANCE_PLAYERRUNTIME_H_
#define HOST_PLAYER_INSTANCE_PLAYERRUNTIME_H_

#include "host/player/engines/EngineSource.h"
#include "qx/core/morvellib/IMorvelRuntimeLib.h"

namespace plexion_host::player {

/// The reference host's player runtime: makes an instance for each window and lends all of them the
/// installed engines.
class PlayerRuntime final : public qx::core::morvellib::IMorvelRuntimeLib {
 public:
  void GetVersion(char* buffer, unsigned long size) override;
  uint32_t GetDefaultPixelFormat() override;
  void FillInstanceParameters(qx::core::morvellib::MorvelInstanceParameters& instanceParameters,
                              const qx::plexion::StageWindowParameters& parameters) override;
  qx::core::morvellib::MorvelInstance* CreateMorvelInstance(
      qx::plexion::StageWindow* window) override;
  void DestroyMorvelInstance(qx::core::morvellib::MorvelInstance* instance) override;

 private:
  InstalledEngines engines_;
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_INSTANCE_PLAYERRUNTIME_H_
