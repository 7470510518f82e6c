// The framework's player, with our sinks.

#ifndef HOST_PLAYER_MEDIA_PIPELINE_MEDIAPIPELINE_H_
#define HOST_PLAYER_MEDIA_PIPELINE_MEDIAPIPELINE_H_

#include <gst/app/gstappsink.h>

#include <atomic>
#include <chrono>
#include <deque>
#include <memory>
#include <string>

#include "host/base/Mutex.h"
#include "host/player/Engine.h"
#include "host/player/media/captions/Captions.h"
#include "host/player/media/framework/GstPointers.h"
#include "host/player/media/net/HttpAccess.h"
#include "host/player/media/net/SourceRules.h"
#include "host/player/media/sound/SoundMeter.h"

namespace plexion_host::player {

/// The framework's player with our sinks: frames stay in the decoder's own memory and format, sound
/// goes to the sound card and past the meter. It decides nothing; MediaEngine does.
///
/// Thread   the player's. The framework's threads reach the host through EngineHost::RequestFrame
///          and nothing else, after every frame and every message that somebody should look at.
class MediaPipeline {
 public:
  struct Request {
    std::string uri;
    double volume = 1;
    bool muted = false;
    bool noSpeedLimit = false;
    /// Turn pictures as their orientation tag says; see WantsTurning.
    bool turned = false;
    /// Takes the captions of a stream in the content; null: nobody wants them. Outlives the pipeline.
    Captions* captions = nullptr;
  };

  MediaPipeline(EngineHost& host, HttpAccess& access) : host_(host), access_(access) {}
  MediaPipeline(const MediaPipeline&) = delete;
  MediaPipeline& operator=(const MediaPipeline&) = delete;
  /// Stops; the framework's threads are then out of here.
  ~MediaPipeline();

  /// Makes the parts. Returns  false with `error` when one is not installed.
  bool Build(const Request& request, EngineError& error);
  GstStateChangeReturn SetState(GstState state);
  void SetVolume(double factor);
  /// The next message within `wait`; null when there is none.
  GstMessagePointer TakeMessage(std::chrono::milliseconds wait);
  /// Whether `message` tells about the whole pipeline and not one of its parts.
  bool IsOwn(GstMessage* message) const {
    return GST_MESSAGE_SRC(message) == GST_OBJECT(playbin_.get());
  }

  /// Whether any part still moves data. The framework sometimes loses the message of a part that
  /// failed at once; then nothing moves, and nothing ever arrives.
  bool IsWorking() const;

  GstSamplePointer TakePreroll();
  GstSamplePointer TakeFrame();
  bool HasPicture() const;
  bool HasSound() const;
  /// The picture is tagged as taken with the camera turned, and nobody has turned it back yet.
  bool WantsTurning() const { return wantsTurning_; }
  /// The content's media type as its first bytes tell it; empty before it is known.
  std::string ContentType() const;
  /// The beginning of what came from a server, kPictureHead bytes at most; empty for files.
  std::string FirstBytes() const;
  /// 0 nothing yet, 1 the source is open, 2 decoders are being put together.
  int Stage() const { return stage_; }

  /// Goes to the beginning; what was measured or delivered before is dropped.
  /// Returns  false when the content cannot be sought in.
  bool SeekToStart(double speed) { return SeekTo(0, speed); }
  /// The same to a moment, to the frame.
  bool SeekTo(double seconds, double speed);

  /// Now, on the scale of Gst running times; GST_CLOCK_TIME_NONE while the clock stands.
  GstClockTime RunningTime() const;
  bool Position(double& seconds) const;
  bool Duration(double& seconds) const;
  void MeasureSound() { measuring_ = true; }
  SoundMeter& Meter() { return meter_; }
  uint64_t FramesArrived() const { return framesArrived_; }
  uint64_t FramesDropped() const { return framesDropped_; }

 private:
  bool MakePictureSink(const Request& request, EngineError& error);
  bool MakeSoundSink(const Request& request, EngineError& error);
  void MakeCaptionSink();
  static GstBusSyncReply OnMessage(GstBus* bus, GstMessage* message, gpointer self);
  static GstFlowReturn OnFrame(GstAppSink* sink, gpointer self);
  static GstFlowReturn OnCaption(GstAppSink* sink, gpointer self);
  static GstPadProbeReturn OnPictureEvent(GstPad* pad, GstPadProbeInfo* info, gpointer self);
  static GstPadProbeReturn OnSound(GstPad* pad, GstPadProbeInfo* info, gpointer self);
  static void OnSource(GstElement* playbin, GstElement* source, gpointer self);
  /// An element of the content, or of a playlist in it, is about to open an address.
  void PrepareSource(GstElement* element);
  void Enqueue(GstMessagePointer message);
  static void OnElement(GstElement* playbin, GstElement* element, gpointer self);
  static GstPadProbeReturn OnFirstBytes(GstPad* pad, GstPadProbeInfo* info, gpointer self);
  static void OnType(GstElement* typefind, guint probability, GstCaps* caps, gpointer self);

  EngineHost& host_;
  HttpAccess& access_;
  std::unique_ptr<SourceRules> rules_;  // constant after Build
  GstElementPointer playbin_;
  GstBusPointer bus_;
  GstElementPointer pictureSink_;
  SoundMeter meter_;
  GstState state_ = GST_STATE_NULL;
  bool turned_ = false;           // constant after Build
  bool hurry_ = false;            // likewise
  bool remote_ = false;           // likewise
  Captions* captions_ = nullptr;  // likewise
  std::atomic<bool> wantsTurning_{false};
  std::atomic<bool> measuring_{false};
  std::atomic<int> stage_{0};
  std::atomic<uint64_t> framesArrived_{0};
  std::atomic<uint64_t> framesDropped_{0};

  // The bus tells of a message before it has it in its own queue: looking there would come too
  // soon.
  mutable Mutex mutex_;
  Condition arrived_;
  std::deque<GstMessagePointer> messages_ GUARDED_BY(mutex_);
  std::string contentType_ GUARDED_BY(mutex_);
  std::string firstBytes_ GUARDED_BY(mutex_);
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_MEDIA_PIPELINE_MEDIAPIPELINE_H_
