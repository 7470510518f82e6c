// Opens sound outputs one at a time, on a thread that nobody has to wait for.

#include "host/player/media/sound/SoundSink.h"

#include <system_error>
#include <utility>

#include "host/base/Mutex.h"
#include "host/base/NamedThread.h"
#include "host/player/media/sound/SoundDevices.h"

namespace plexion_host::player {

namespace {

/// Tries each kind of output in turn until one works; nobody has chosen one.
constexpr const char* kElement = "autoaudiosink";

class SoundOpener {
 public:
  using Clock = std::chrono::steady_clock;

  static SoundOpener& Get() {
    // Never destroyed: its thread may be waiting for a server when the process ends.
    static SoundOpener* const opener = new SoundOpener();
    return *opener;
  }

  void Begin() EXCLUDES(mutex_) {
    const MutexLock lock(mutex_);
    if (sink_ != nullptr || opening_) return;
    try {
      NamedThread("PlexionSound", [this] { Open(); }).Detach();
      opening_ = true;
      began_ = Clock::now();
    } catch (const std::system_error&) {
      // Then there is no sound.
    }
  }

  GstElementPointer Take(std::chrono::milliseconds patience) EXCLUDES(mutex_) {
    Begin();
    MutexLock lock(mutex_);
    opened_.WaitUntil(lock, began_ + patience, [this]() REQUIRES(mutex_) { return !opening_; });
    return std::move(sink_);
  }

 private:
  void Open() EXCLUDES(mutex_) {
    GstElementPointer sink = Make();
    if (sink != nullptr &&
        gst_element_set_state(sink.get(), GST_STATE_READY) == GST_STATE_CHANGE_FAILURE) {
      gst_element_set_state(sink.get(), GST_STATE_NULL);
      sink.reset();
    }
    const MutexLock lock(mutex_);
    sink_ = std::move(sink);
    opening_ = false;
    opened_.NotifyAll();
  }

  /// The output that was chosen, or any that works.
  static GstElementPointer Make() {
    const std::string name = ChosenSoundOutput();
    if (name != "auto") return MakeSoundOutput(name);
    GstElement* const made = gst_element_factory_make(kElement, nullptr);
    return GstElementPointer(made == nullptr ? nullptr : GST_ELEMENT(gst_object_ref_sink(made)));
  }

  Mutex mutex_;
  Condition opened_;
  GstElementPointer sink_ GUARDED_BY(mutex_);  // open, and nobody's yet
  bool opening_ GUARDED_BY(mutex_) = false;
  Clock::time_point began_ GUARDED_BY(mutex_);
};

}  // namespace

void PrepareSound() { SoundOpener::Get().Begin(); }

GstElementPointer TakeSoundSink(std::chrono::milliseconds patience) {
  return SoundOpener::Get().Take(patience);
}

}  // namespace plexion_host::player
