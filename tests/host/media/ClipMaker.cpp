// Runs a pipeline that writes a clip.

#include "tests/host/media/ClipMaker.h"

#include <gst/gst.h>

namespace plexion_host::player {

std::string MakeClip(const std::string& path, std::string pipeline) {
  const size_t mark = pipeline.find('%');
  if (mark != std::string::npos) pipeline.replace(mark, 1, "\"" + path + "\"");
  GError* fault = nullptr;
  GstElement* running = gst_parse_launch(pipeline.c_str(), &fault);
  if (running == nullptr || fault != nullptr) {
    std::string error = pipeline + ": " + (fault == nullptr ? "" : fault->message);
    g_clear_error(&fault);
    if (running != nullptr) gst_object_unref(running);
    return error;
  }
  gst_element_set_state(running, GST_STATE_PLAYING);
  GstBus* bus = gst_element_get_bus(running);
  GstMessage* end = gst_bus_timed_pop_filtered(
      bus, 60 * GST_SECOND, static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR));
  const bool done = end != nullptr && GST_MESSAGE_TYPE(end) == GST_MESSAGE_EOS;
  if (end != nullptr) gst_message_unref(end);
  gst_object_unref(bus);
  gst_element_set_state(running, GST_STATE_NULL);
  gst_object_unref(running);
  return done ? "" : pipeline + ": it does not come to an end";
}

}  // namespace plexion_host::player
