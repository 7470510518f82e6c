// The module "IMediaEngine".
#include <gst/gst.h>

#include <mutex>

#include "host/contracts/HostModule.h"
#include "host/player/media/MediaEngine.h"

namespace plexion_host::player {

namespace {

/// Says at its first loading what is wrong with the framework.
class MediaModule final : public IEngineModule {
 public:
  MediaModule() {
    static std::once_flag started;
    std::call_once(started, [] {
      GError* rawFault = nullptr;
      if (gst_init_check(nullptr, nullptr, &rawFault) == FALSE) {
        IQXKernel::GetKernel()->Printf("Media: the framework does not start: %s\n",
                                       rawFault == nullptr ? "no reason" : rawFault->message);
      }
      g_clear_error(&rawFault);
    });
  }

  std::unique_ptr<Engine> CreateEngine(EngineHost& host) override {
    return std::make_unique<MediaEngine>(host);
  }
};

}  // namespace

}  // namespace plexion_host::player

PLEXION_HOST_MODULE(IMediaEngine, plexion_host::player::MediaModule)
