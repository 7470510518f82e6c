// Reads or downloads a picture as a whole, and gives up when it is told to.

#include "host/player/media/pictures/PictureBytes.h"

#include <gst/app/gstappsink.h>
#include <string.h>

#include <algorithm>

#include "host/player/WatchedMemory.h"
#include "host/player/content/ContentFile.h"
#include "host/player/media/framework/GstPointers.h"
#include "host/player/media/net/HttpFaults.h"
#include "host/player/media/pipeline/MediaFaults.h"

namespace plexion_host::player {

namespace {

constexpr uint64_t kMostBytes = uint64_t{256} * 1024 * 1024;
/// One part of a file, after which the host is asked whether it still wants the rest.
constexpr size_t kPart = 1024 * 1024;
constexpr size_t kFirstCapacity = 64 * 1024;
constexpr GstClockTime kGlance = 20 * GST_MSECOND;

// Shares of the work of a load, in percent.
constexpr uint64_t kDownloadBegins = 40;
constexpr uint64_t kDownloadEnds = 95;

const EngineError kStopped = {qx::plexion::kErrorFatalPlaybackError, "loading was stopped"};

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

PictureBytes::~PictureBytes() { FreeWatched(data_); }

bool PictureBytes::Reserve(uint64_t bytes, EngineError& error) {
  if (bytes <= capacity_) return true;
  if (bytes > kMostBytes) {
    error = {qx::plexion::kErrorNotEnoughMemory,
             "the picture's file is larger than " + std::to_string(kMostBytes) + " bytes"};
    return false;
  }
  void* larger = AllocateWatched(host_.Memory(), bytes);
  if (larger == nullptr) {
    error = {qx::plexion::kErrorNotEnoughMemory,
             "no memory for the " + std::to_string(bytes) + " bytes of the picture's file"};
    return false;
  }
  if (size_ > 0) memcpy(larger, data_, size_);
  FreeWatched(data_);
  data_ = static_cast<uint8_t*>(larger);
  capacity_ = bytes;
  return true;
}

bool PictureBytes::Append(const void* bytes, size_t count, EngineError& error) {
  if (count > capacity_ - size_ &&
      !Reserve(
          std::max({uint64_t{size_} + count, uint64_t{capacity_} * 2, uint64_t{kFirstCapacity}}),
          error)) {
    return false;
  }
  memcpy(data_ + size_, bytes, count);
  size_ += count;
  return true;
}

bool PictureBytes::ReadFile(const std::string& path, EngineError& error) {
  ContentFile file;
  if (!file.Open(path, error) || !Reserve(file.SizeBytes(), error)) return false;
  while (size_ < capacity_) {
    if (host_.Cancelled()) {
      error = kStopped;
      return false;
    }
    const long got = file.Read(data_ + size_, std::min(kPart, capacity_ - size_), error);
    if (got < 0) return false;
    // The file has become shorter.
    if (got == 0) break;
    size_ += static_cast<size_t>(got);
  }
  return true;
}

bool PictureBytes::Download(const std::string& uri, HttpAccess& access, EngineError& error) {
  class Download download;
  if (!download.Start(uri, access, error)) return false;
  uint64_t length = 0;
  while (!host_.Cancelled()) {
    if (const GstSamplePointer sample = download.Next()) {
      if (length == 0) length = download.Length();
      if (length > 0 && !Reserve(length, error)) return false;
      GstBuffer* buffer = gst_sample_get_buffer(sample.get());
      GstMapInfo map;
      if (buffer == nullptr || !gst_buffer_map(buffer, &map, GST_MAP_READ)) continue;
      const bool taken = Append(map.data, map.size, error);
      gst_buffer_unmap(buffer, &map);
      if (!taken) return false;
      if (length > 0) {
        host_.ReportProgress(static_cast<unsigned>(kDownloadBegins +
                                                   (kDownloadEnds - kDownloadBegins) *
                                                       std::min<uint64_t>(size_, length) / length));
      }
      continue;
    }
    if (const GstMessagePointer fault = download.Fault()) {
      error = MediaFaults().FromError(fault.get());
      ExplainHttpFault(fault.get(), uri, access, host_, error);
      return false;
    }
    if (download.AtEnd()) return true;
  }
  error = kStopped;
  return false;
}

}  // namespace plexion_host::player
