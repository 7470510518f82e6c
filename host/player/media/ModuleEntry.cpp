// The modules "IMediaEngine" and "IHostSound".
#include <gst/gst.h>

#include <mutex>
#include <string>
#include <system_error>

#include "host/base/Mutex.h"
#include "host/base/NamedThread.h"
#include "host/contracts/HostModule.h"
#include "host/contracts/IHostSound.h"
#include "host/player/media/MediaEngine.h"
#include "host/player/media/decoder/CodecLibrary.h"
#include "host/player/media/sound/SoundDevices.h"
#include "host/player/media/sound/SoundOutput.h"
#include "host/player/media/sound/SoundSink.h"

namespace plexion_host::player {

namespace {

/// Starts the framework; says at the first time what is wrong with it.
void StartFramework() {
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

/// What content of a format needs at first, besides the codec library.
struct Preparation {
  const char* format;
  const char* demuxer;
};

constexpr Preparation kPreparations[] = {
    {"MP4 video", "isomp4"},
    {"QuickTime video", "isomp4"},
    {"Matroska video", "matroska"},
    {"AVI video", "avi"},
    {"FLV video", "flv"},
    {"MPEG program stream", "mpegpsdemux"},
    {"MPEG transport stream", "mpegtsdemux"},
};

constexpr const char* kCommonParts[] = {
    "coreelements",    "playback",     "app",          "typefindfunctions", nullptr,
    "videoparsersbad", "audioparsers", "audioconvert", "audioresample",     "volume"};

/// Opens libraries in the order in which a first load needs them. The last, the codec library, which
/// brings eighty others along, takes longer than all the rest; and while it is being opened no other
/// library can be, so what stands before it must be there by then.
void OpenParts(const char* demuxer) {
  for (const char* part : kCommonParts) {
    GstPlugin* plugin = gst_plugin_load_by_name(part == nullptr ? demuxer : part);
    if (plugin != nullptr) gst_object_unref(plugin);
  }
  std::string ignored;  // who decodes with it says that it is missing
  CodecLibrary::Get(ignored);
}

class MediaModule final : public IEngineModule {
 public:
  std::unique_ptr<Engine> CreateEngine(EngineHost& host) override {
    StartFramework();
    return std::make_unique<MediaEngine>(host);
  }

  void OpenLibraries(const std::string& format) override {
    StartFramework();
    for (const Preparation& preparation : kPreparations) {
      if (format == preparation.format) OpenParts(preparation.demuxer);
    }
  }

  void Prepare(const std::string& format) override {
    StartFramework();
    for (const Preparation& preparation : kPreparations) {
      if (format != preparation.format) continue;
      if (SoundMayBeHeard(RealSoundSurroundings())) PrepareSound();
      const MutexLock lock(mutex_);
      try {
        if (thread_.IsJoinable()) continue;
        thread_ = NamedThread("PlexionPrepare", [&preparation] { OpenParts(preparation.demuxer); });
      } catch (const std::system_error&) {
        // Then they are opened when they are needed.
      }
    }
  }

 private:
  Mutex mutex_;
  NamedThread thread_ GUARDED_BY(mutex_);
};

class SoundModule final : public IHostSound {
 public:
  std::vector<std::string> GetOutputNames() override {
    StartFramework();
    return SoundOutputNames();
  }
};

}  // namespace

}  // namespace plexion_host::player

PLEXION_HOST_MODULE(IMediaEngine, plexion_host::player::MediaModule)
PLEXION_HOST_MODULE(IHostSound, plexion_host::player::SoundModule)
