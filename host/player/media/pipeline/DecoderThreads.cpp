// Reckons from a video's size and rate whether one thread is enough.

#include "host/player/media/pipeline/DecoderThreads.h"

#include <memory>
#include <string_view>

#include "host/player/media/framework/GstPointers.h"

namespace plexion_host::player {

namespace {

/// 1280x720, thirty times a second: a core of a slow television decodes twice as much.
constexpr double kPixelsPerSecondOfOneThread = 1280.0 * 720 * 30;
/// What has no known rate may have any that is common.
constexpr double kAssumedRate = 60;

/// Codecs that need much more work for a pixel keep all the threads that they like.
constexpr std::string_view kLightCodecs[] = {
    "video/x-h264",        "video/mpeg",     "video/x-h263", "video/x-divx",  "video/x-xvid",
    "video/x-flash-video", "video/x-theora", "image/jpeg",   "video/x-msmpeg"};

GstPadProbeReturn OnCaps(GstPad* pad, GstPadProbeInfo* info, gpointer speed) {
  GstEvent* event = GST_PAD_PROBE_INFO_EVENT(info);
  if (GST_EVENT_TYPE(event) != GST_EVENT_CAPS) return GST_PAD_PROBE_OK;
  GstCaps* caps = nullptr;
  gst_event_parse_caps(event, &caps);
  const GstElementPointer decoder(gst_pad_get_parent_element(pad));
  if (decoder != nullptr && caps != nullptr) {
    g_object_set(decoder.get(), "max-threads", DecoderThreads(caps, *static_cast<double*>(speed)),
                 nullptr);
  }
  return GST_PAD_PROBE_OK;
}

}  // namespace

int DecoderThreads(const GstCaps* caps, double speed) {
  if (gst_caps_get_size(caps) == 0) return 0;
  const GstStructure* kind = gst_caps_get_structure(caps, 0);
  bool light = false;
  for (const std::string_view codec : kLightCodecs) light |= codec == gst_structure_get_name(kind);
  gint width = 0;
  gint height = 0;
  if (!light || !gst_structure_get_int(kind, "width", &width) ||
      !gst_structure_get_int(kind, "height", &height)) {
    return 0;
  }
  gint frames = 0;
  gint seconds = 1;
  const bool known =
      gst_structure_get_fraction(kind, "framerate", &frames, &seconds) && frames > 0 && seconds > 0;
  const double rate = known ? static_cast<double>(frames) / seconds : kAssumedRate;
  const double pixels = static_cast<double>(width) * height * rate * speed;
  return pixels <= kPixelsPerSecondOfOneThread ? 1 : 0;
}

void ChooseDecoderThreads(GstElement* decoder, double speed) {
  if (g_object_class_find_property(G_OBJECT_GET_CLASS(decoder), "max-threads") == nullptr) return;
  const GstPadPointer pad(gst_element_get_static_pad(decoder, "sink"));
  if (pad == nullptr) return;
  // The decoder opens its codec when it hears what the video is, so this must be heard first.
  gst_pad_add_probe(pad.get(), GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM, OnCaps, new double(speed),
                    [](gpointer data) { std::unique_ptr<double>(static_cast<double*>(data)); });
}

}  // namespace plexion_host::player
