// Pictures that the player decodes itself, where the media engine finds one.
#include <algorithm>
#include <utility>

#include "host/player/content/ContentFile.h"
#include "host/player/media/MediaEngine.h"
#include "host/player/media/pictures/PictureDownload.h"

namespace plexion_host::player {

bool MediaEngine::ReadHead(std::vector<uint8_t>& head) const {
  // What is wrong with the file is told by whoever opens it next.
  EngineError ignored;
  ContentFile file;
  if (content_.path.empty() || !file.Open(content_.path, ignored) || file.IsDirectory()) {
    return false;
  }
  head.resize(std::min<uint64_t>(kPictureHead, file.SizeBytes()));
  const long count = file.Read(head.data(), head.size(), ignored);
  head.resize(static_cast<size_t>(std::max(count, 0L)));
  return count > 0;
}

/// What comes from a server is known once the framework has looked at its first bytes.
PictureFormat MediaEngine::FormatOfRemote() const {
  if (content_.url.empty() || pipeline_ == nullptr) return PictureFormat::kNone;
  const std::string head = pipeline_->FirstBytes();
  const PictureFormat format =
      PictureFormatOf(reinterpret_cast<const uint8_t*>(head.data()), head.size());
  // The framework has most of a still PNG or JPEG picture by now; it is not fetched once more.
  const bool still = format == PictureFormat::kPng || format == PictureFormat::kJpeg;
  return still ? PictureFormat::kNone : format;
}

bool MediaEngine::LoadPicture(ContentFacts& facts, EngineError& error) {
  pipeline_.reset();
  picture_ = std::make_unique<PictureEngine>(host_);
  if (content_.url.empty()) return picture_->Load(content_, facts, error);
  auto bytes = std::make_unique<PictureBytes>(host_);
  return DownloadPicture(content_.url, access_, host_, *bytes, error) &&
         picture_->LoadBytes(content_.name, std::move(bytes), facts, error);
}

}  // namespace plexion_host::player
