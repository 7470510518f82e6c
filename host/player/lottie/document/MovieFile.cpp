// The file of a movie.
#include "host/player/lottie/document/MovieFile.h"

#include <string.h>

#include <algorithm>

#include "host/player/content/ContentFile.h"

namespace plexion_host::movie {

namespace {
constexpr uint64_t kLargestFile = 32 * 1024 * 1024;
constexpr uint64_t kLargestManifest = 1024 * 1024;
constexpr size_t kReadAtOnce = 1024 * 1024;
}  // namespace

bool MovieFile::ReadBytes(const std::string& path, player::EngineHost& host,
                          player::EngineError& error) {
  player::ContentFile file;
  if (!file.Open(path, error)) return false;
  const uint64_t size = file.SizeBytes();
  error.status = qx::plexion::kErrorCorruptMovie;
  if (size > kLargestFile) {
    error.message = "the file has " + std::to_string(size) + " bytes; a movie has at most " +
                    std::to_string(kLargestFile);
    return false;
  }
  if (!file_.Resize(host.Memory(), static_cast<size_t>(size) + 1)) {
    error = {qx::plexion::kErrorNotEnoughMemory,
             "no memory for the file's " + std::to_string(size) + " bytes"};
    return false;
  }
  char* bytes = file_.As<char>();
  size_t done = 0;
  while (done < size) {
    if (host.Cancelled()) {
      error.message = "loading was stopped";
      return false;
    }
    const size_t wanted = std::min(kReadAtOnce, static_cast<size_t>(size) - done);
    const long got = file.Read(bytes + done, wanted, error);
    if (got < 0) return false;
    done += static_cast<size_t>(got);
    if (static_cast<size_t>(got) < wanted) break;  // it has become shorter meanwhile
  }
  bytes_ = {bytes, done};
  return true;
}

bool MovieFile::Open(const std::string& path, player::EngineHost& host,
                     player::EngineError& error) {
  if (!ReadBytes(path, host, error)) return false;
  error.status = qx::plexion::kErrorCorruptMovie;
  document_ = bytes_;
  if (Archive::IsArchive(bytes_)) {
    if (!OpenArchive(host, error.message)) return false;
    document_ = unpacked_.Text();
  } else if (bytes_.substr(0, 2) == "\x1f\x8b") {
    const auto cancelled = [&host] { return host.Cancelled(); };
    if (!Gunzip(bytes_, kLargestFile, host.Memory(), cancelled, unpacked_, error.message)) {
      return false;
    }
    document_ = unpacked_.Text();
  }
  if (document_.substr(0, 3) == "\xef\xbb\xbf") document_.remove_prefix(3);
  const void* zero = memchr(document_.data(), '\0', document_.size());
  if (zero != nullptr) {
    error.message = "a zero byte at byte " +
                    std::to_string(static_cast<const char*>(zero) - document_.data()) +
                    "; a movie is text";
    return false;
  }
  return true;
}

bool MovieFile::OpenArchive(player::EngineHost& host, std::string& error) {
  archived_ = true;
  const auto cancelled = [&host] { return host.Cancelled(); };
  Unpacked manifest;
  if (!archive_.Open(bytes_, error) || !archive_.Read("manifest.json", kLargestManifest,
                                                      host.Memory(), cancelled, manifest, error)) {
    return false;
  }
  Arena arena(host.Memory());
  JsonValue root;
  if (!ReadJson(manifest.Text(), {}, cancelled, arena, root, error)) {
    error = "manifest.json: " + error;
    return false;
  }
  auto text = [](const JsonValue* value) {
    return value != nullptr ? std::string(value->Text()) : std::string();
  };
  auto variable = [&host](const char* name) {
    for (const auto& entry : host.Settings().variables) {
      if (entry.first == name) return entry.second;
    }
    return std::string();
  };
  const JsonValue* list = root.Find("animations");
  const JsonValue* initial = root.Find("initial");
  std::string id = variable("animation");
  if (id.empty() && initial != nullptr) id = text(initial->Find("animation"));
  if (id.empty()) id = text(root.Find("activeAnimationId"));
  const JsonValue* animation = nullptr;
  if (list != nullptr) {
    for (const JsonValue& entry : list->Elements()) {
      const bool first = id.empty() && animation == nullptr;
      if (first || (!id.empty() && text(entry.Find("id")) == id)) animation = &entry;
    }
  }
  if (animation == nullptr) {
    error = id.empty() ? "the archive's manifest names no animation"
                       : "the archive has no animation \"" + id + "\"";
    return false;
  }
  id = text(animation->Find("id"));
  if (!ReadPart("a/", "animations/", id, host, unpacked_, error)) return false;
  std::string theme = variable("theme");
  if (theme.empty() && initial != nullptr) theme = text(initial->Find("theme"));
  if (theme.empty()) theme = text(animation->Find("initialTheme"));
  return theme.empty() || ReadPart("t/", "themes/", theme, host, theme_, error);
}

/// A part by its id, where the newer archives have it, or the older ones.
bool MovieFile::ReadPart(const std::string& folder, const std::string& oldFolder,
                         const std::string& id, player::EngineHost& host, Unpacked& bytes,
                         std::string& error) const {
  const auto cancelled = [&host] { return host.Cancelled(); };
  std::string name = folder + id + ".json";
  if (!archive_.Has(name)) name = oldFolder + id + ".json";
  if (archive_.Read(name, kLargestFile, host.Memory(), cancelled, bytes, error)) return true;
  error = name + ": " + error;
  return false;
}

bool MovieFile::ReadAsset(std::string_view name, uint64_t mostBytes, player::EngineHost& host,
                          Unpacked& bytes, std::string& error) const {
  if (!archived_) {
    error = "it is not in the document";
    return false;
  }
  const auto cancelled = [&host] { return host.Cancelled(); };
  while (!name.empty() && name[0] == '/') name.remove_prefix(1);
  const std::string file(name.substr(name.rfind('/') + 1));
  for (const std::string& candidate : {std::string(name), "i/" + file, "images/" + file}) {
    if (!archive_.Has(candidate)) continue;
    return archive_.Read(candidate, mostBytes, host.Memory(), cancelled, bytes, error);
  }
  error = "the archive has no file \"" + std::string(name) + "\"";
  return false;
}

}  // namespace plexion_host::movie
