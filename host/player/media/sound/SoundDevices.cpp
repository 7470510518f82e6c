// Asks the framework's device providers for outputs.
#include "host/player/media/sound/SoundDevices.h"

#include <cstdlib>
#include <functional>

#include "host/contracts/IHostSound.h"

namespace plexion_host::player {
namespace {

/// The names of an output: its display name, and that of its server where it has another one.
std::vector<std::string> NamesOf(GstDevice* device) {
  std::vector<std::string> names;
  const auto add = [&](gchar* raw) {
    const GTextPointer text(raw);
    if (text != nullptr && *text.get() != '\0' && (names.empty() || names[0] != text.get())) {
      names.emplace_back(text.get());
    }
  };
  add(gst_device_get_display_name(device));
  if (g_object_class_find_property(G_OBJECT_GET_CLASS(device), "internal-name") != nullptr) {
    gchar* name = nullptr;
    g_object_get(device, "internal-name", &name, nullptr);
    add(name);
  }
  return names;
}

/// Calls `visit` with each output until it answers false.
void VisitOutputs(const std::function<bool(GstDevice*)>& visit) {
  GstDeviceMonitor* monitor = gst_device_monitor_new();
  gst_device_monitor_add_filter(monitor, "Audio/Sink", nullptr);
  GList* devices = nullptr;
  if (gst_device_monitor_start(monitor) != FALSE) {
    devices = gst_device_monitor_get_devices(monitor);
    gst_device_monitor_stop(monitor);
  }
  for (GList* each = devices; each != nullptr; each = each->next) {
    if (!visit(GST_DEVICE(each->data))) break;
  }
  g_list_free_full(devices, gst_object_unref);
  gst_object_unref(monitor);
}

}  // namespace

std::vector<std::string> SoundOutputNames() {
  std::vector<std::string> all;
  VisitOutputs([&](GstDevice* device) {
    for (std::string& name : NamesOf(device)) all.push_back(std::move(name));
    return true;
  });
  return all;
}

GstElementPointer MakeSoundOutput(const std::string& name) {
  GstElementPointer made;
  VisitOutputs([&](GstDevice* device) {
    for (const std::string& each : NamesOf(device)) {
      if (each != name) continue;
      GstElement* const element = gst_device_create_element(device, nullptr);
      if (element != nullptr) made.reset(GST_ELEMENT(gst_object_ref_sink(element)));
      return false;
    }
    return true;
  });
  return made;
}

std::string ChosenSoundOutput() {
  const char* const name = std::getenv(kSoundOutputVariable);
  return name == nullptr || *name == '\0' ? "auto" : name;
}

}  // namespace plexion_host::player
