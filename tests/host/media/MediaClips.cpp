// Makes clips with the media framework.

#include "tests/host/media/MediaClips.h"

#include <gst/gst.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace plexion_host::player {

MediaClips::MediaClips() {
  gst_init(nullptr, nullptr);
  char folder[] = "/tmp/plexion-media-XXXXXX";
  if (mkdtemp(folder) != nullptr) folder_ = folder;
}

MediaClips::~MediaClips() { std::filesystem::remove_all(folder_); }

std::string MediaClips::Make(const std::string& name, const std::string& pipeline) {
  const std::string path = PathOf(name);
  std::string description = pipeline;
  const size_t mark = description.find('%');
  if (mark != std::string::npos) description.replace(mark, 1, "\"" + path + "\"");
  GError* fault = nullptr;
  GstElement* running = gst_parse_launch(description.c_str(), &fault);
  if (running == nullptr || fault != nullptr) {
    ADD_FAILURE() << description << ": " << (fault == nullptr ? "" : fault->message);
    g_clear_error(&fault);
    if (running != nullptr) gst_object_unref(running);
    return path;
  }
  gst_element_set_state(running, GST_STATE_PLAYING);
  GstBus* bus = gst_element_get_bus(running);
  GstMessage* end = gst_bus_timed_pop_filtered(
      bus, 60 * GST_SECOND, static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR));
  EXPECT_TRUE(end != nullptr && GST_MESSAGE_TYPE(end) == GST_MESSAGE_EOS) << description;
  if (end != nullptr) gst_message_unref(end);
  gst_object_unref(bus);
  gst_element_set_state(running, GST_STATE_NULL);
  gst_object_unref(running);
  return path;
}

std::string MediaClips::Write(const std::string& name, const std::string& bytes) {
  std::ofstream(PathOf(name), std::ios::binary) << bytes;
  return PathOf(name);
}

std::string MediaClips::Read(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
}

}  // namespace plexion_host::player
