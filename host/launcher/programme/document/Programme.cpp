// What a programme's parts are found by, and what is not a document: folders and lists.
#include "host/launcher/programme/document/Programme.h"

#include <algorithm>
#include <filesystem>

#include "host/base/ReadFile.h"
#include "host/base/Text.h"
#include "host/launcher/programme/document/ContentKinds.h"

namespace plexion_host {
namespace {

namespace fs = std::filesystem;

constexpr size_t kLargestDocument = 16 * 1024 * 1024;

bool HasExtension(const std::string& path, std::initializer_list<const char*> extensions) {
  const std::string extension = ExtensionOf(path);
  return std::any_of(extensions.begin(), extensions.end(),
                     [&](const char* one) { return extension == one; });
}

/// Files that lie among contents without being one.
bool IsCompanion(const std::string& path) {
  return HasExtension(path, {".srt", ".vtt", ".ass", ".ssa", ".txt", ".md", ".part", ".tmp", ".db",
                             ".ini", ".m3u", ".m3u8", ".log"});
}

/// Digits count as numbers, so that 2.png comes before 10.png.
bool NaturalLess(const std::string& one, const std::string& other) {
  size_t a = 0;
  size_t b = 0;
  const auto digit = [](char c) { return c >= '0' && c <= '9'; };
  // Byte by byte outside of digits: UTF-8 keeps the order of code points that way, and no locale
  // makes two displays play in two orders.
  while (a < one.size() && b < other.size()) {
    if (!digit(one[a]) || !digit(other[b])) {
      if (one[a] != other[b]) return one[a] < other[b];
      ++a;
      ++b;
      continue;
    }
    // Leading zeros do not count, so longer means larger: no number is too long to be compared.
    while (a < one.size() && one[a] == '0') ++a;
    while (b < other.size() && other[b] == '0') ++b;
    const size_t firstA = a;
    const size_t firstB = b;
    while (a < one.size() && digit(one[a])) ++a;
    while (b < other.size() && digit(other[b])) ++b;
    if (a - firstA != b - firstB) return a - firstA < b - firstB;
    const int order = one.compare(firstA, a - firstA, other, firstB, b - firstB);
    if (order != 0) return order < 0;
  }
  // Equal but for zeros or letters at the end. Never "equal" for two different names, which sort
  // would leave in an order of chance.
  if (one.size() - a != other.size() - b) return one.size() - a < other.size() - b;
  return one < other;
}

void SingleZone(Programme& programme, const std::string& name) {
  programme.name = name;
  Zone zone;
  zone.name = "main";
  zone.playlist = "main";
  programme.zones.push_back(std::move(zone));
}

bool ReadList(const std::string& path, const std::string& text, Programme& programme,
              std::string& error) {
  Playlist playlist;
  playlist.name = "main";
  std::optional<int64_t> duration;
  size_t number = 0;
  for (std::string line : SplitAt(text, '\n')) {
    ++number;
    // Editors of other systems begin a text with a byte order mark; it would become a part of the
    // first address.
    if (number == 1 && line.compare(0, 3, "\xef\xbb\xbf") == 0) line.erase(0, 3);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.compare(0, 8, "#EXTINF:") == 0) {
      // "#EXTINF:30,Title": seconds; -1 or 0 for a content's own length.
      const std::string seconds = line.substr(8, line.find_first_of(",. ", 8) - 8);
      const std::optional<int64_t> read = ReadWholeNumber(seconds, -1, 10000000);
      duration.reset();
      if (read && *read > 0) duration = *read * 1000;
    }
    if (line.empty() || line[0] == '#') continue;
    Item item;
    const bool address = line.find("://") != std::string::npos;
    item.content =
        address || line[0] == '/' ? line : (fs::path(path).parent_path() / line).string();
    item.durationMs = duration;
    // 0 passes: repeated until the time is over.
    if (duration) item.passes = 0;
    item.line = number;
    duration.reset();
    playlist.items.push_back(std::move(item));
  }
  if (playlist.items.empty()) {
    error = "it names no content; expected a path or an address in a line of its own";
    return false;
  }
  SingleZone(programme, fs::path(path).stem().string());
  programme.playlists.push_back(std::move(playlist));
  return true;
}

void AddItems(const Programme& programme, const Playlist& playlist, unsigned depth,
              std::vector<Item>& items) {
  if (!playlist.folder.empty()) {
    std::string ignored;
    std::vector<Item> found = FolderItems(playlist.folder, ignored);
    items.insert(items.end(), found.begin(), found.end());
  }
  for (const Item& item : playlist.items) {
    if (items.size() >= kMostItems) return;
    const Playlist* const inner =
        item.playlist.empty() ? nullptr : programme.FindPlaylist(item.playlist);
    // The reader has refused deeper ones. A folder's or a list's programme has no inner ones at
    // all.
    if (inner != nullptr && depth < kDeepestPlaylist) {
      AddItems(programme, *inner, depth + 1, items);
    } else if (item.playlist.empty()) {
      items.push_back(item);
    }
  }
}

}  // namespace

const Playlist* Programme::FindPlaylist(const std::string& playlist) const {
  for (const Playlist& one : playlists) {
    if (one.name == playlist) return &one;
  }
  return nullptr;
}

const Zone* Programme::FindZone(const std::string& zone) const {
  for (const Zone& one : zones) {
    if (one.name == zone) return &one;
  }
  return nullptr;
}

std::vector<Item> FolderItems(const std::string& folder, std::string& error) {
  std::vector<std::string> names;
  std::error_code fault;
  for (fs::directory_iterator entry(folder, fault), end; !fault && entry != end;
       entry.increment(fault)) {
    const std::string name = entry->path().filename().string();
    // What a copy that is under way leaves (".name.XXXX", ".part"), and what file managers add, is
    // no content.
    if (name.empty() || name[0] == '.' || IsCompanion(name)) continue;
    std::error_code ignored;
    const bool application =
        entry->is_directory(ignored) && fs::exists(entry->path() / "application.xml", ignored);
    if (application || entry->is_regular_file(ignored)) names.push_back(name);
  }
  if (fault) error = "cannot read the folder '" + folder + "': " + fault.message();
  std::sort(names.begin(), names.end(), NaturalLess);
  std::vector<Item> items;
  for (const std::string& name : names) {
    Item item;
    item.content = (fs::path(folder) / name).string();
    items.push_back(std::move(item));
  }
  return items;
}

std::vector<Item> FlatItems(const Programme& programme, const std::string& playlist) {
  std::vector<Item> items;
  const Playlist* const found = programme.FindPlaylist(playlist);
  if (found != nullptr) AddItems(programme, *found, 0, items);
  return items;
}

bool OpenProgramme(const std::string& path, ICalendar& calendar, Programme& programme,
                   std::string& error) {
  std::error_code fault;
  programme = Programme();
  if (fs::is_directory(path, fault)) {
    // Read once only to say what is wrong with the folder, now and not at the first item. An empty
    // one is right: files may still come.
    std::string reason;
    FolderItems(path, reason);
    if (!reason.empty()) {
      error = reason;
      return false;
    }
    SingleZone(programme, fs::path(path).filename().string());
    Playlist playlist;
    playlist.name = "main";
    playlist.folder = path;
    programme.playlists.push_back(std::move(playlist));
    return true;
  }
  std::string text;
  bool good = ReadFile(path, kLargestDocument, text, error);
  if (good) {
    good = HasExtension(path, {".m3u", ".m3u8"})
               ? ReadList(path, text, programme, error)
               : ReadProgramme(text, fs::path(path).parent_path().string(), calendar, programme,
                               error);
  }
  if (good) return true;
  const bool isThere = fs::exists(path, fault);
  error =
      path + ": " + error + (isThere ? "" : "; expected a document, a folder, or a list (.m3u)");
  return false;
}

}  // namespace plexion_host
