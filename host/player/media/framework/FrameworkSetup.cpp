// What the framework is told once for the whole process.

#include "host/player/media/framework/FrameworkSetup.h"

#include <gst/gst.h>
#include <string.h>

#include <mutex>

#include "host/player/image/PictureSize.h"

namespace plexion_host::player {

namespace {

struct Ranking {
  const char* part;
  guint rank;
};

constexpr Ranking kRankings[] = {
    // A codec library's decoders, which rank above it, cannot find the end of a BMP or TIFF file
    // without a parser before them. JPEG keeps its own decoder.
    {"gdkpixbufdec", GST_RANK_SECONDARY},
    // Fails with pictures whose colours are subsampled; the codec library's decoder does not.
    {"openjpegdec", GST_RANK_NONE + 1},
    // Waits for ever, with all the processor's time, when its content comes from a server and is
    // then stopped.
    {"avdemux_gif", GST_RANK_NONE},
    // Writes to the terminal where there is no sound card, and has nothing that the others lack.
    {"openalsink", GST_RANK_NONE},
};

/// Newer files of this kind have a mark at their end.
void FindTga(GstTypeFind* find, gpointer) {
  constexpr guint kHeader = 18;
  constexpr char kMark[] = "TRUEVISION-XFILE.";
  const guint8* head = gst_type_find_peek(find, 0, kHeader);
  if (head == nullptr || !LooksLikeTga(head, kHeader)) return;
  const guint8* tail = gst_type_find_peek(find, -static_cast<gint64>(sizeof kMark), sizeof kMark);
  const bool marked = tail != nullptr && memcmp(tail, kMark, sizeof kMark) == 0;
  gst_type_find_suggest_empty_simple(find, marked ? GST_TYPE_FIND_MAXIMUM : GST_TYPE_FIND_POSSIBLE,
                                     "image/x-tga");
}

void Recognise(const char* type, GstTypeFindFunction function) {
  GstCaps* caps = gst_caps_new_empty_simple(type);
  gst_type_find_register(nullptr, type, GST_RANK_MARGINAL, function, nullptr, caps, nullptr,
                         nullptr);
  gst_caps_unref(caps);
}

}  // namespace

void SetUpFramework() {
  static std::once_flag prepared;
  std::call_once(prepared, [] {
    for (const Ranking& ranking : kRankings) {
      GstPluginFeature* part = gst_registry_lookup_feature(gst_registry_get(), ranking.part);
      if (part == nullptr) continue;
      gst_plugin_feature_set_rank(part, ranking.rank);
      gst_object_unref(part);
    }
    Recognise("image/x-tga", FindTga);
  });
}

}  // namespace plexion_host::player
