// Owning pointers to the framework's objects.

#ifndef HOST_PLAYER_MEDIA_FRAMEWORK_GSTPOINTERS_H_
#define HOST_PLAYER_MEDIA_FRAMEWORK_GSTPOINTERS_H_

#include <gio/gio.h>
#include <gst/gst.h>
#include <gst/video/video.h>

#include <memory>
#include <string>

/// Owning pointers to what the media framework counts or wants freed in its own way.

namespace plexion_host::player {

// Named classes, no function pointers: many of the framework's releasing functions are inline.
struct GstRelease {
  void operator()(GstElement* owned) const { gst_object_unref(owned); }
  void operator()(GstBus* owned) const { gst_object_unref(owned); }
  void operator()(GstPad* owned) const { gst_object_unref(owned); }
  void operator()(GstClock* owned) const { gst_object_unref(owned); }
  void operator()(GstPluginFeature* owned) const { gst_object_unref(owned); }
  void operator()(GstCaps* owned) const { gst_caps_unref(owned); }
  void operator()(GstBuffer* owned) const { gst_buffer_unref(owned); }
  void operator()(GstSample* owned) const { gst_sample_unref(owned); }
  void operator()(GstMessage* owned) const { gst_message_unref(owned); }
  void operator()(GError* owned) const { g_error_free(owned); }
  void operator()(gchar* owned) const { g_free(owned); }
  void operator()(GTlsDatabase* owned) const { g_object_unref(owned); }
  void operator()(GTlsCertificate* owned) const { g_object_unref(owned); }
  void operator()(GTlsInteraction* owned) const { g_object_unref(owned); }
  void operator()(GUri* owned) const { g_uri_unref(owned); }
  void operator()(GstVideoConverter* owned) const { gst_video_converter_free(owned); }
};

template <typename T>
using GstOwned = std::unique_ptr<T, GstRelease>;

using GstElementPointer = GstOwned<GstElement>;
using GstBusPointer = GstOwned<GstBus>;
using GstPadPointer = GstOwned<GstPad>;
using GstClockPointer = GstOwned<GstClock>;
using GstFeaturePointer = GstOwned<GstPluginFeature>;
using GstCapsPointer = GstOwned<GstCaps>;
using GstBufferPointer = GstOwned<GstBuffer>;
using GstSamplePointer = GstOwned<GstSample>;
using GstMessagePointer = GstOwned<GstMessage>;
using GErrorPointer = GstOwned<GError>;
using GTextPointer = GstOwned<gchar>;
using TlsDatabasePointer = GstOwned<GTlsDatabase>;
using TlsCertificatePointer = GstOwned<GTlsCertificate>;
using TlsInteractionPointer = GstOwned<GTlsInteraction>;
using GUriPointer = GstOwned<GUri>;
using VideoConverterPointer = GstOwned<GstVideoConverter>;

inline std::string TextOf(const GTextPointer& text) {
  return text == nullptr ? std::string() : std::string(text.get());
}

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_MEDIA_FRAMEWORK_GSTPOINTERS_H_
