// The kit's own player: frames of one colour each, on a thread of the kernel under test.

#ifndef KIT_CERTIFY_BENCH_BENCHPLAYER_H_
#define KIT_CERTIFY_BENCH_BENCHPLAYER_H_

#include <atomic>
#include <cstdint>

#include "qx/core/IQXKernel.h"
#include "qx/core/morvellib/IMorvelRuntimeLib.h"
#include "qx/core/morvellib/MorvelInstance.h"

namespace plexion_certify {

/// Plays any content: `frames` pictures of `dims`, `frameTime` apart, the n-th 0xFF0000nn all over.
class BenchPlayer : public qx::core::morvellib::IMorvelRuntimeLib {
 public:
  explicit BenchPlayer(IQXKernel& kernel) : kernel_(kernel) {}

  qx::plexion::Dims dims = {64, 48};
  int frames = 10;
  IQXKernel::Time frameTime = 5000000;
  std::atomic<long> keyDowns{0};  ///< of all instances

  void GetVersion(char* buffer, unsigned long size) override;
  uint32_t GetDefaultPixelFormat() override;
  void FillInstanceParameters(qx::core::morvellib::MorvelInstanceParameters& to,
                              const qx::plexion::StageWindowParameters& from) override;
  qx::core::morvellib::MorvelInstance* CreateMorvelInstance(
      qx::plexion::StageWindow* window) override;
  void DestroyMorvelInstance(qx::core::morvellib::MorvelInstance* instance) override;

 private:
  IQXKernel& kernel_;
};

}  // namespace plexion_certify

#endif  // KIT_CERTIFY_BENCH_BENCHPLAYER_H_
