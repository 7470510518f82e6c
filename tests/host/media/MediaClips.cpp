// Makes clips with the media framework.

#include "tests/host/media/MediaClips.h"

#include <gst/gst.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/host/media/ClipMaker.h"

namespace plexion_host::player {

MediaClips::MediaClips() {
  gst_init(nullptr, nullptr);
  char folder[] = "/tmp/plexion-media-XXXXXX";
  if (mkdtemp(folder) != nullptr) folder_ = folder;
}

MediaClips::~MediaClips() { std::filesystem::remove_all(folder_); }

std::string MediaClips::Make(const std::string& name, const std::string& pipeline) {
  const std::string path = PathOf(name);
  EXPECT_EQ("", MakeClip(path, pipeline));
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
