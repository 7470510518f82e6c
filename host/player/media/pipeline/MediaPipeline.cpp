// Puts the framework's player together with our sinks, and listens to its threads.

#include "host/player/media/pipeline/MediaPipeline.h"

#include <gst/video/gstvideometa.h>

#include <algorithm>
#include <utility>

#include "host/base/Check.h"
#include "host/player/image/PictureDecoder.h"
#include "host/player/media/decoder/VideoDecoder.h"
#include "host/player/media/framework/FrameworkSetup.h"
#include "host/player/media/pipeline/DecoderThreads.h"
#include "host/player/media/sound/SoundOutput.h"
#include "host/player/media/sound/SoundSink.h"

namespace plexion_host::player {

namespace {

// Later than this a frame is not worth painting any more.
constexpr gint64 kMostLateness = 40 * GST_MSECOND;

EngineError NotInstalled(const char* element, const char* package) {
  return {qx::plexion::kErrorModuleUnavailable,
          std::string("the media framework has no element \"") + element +
              "\"; Debian's package \"" + package + "\" has it"};
}

bool IsTurned(const GstTagList* tags) {
  gchar* text = nullptr;
  if (!gst_tag_list_get_string(tags, GST_TAG_IMAGE_ORIENTATION, &text)) return false;
  const GTextPointer orientation(text);
  return TextOf(orientation) != "rotate-0";
}

/// Turns the picture as its tag says, whatever its format.
GstElement* MakeTurner() {
  GError* rawFault = nullptr;
  GstElement* turner = gst_parse_bin_from_description(
      "videoconvert ! videoflip video-direction=auto", TRUE, &rawFault);
  const GErrorPointer fault(rawFault);
  return turner;
}

}  // namespace

MediaPipeline::~MediaPipeline() {
  // Building may have failed half way.
  if (playbin_ == nullptr) return;
  gst_element_set_state(playbin_.get(), GST_STATE_NULL);
  // Its threads have ended by then: nobody calls the handler of what is going.
  if (bus_ != nullptr) gst_bus_set_sync_handler(bus_.get(), nullptr, nullptr, nullptr);
}

bool MediaPipeline::Build(const Request& request, EngineError& error) {
  PLEXION_CHECK(playbin_ == nullptr, "a pipeline is built once");
  SetUpFramework();
  RegisterVideoDecoder();
  GstElement* playbin = gst_element_factory_make("playbin", nullptr);
  if (playbin == nullptr) {
    error = NotInstalled("playbin", "gstreamer1.0-plugins-base");
    return false;
  }
  playbin_.reset(GST_ELEMENT(gst_object_ref_sink(playbin)));
  // Messages are taken as they come, on whatever thread: the player asks for them when it is at it.
  bus_.reset(gst_element_get_bus(playbin));
  gst_bus_set_sync_handler(bus_.get(), OnMessage, this, nullptr);
  rules_ = std::make_unique<SourceRules>(request.uri,
                                         [this](GstElement* source) { PrepareSource(source); });
  turned_ = request.turned;
  hurry_ = request.noSpeedLimit;
  if (!MakePictureSink(request, error) || !MakeSoundSink(request, error)) return false;

  // Frames go to our sink as they are decoded, and no subtitle is put on them by others.
  remote_ = request.uri.compare(0, 5, "file:") != 0;
  captions_ = request.captions;
  std::string flags = "video+audio+soft-volume+deinterlace+native-video";
  if (remote_) flags += "+buffering";
  if (captions_ != nullptr) {
    flags += "+text";
    captions_->ForgetStream();  // those of a pipeline before this one
    MakeCaptionSink();
  }
  // By names: the flags' numbers are the framework's own and stand in no public header.
  gst_util_set_object_arg(G_OBJECT(playbin), "flags", flags.c_str());
  g_object_set(playbin, "uri", request.uri.c_str(), "volume", request.volume, "mute",
               static_cast<gboolean>(request.muted), nullptr);
  if (request.turned) g_object_set(playbin, "video-filter", MakeTurner(), nullptr);
  g_signal_connect(playbin, "source-setup", G_CALLBACK(OnSource), this);
  g_signal_connect(playbin, "element-setup", G_CALLBACK(OnElement), this);
  return true;
}

bool MediaPipeline::MakePictureSink(const Request& request, EngineError& error) {
  GstElement* sink = gst_element_factory_make("appsink", nullptr);
  if (sink == nullptr) {
    error = NotInstalled("appsink", "gstreamer1.0-plugins-base");
    return false;
  }
  pictureSink_.reset(GST_ELEMENT(gst_object_ref_sink(sink)));
  const GstCapsPointer caps(
      gst_caps_from_string("video/x-raw, format=(string)" GST_VIDEO_FORMATS_ALL));
  const bool hurry = request.noSpeedLimit;
  // A newer frame takes the place of one that the player did not get round to; in a hurry every
  // frame waits for the player instead.
  g_object_set(sink, "caps", caps.get(), "max-buffers", 1u, "drop", static_cast<gboolean>(!hurry),
               "wait-on-eos", FALSE, "sync", static_cast<gboolean>(!hurry), "qos",
               static_cast<gboolean>(!hurry), "max-lateness", hurry ? gint64{-1} : kMostLateness,
               "enable-last-sample", FALSE, nullptr);
  GstAppSinkCallbacks callbacks = {};
  callbacks.new_preroll = OnFrame;
  callbacks.new_sample = OnFrame;
  gst_app_sink_set_callbacks(GST_APP_SINK(sink), &callbacks, this, nullptr);
  const GstPadPointer pad(gst_element_get_static_pad(sink, "sink"));
  gst_pad_add_probe(pad.get(),
                    static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM |
                                                 GST_PAD_PROBE_TYPE_QUERY_DOWNSTREAM),
                    OnPictureEvent, this, nullptr);
  g_object_set(playbin_.get(), "video-sink", sink, nullptr);
  return true;
}

bool MediaPipeline::MakeSoundSink(const Request& request, EngineError& error) {
  // Played as fast as possible, or without anything to play it on, sound only has to go by.
  const bool heard = !request.noSpeedLimit && SoundMayBeHeard(RealSoundSurroundings());
  GstElementPointer sink = heard ? TakeSoundSink() : nullptr;
  if (heard && sink == nullptr) {
    IQXKernel::GetKernel()->Printf(
        "Media: the sound output does not answer; the content plays without sound\n");
  }
  if (sink == nullptr) {
    GstElement* silent = gst_element_factory_make("fakesink", nullptr);
    if (silent == nullptr) {
      error = NotInstalled("fakesink", "libgstreamer1.0-0");
      return false;
    }
    sink.reset(GST_ELEMENT(gst_object_ref_sink(silent)));
    g_object_set(silent, "sync", static_cast<gboolean>(!request.noSpeedLimit), nullptr);
  }
  const GstPadPointer pad(gst_element_get_static_pad(sink.get(), "sink"));
  gst_pad_add_probe(
      pad.get(),
      static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_BUFFER | GST_PAD_PROBE_TYPE_EVENT_FLUSH),
      OnSound, this, nullptr);
  g_object_set(playbin_.get(), "audio-sink", sink.get(), nullptr);
  return true;
}

void MediaPipeline::MakeCaptionSink() {
  GstElement* const sink = gst_element_factory_make("appsink", nullptr);
  if (sink == nullptr) return;
  const GstCapsPointer caps(gst_caps_from_string(
      "text/x-raw, format=(string){ utf8, pango-markup }; application/x-ass; application/x-ssa"));
  // They come ahead of their time, now and then: nothing waits for them.
  g_object_set(sink, "caps", caps.get(), "sync", FALSE, "async", FALSE, "wait-on-eos", FALSE,
               "enable-last-sample", FALSE, nullptr);
  GstAppSinkCallbacks callbacks = {};
  callbacks.new_sample = OnCaption;
  gst_app_sink_set_callbacks(GST_APP_SINK(sink), &callbacks, this, nullptr);
  g_object_set(playbin_.get(), "text-sink", sink, nullptr);
}

GstStateChangeReturn MediaPipeline::SetState(GstState state) {
  PLEXION_CHECK(playbin_ != nullptr, "there is a pipeline to move");
  if (state == state_) return GST_STATE_CHANGE_SUCCESS;
  state_ = state;
  return gst_element_set_state(playbin_.get(), state);
}

void MediaPipeline::SetVolume(double factor) {
  PLEXION_CHECK(factor >= 0, "sound has no less volume than none");
  g_object_set(playbin_.get(), "volume", factor, nullptr);
}

GstMessagePointer MediaPipeline::TakeMessage(std::chrono::milliseconds wait) {
  MutexLock lock(mutex_);
  const bool any = !messages_.empty() ||
                   (wait.count() > 0 && arrived_.WaitFor(lock, wait, [this]() REQUIRES(mutex_) {
                     return !messages_.empty();
                   }));
  if (!any) return nullptr;
  GstMessagePointer message = std::move(messages_.front());
  messages_.pop_front();
  return message;
}

bool MediaPipeline::IsWorking() const {
  bool working = false;
  GstIterator* elements = gst_bin_iterate_recurse(GST_BIN(playbin_.get()));
  const GstIteratorForeachFunction look = [](const GValue* item, gpointer found) {
    GstElement* element = GST_ELEMENT(g_value_get_object(item));
    const GstElementForeachPadFunc lookAtPad = [](GstElement*, GstPad* pad,
                                                  gpointer any) -> gboolean {
      if (gst_pad_get_task_state(pad) != GST_TASK_STARTED) return TRUE;
      *static_cast<bool*>(any) = true;
      return FALSE;
    };
    gst_element_foreach_pad(element, lookAtPad, found);
  };
  // A pipeline that changes under the iteration is one that works.
  const bool changed = gst_iterator_foreach(elements, look, &working) == GST_ITERATOR_RESYNC;
  gst_iterator_free(elements);
  return working || changed;
}

GstSamplePointer MediaPipeline::TakePreroll() {
  return GstSamplePointer(gst_app_sink_try_pull_preroll(GST_APP_SINK(pictureSink_.get()), 0));
}

GstSamplePointer MediaPipeline::TakeFrame() {
  return GstSamplePointer(gst_app_sink_try_pull_sample(GST_APP_SINK(pictureSink_.get()), 0));
}

bool MediaPipeline::HasPicture() const {
  gint count = 0;
  g_object_get(playbin_.get(), "n-video", &count, nullptr);
  return count > 0;
}

bool MediaPipeline::HasSound() const {
  gint count = 0;
  g_object_get(playbin_.get(), "n-audio", &count, nullptr);
  return count > 0;
}

std::string MediaPipeline::ContentType() const {
  const MutexLock lock(mutex_);
  return contentType_;
}

std::string MediaPipeline::FirstBytes() const {
  const MutexLock lock(mutex_);
  return firstBytes_;
}

bool MediaPipeline::SeekTo(double seconds, double speed) {
  if (captions_ != nullptr) captions_->ForgetStream();
  const auto flags = static_cast<GstSeekFlags>(
      seconds > 0 ? GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_ACCURATE : GST_SEEK_FLAG_FLUSH);
  if (gst_element_seek(playbin_.get(), speed, GST_FORMAT_TIME, flags, GST_SEEK_TYPE_SET,
                       static_cast<gint64>(seconds * GST_SECOND), GST_SEEK_TYPE_NONE,
                       -1) == FALSE) {
    return false;
  }
  // What it has heard was of another place.
  meter_.Forget();
  return true;
}

/// None while it does not play: a clock that runs says nothing of frames that stand.
GstClockTime MediaPipeline::RunningTime() const {
  if (state_ != GST_STATE_PLAYING) return GST_CLOCK_TIME_NONE;
  const GstClockPointer clock(gst_element_get_clock(playbin_.get()));
  const GstClockTime base = gst_element_get_base_time(playbin_.get());
  if (clock == nullptr || !GST_CLOCK_TIME_IS_VALID(base)) return GST_CLOCK_TIME_NONE;
  const GstClockTime now = gst_clock_get_time(clock.get());
  return now < base ? GST_CLOCK_TIME_NONE : now - base;
}

bool MediaPipeline::Position(double& seconds) const {
  gint64 time = 0;
  if (!gst_element_query_position(playbin_.get(), GST_FORMAT_TIME, &time) || time < 0) return false;
  seconds = static_cast<double>(time) / GST_SECOND;
  return true;
}

bool MediaPipeline::Duration(double& seconds) const {
  gint64 time = 0;
  if (!gst_element_query_duration(playbin_.get(), GST_FORMAT_TIME, &time) || time <= 0) {
    return false;
  }
  seconds = static_cast<double>(time) / GST_SECOND;
  return true;
}

GstBusSyncReply MediaPipeline::OnMessage(GstBus*, GstMessage* rawMessage, gpointer self) {
  auto* pipeline = static_cast<MediaPipeline*>(self);
  GstMessagePointer message(rawMessage);
  switch (GST_MESSAGE_TYPE(rawMessage)) {
    case GST_MESSAGE_ERROR:
    case GST_MESSAGE_EOS:
    case GST_MESSAGE_BUFFERING:
    case GST_MESSAGE_ASYNC_DONE:
    case GST_MESSAGE_CLOCK_LOST:
    case GST_MESSAGE_ELEMENT:
      // On a thread of the framework, which must not be held up: it is kept, and the player asked to come.
      pipeline->Enqueue(std::move(message));
      break;
    case GST_MESSAGE_QOS:
      // Of a decoder or the sink that fell behind; the statistics count them.
      ++pipeline->framesDropped_;
      return GST_BUS_DROP;
    default:
      return GST_BUS_DROP;
  }
  pipeline->host_.RequestFrame();
  return GST_BUS_DROP;
}

void MediaPipeline::Enqueue(GstMessagePointer message) {
  const MutexLock lock(mutex_);
  messages_.push_back(std::move(message));
  arrived_.NotifyOne();
}

void MediaPipeline::PrepareSource(GstElement* element) {
  std::string reason;
  if (rules_->MayOpen(element, reason)) {
    access_.SetUp(element);
    return;
  }
  SourceRules::Disarm(element);
  const GErrorPointer error(
      g_error_new_literal(GST_RESOURCE_ERROR, GST_RESOURCE_ERROR_OPEN_READ, reason.c_str()));
  Enqueue(
      GstMessagePointer(gst_message_new_error(GST_OBJECT(playbin_.get()), error.get(), nullptr)));
  host_.RequestFrame();
}

GstFlowReturn MediaPipeline::OnFrame(GstAppSink*, gpointer self) {
  auto* pipeline = static_cast<MediaPipeline*>(self);
  ++pipeline->framesArrived_;
  pipeline->host_.RequestFrame();
  return GST_FLOW_OK;
}

GstFlowReturn MediaPipeline::OnCaption(GstAppSink* sink, gpointer self) {
  GstSamplePointer sample(gst_app_sink_pull_sample(sink));
  if (sample != nullptr) static_cast<MediaPipeline*>(self)->captions_->Take(std::move(sample));
  return GST_FLOW_OK;
}

GstPadProbeReturn MediaPipeline::OnPictureEvent(GstPad*, GstPadProbeInfo* info, gpointer self) {
  if ((GST_PAD_PROBE_INFO_TYPE(info) & GST_PAD_PROBE_TYPE_QUERY_DOWNSTREAM) != 0) {
    GstQuery* query = GST_PAD_PROBE_INFO_QUERY(info);
    // All others are the sink's.
    if (GST_QUERY_TYPE(query) != GST_QUERY_ALLOCATION) return GST_PAD_PROBE_OK;
    // Without this decoders copy each frame into rows without padding.
    gst_query_add_allocation_meta(query, GST_VIDEO_META_API_TYPE, nullptr);
    return GST_PAD_PROBE_HANDLED;
  }
  GstEvent* event = GST_PAD_PROBE_INFO_EVENT(info);
  if (GST_EVENT_TYPE(event) != GST_EVENT_TAG) return GST_PAD_PROBE_OK;
  GstTagList* tags = nullptr;
  gst_event_parse_tag(event, &tags);
  auto* pipeline = static_cast<MediaPipeline*>(self);
  if (!pipeline->turned_ && IsTurned(tags)) pipeline->wantsTurning_ = true;
  return GST_PAD_PROBE_OK;
}

GstPadProbeReturn MediaPipeline::OnSound(GstPad* pad, GstPadProbeInfo* info, gpointer self) {
  auto* pipeline = static_cast<MediaPipeline*>(self);
  if ((GST_PAD_PROBE_INFO_TYPE(info) & GST_PAD_PROBE_TYPE_EVENT_FLUSH) != 0) {
    pipeline->meter_.Forget();
    return GST_PAD_PROBE_OK;
  }
  if (!pipeline->measuring_) return GST_PAD_PROBE_OK;
  const GstCapsPointer caps(gst_pad_get_current_caps(pad));
  GstEvent* event = gst_pad_get_sticky_event(pad, GST_EVENT_SEGMENT, 0);
  if (event == nullptr) return GST_PAD_PROBE_OK;
  const GstSegment* segment = nullptr;
  gst_event_parse_segment(event, &segment);
  pipeline->meter_.Measure(GST_PAD_PROBE_INFO_BUFFER(info), caps.get(), *segment);
  gst_event_unref(event);
  if (pipeline->hurry_) pipeline->host_.RequestFrame();
  return GST_PAD_PROBE_OK;
}

void MediaPipeline::OnSource(GstElement*, GstElement* source, gpointer self) {
  auto* pipeline = static_cast<MediaPipeline*>(self);
  pipeline->PrepareSource(source);
  pipeline->stage_ = 1;
}

void MediaPipeline::OnElement(GstElement*, GstElement* element, gpointer self) {
  GstElementFactory* factory = gst_element_get_factory(element);
  if (factory == nullptr) return;
  if (gst_element_factory_list_is_type(factory, GST_ELEMENT_FACTORY_TYPE_DECODER)) {
    auto* pipeline = static_cast<MediaPipeline*>(self);
    pipeline->stage_ = 2;
    if (!pipeline->hurry_) ChooseDecoderThreads(element, pipeline->host_.Settings().speed);
  }
  // Between the decoder and our sink: of three pictures, its own choice, two would only wait.
  if (g_strcmp0(GST_OBJECT_NAME(element), "vqueue") == 0) {
    g_object_set(element, "max-size-buffers", 1u, nullptr);
  }
  if (g_strcmp0(GST_OBJECT_NAME(factory), "typefind") == 0) {
    g_signal_connect(element, "have-type", G_CALLBACK(OnType), self);
  }
  if (GST_IS_URI_HANDLER(element)) static_cast<MediaPipeline*>(self)->PrepareSource(element);
}

void MediaPipeline::OnType(GstElement* typefind, guint, GstCaps* caps, gpointer self) {
  auto* pipeline = static_cast<MediaPipeline*>(self);
  const MutexLock lock(pipeline->mutex_);
  // The first one is the content's; parts of it may be looked at as well.
  if (!pipeline->contentType_.empty()) return;
  pipeline->contentType_ = gst_structure_get_name(gst_caps_get_structure(caps, 0));
  if (!pipeline->remote_) return;
  const GstPadPointer pad(gst_element_get_static_pad(typefind, "src"));
  gst_pad_add_probe(pad.get(), GST_PAD_PROBE_TYPE_BUFFER, OnFirstBytes, self, nullptr);
}

GstPadProbeReturn MediaPipeline::OnFirstBytes(GstPad*, GstPadProbeInfo* info, gpointer self) {
  auto* pipeline = static_cast<MediaPipeline*>(self);
  GstBuffer* buffer = GST_PAD_PROBE_INFO_BUFFER(info);
  const MutexLock lock(pipeline->mutex_);
  std::string& head = pipeline->firstBytes_;
  const size_t before = head.size();
  head.resize(std::min(kPictureHead, before + gst_buffer_get_size(buffer)));
  gst_buffer_extract(buffer, 0, &head[before], head.size() - before);
  return head.size() < kPictureHead ? GST_PAD_PROBE_OK : GST_PAD_PROBE_REMOVE;
}

}  // namespace plexion_host::player
