#include "host/player/media/framework/FrameworkSetup.h"

#include <gst/gst.h>
#include <string.h>

#include <mutex>

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
    // then
    // stopped.
    {"avdemux_gif", GST_RANK_NONE},
    // Writes to the terminal where there is no sound card, and has nothing that the others lack.
    {"openalsink", GST_RANK_NONE},
};

unsigned Word(const guint8* bytes) { return bytes[0] | unsigned{bytes[1]} << 8; }

/// A TGA file begins with nothing but small numbers, which must fit together; newer ones have a
/// mark at their end.
void FindTga(GstTypeFind* find, gpointer) {
  constexpr guint kHeader = 18;
  constexpr char kMark[] = "TRUEVISION-XFILE.";
  const guint8* head = gst_type_find_peek(find, 0, kHeader);
  if (head == nullptr) return;
  const unsigned type = head[2] & ~8u;  // compressed or not
  const unsigned depth = head[16];
  const bool mapped = type == 1;
  const bool fits =
      (head[2] & ~11u) == 0 && type >= 1 && type <= 3 && head[1] == (mapped ? 1 : 0) &&
      Word(head + 12) > 0 && Word(head + 14) > 0 && (head[17] & 0xC0) == 0 &&
      (type == 2 ? depth == 15 || depth == 16 || depth == 24 || depth == 32 : depth == 8) &&
      (mapped ? Word(head + 5) > 0 && Word(head + 5) <= 256 : Word(head + 5) == 0);
  if (!fits) return;
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
