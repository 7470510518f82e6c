// Downloads a picture as a whole, and gives up when it is told to.

#include "host/player/media/pictures/PictureDownload.h"

#include <gst/app/gstappsink.h>

#include <algorithm>

#include "host/player/media/framework/GstPointers.h"
#include "host/player/media/net/HttpFaults.h"
#include "host/player/media/pipeline/MediaFaults.h"

namespace plexion_host::player {

namespace {

constexpr GstClockTime kGlance = 20 * GST_MSECOND;

// Shares of the work of a load, in percent.
constexpr uint64_t kDownloadBegins = 40;
constexpr uint64_t kDownloadEnds = 95;

/// A source of the framework with a sink that hands over what comes, run for as long as it lives.
class Download {
 public:
  Download() = default;
  Download(const Download&) = delete;
  Download& operator=(const Download&) = delete;
  ~Download() {
    if (pipeline_ != nullptr) gst_element_set_state(pipeline_.get(), GST_STATE_NULL);
  }

  bool Start(const std::string& uri, HttpAccess& access, EngineError& error) {
    GError* rawFault = nullptr;
    GstElement* source = gst_element_make_from_uri(GST_URI_SRC, uri.c_str(), nullptr, &rawFault);
    const GErrorPointer fault(rawFault);
    GstElement* sink = gst_element_factory_make("appsink", nullptr);
    if (source == nullptr || sink == nullptr) {
      error = {qx::plexion::kErrorInvalidURL,
               fault == nullptr ? "nothing can read this address" : fault->message};
      return false;
    }
    access.SetUp(source);
    g_object_set(sink, "sync", FALSE, "max-buffers", 16u, nullptr);
    pipeline_.reset(GST_ELEMENT(gst_object_ref_sink(gst_pipeline_new(nullptr))));
    gst_bin_add_many(GST_BIN(pipeline_.get()), source, sink, nullptr);
    gst_element_link(source, sink);
    sink_ = sink;
    gst_element_set_state(pipeline_.get(), GST_STATE_PLAYING);
    return true;
  }
  GstSamplePointer Next() {
    return GstSamplePointer(gst_app_sink_try_pull_sample(GST_APP_SINK(sink_), kGlance));
  }
  bool AtEnd() { return gst_app_sink_is_eos(GST_APP_SINK(sink_)) != FALSE; }
  /// Null while nothing has gone wrong.
  GstMessagePointer Fault() {
    const GstBusPointer bus(gst_element_get_bus(pipeline_.get()));
    return GstMessagePointer(gst_bus_pop_filtered(bus.get(), GST_MESSAGE_ERROR));
  }
  /// 0 when the server does not say.
  uint64_t Length() {
    gint64 length = 0;
    return gst_element_query_duration(pipeline_.get(), GST_FORMAT_BYTES, &length) != FALSE &&
                   length > 0
               ? static_cast<uint64_t>(length)
               : 0;
  }

 private:
  GstElementPointer pipeline_;
  GstElement* sink_ = nullptr;  // the pipeline's
};

}  // namespace

bool DownloadPicture(const std::string& uri, HttpAccess& access, EngineHost& host,
                     PictureBytes& bytes, EngineError& error) {
  Download download;
  if (!download.Start(uri, access, error)) return false;
  uint64_t length = 0;
  while (!host.Cancelled()) {
    if (const GstSamplePointer sample = download.Next()) {
      if (length == 0) length = download.Length();
      if (length > 0 && !bytes.Reserve(length, error)) return false;
      GstBuffer* buffer = gst_sample_get_buffer(sample.get());
      GstMapInfo map;
      if (buffer == nullptr || !gst_buffer_map(buffer, &map, GST_MAP_READ)) continue;
      const bool taken = bytes.Append(map.data, map.size, error);
      gst_buffer_unmap(buffer, &map);
      if (!taken) return false;
      if (length > 0) {
        host.ReportProgress(static_cast<unsigned>(
            kDownloadBegins +
            (kDownloadEnds - kDownloadBegins) * std::min<uint64_t>(bytes.Size(), length) / length));
      }
      continue;
    }
    if (const GstMessagePointer fault = download.Fault()) {
      error = MediaFaults().FromError(fault.get());
      ExplainHttpFault(fault.get(), uri, access, host, error);
      return false;
    }
    if (download.AtEnd()) return true;
  }
  error = {qx::plexion::kErrorFatalPlaybackError, "loading was stopped"};
  return false;
}

}  // namespace plexion_host::player
