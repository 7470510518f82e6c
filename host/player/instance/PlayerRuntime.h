// The module IMorvelRuntimeLib.

#ifndef HOST_PLAYER_INSTANCE_PLAYERRUNTIME_H_
#define HOST_PLAYER_INSTANCE_PLAYERRUNTIME_H_

#include <memory>

#include "host/player/engines/EngineSource.h"
#include "qx/core/morvellib/IMorvelRuntimeLib.h"

namespace plexion_host::player {

/// The reference host's player runtime: makes an instance for each window and lends all of them the
/// engines: installed ones, or with isolation those in processes of their own.
class PlayerRuntime final : public qx::core::morvellib::IMorvelRuntimeLib {
 public:
  PlayerRuntime();
  ~PlayerRuntime() override;
  void GetVersion(char* buffer, unsigned long size) override;
  uint32_t GetDefaultPixelFormat() override;
  void FillInstanceParameters(qx::core::morvellib::MorvelInstanceParameters& instanceParameters,
                              const qx::plexion::StageWindowParameters& parameters) override;
  qx::core::morvellib::MorvelInstance* CreateMorvelInstance(
      qx::plexion::StageWindow* window) override;
  void DestroyMorvelInstance(qx::core::morvellib::MorvelInstance* instance) override;

 private:
  const std::unique_ptr<EngineSource> engines_;
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_INSTANCE_PLAYERRUNTIME_H_
