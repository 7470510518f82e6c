#include "tests/host/player/PlayerFixture.h"

namespace plexion_host::player {

HostKernel& TestKernel() {
  // Never destroyed: the libraries that were handed the kernel keep it.
  static HostKernel* kernel = [] {
    auto* made = new HostKernel({"player_test"}, ModuleFiles());
    IQXModule_QXModule_PutKernel(made);
    return made;
  }();
  return *kernel;
}

}  // namespace plexion_host::player
