// Opens libavcodec and finds its operations.

#include "host/player/media/decoder/CodecLibrary.h"

#include <dlfcn.h>

#include <type_traits>

namespace plexion_host::player {

namespace {

/// Of the interface that its headers, which this is compiled with, describe.
constexpr char kFile[] = "libavcodec.so." AV_STRINGIFY(LIBAVCODEC_VERSION_MAJOR);

struct OpenedCodecs {
  CodecLibrary library = {};
  std::string fault;
};

OpenedCodecs OpenCodecs() {
  OpenedCodecs opened;
  void* const handle = dlopen(kFile, RTLD_LAZY | RTLD_LOCAL);
  const auto find = [&](auto& operation, const char* name) {
    // What it was linked with, libavutil above all, is found through it as well.
    void* const address = handle == nullptr ? nullptr : dlsym(handle, name);
    operation = reinterpret_cast<std::remove_reference_t<decltype(operation)>>(address);
    if (address != nullptr || !opened.fault.empty()) return;
    const char* const fault = dlerror();
    opened.fault = std::string("cannot open ") + kFile +
                   " (Debian's libavcodec59): " + (fault == nullptr ? "no reason" : fault);
  };
  CodecLibrary& library = opened.library;
  find(library.avcodec_find_decoder, "avcodec_find_decoder");
  find(library.avcodec_alloc_context3, "avcodec_alloc_context3");
  find(library.avcodec_free_context, "avcodec_free_context");
  find(library.avcodec_open2, "avcodec_open2");
  find(library.avcodec_send_packet, "avcodec_send_packet");
  find(library.avcodec_receive_frame, "avcodec_receive_frame");
  find(library.avcodec_flush_buffers, "avcodec_flush_buffers");
  find(library.av_packet_alloc, "av_packet_alloc");
  find(library.av_packet_free, "av_packet_free");
  find(library.av_frame_alloc, "av_frame_alloc");
  find(library.av_frame_free, "av_frame_free");
  find(library.av_frame_clone, "av_frame_clone");
  find(library.av_mallocz, "av_mallocz");
  find(library.av_log_set_level, "av_log_set_level");
  // It writes of each damaged byte to the terminal; what matters is told by the framework's messages.
  if (opened.fault.empty()) library.av_log_set_level(AV_LOG_QUIET);
  return opened;
}

}  // namespace

const CodecLibrary* CodecLibrary::Get(std::string& reason) {
  // Decoders that were left behind may still work when the process ends.
  static const auto* const opened = new OpenedCodecs(OpenCodecs());
  if (opened->fault.empty()) return &opened->library;
  reason = opened->fault;
  return nullptr;
}

}  // namespace plexion_host::player
