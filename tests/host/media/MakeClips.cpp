// Makes clips for stories of the built launcher, which have no media framework of their own.
#include <gst/gst.h>

#include <cstdio>

#include "tests/host/media/ClipMaker.h"

int main(int argc, char** argv) {
  if (argc < 3 || argc % 2 == 0) {
    std::fprintf(stderr, "usage: make_clips FILE PIPELINE [FILE PIPELINE ...]\n");
    return 2;
  }
  gst_init(nullptr, nullptr);
  for (int i = 1; i < argc; i += 2) {
    const std::string error = plexion_host::player::MakeClip(argv[i], argv[i + 1]);
    if (error.empty()) continue;
    std::fprintf(stderr, "make_clips: %s: %s\n", argv[i], error.c_str());
    return 1;
  }
  return 0;
}
