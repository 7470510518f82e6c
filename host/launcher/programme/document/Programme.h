// A programme: what plays where and when. Plain data, read from a document, a folder or a list.

#ifndef HOST_LAUNCHER_PROGRAMME_DOCUMENT_PROGRAMME_H_
#define HOST_LAUNCHER_PROGRAMME_DOCUMENT_PROGRAMME_H_

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/contracts/ContentFit.h"
#include "host/contracts/ICalendar.h"
#include "host/launcher/options/Transition.h"

namespace plexion_host {

/// What an entry of higher priority does to what plays.
enum class Interruption {
  kCut,        ///< ends it at the moment
  kAfterItem,  ///< waits for the end of the item
  kResume      ///< pauses it, and goes on with it afterwards
};

/// A length on the screen: pixels, or a share of it.
struct Length {
  double value = 0;
  bool percent = false;
  double Of(uint32_t whole) const { return percent ? value * whole / 100 : value; }
};

struct Item {
  std::string content;                ///< a path or an address; empty: `playlist`
  std::string playlist;               ///< the items of another playlist stand here
  std::optional<int64_t> durationMs;  ///< none: as long as the content, or the programme's default
  uint64_t passes = 1;                ///< of content with an end; 0: until the duration is over
  std::optional<Fit> fit;
  std::string captions;          ///< "on", "off" or a file; empty: as for all
  std::optional<double> volume;  ///< factor 0 to 1; muted is 0
  std::optional<Transition> transition;
  std::string variables;  ///< name=value&...
  size_t line = 0;        ///< in the document, for messages; 0: of none
};

struct Playlist {
  std::string name;
  std::vector<Item> items;
  std::string folder;   ///< not empty: the items are what lies in it, by name, and it is watched
  int64_t alignMs = 0;  ///< not 0: passes begin at multiples of this since midnight
};

struct Zone {
  std::string name;
  Length x, y, width{100, true}, height{100, true};
  std::optional<Fit> fit;
  double volume = 1;
  Transition transition;
  std::string playlist;  ///< what plays when the schedule says nothing; empty: the fallback
};

/// When something plays: on some days between two times of day, in the programme's time zone.
struct Entry {
  std::string playlist;
  std::string zone;
  std::string rule;  ///< RFC 5545 recurrence of the days, "FREQ=WEEKLY;BYDAY=MO,TU"; empty: daily
  int32_t firstDay = INT32_MIN;  ///< days since 1970-01-01, the first that counts
  int32_t lastDay = INT32_MAX;
  int32_t fromMs = 0;               ///< time of day
  int32_t toMs = 24 * 3600 * 1000;  ///< not after `fromMs`: on the next day
  int priority = 0;
  Interruption interruption = Interruption::kCut;
  size_t line = 0;
};

/// What a playlist may come to with all that is in it, and how deep those may lie in each other.
constexpr size_t kMostItems = 1000000;
constexpr unsigned kDeepestPlaylist = 16;

struct Programme {
  std::string name;
  std::string timeZone;  ///< "Europe/Rome"; empty: the system's
  uint32_t width = 0;    ///< of the screen; 0: the display's own
  uint32_t height = 0;
  uint32_t rotation = 0;               ///< degrees clockwise: 0, 90, 180 or 270
  std::optional<uint32_t> background;  ///< 0x00RRGGBB, where nothing else is; none: black
  int64_t defaultDurationMs = 10000;   ///< of what has no end of its own
  std::vector<Zone> zones;             ///< bottom first; never empty
  std::vector<Playlist> playlists;
  std::vector<Entry> schedule;
  std::string fallback;  ///< a playlist; empty: a plain picture with name and reason
  bool showReason = true;

  const Playlist* FindPlaylist(const std::string& playlist) const;
  const Zone* FindZone(const std::string& zone) const;
};

/// Reads a document's text. Relative contents lie beside the document, in `folder`.
/// Returns  false with "line N, path: what is wrong; expected ..." in `error`.
bool ReadProgramme(const std::string& text, const std::string& folder, ICalendar& calendar,
                   Programme& programme, std::string& error);

/// Opens a programme by its name: a document, a folder (a playlist in the order of names), or a list
/// of contents (.m3u, .m3u8).
/// Returns  false with the path and what is wrong in `error`.
bool OpenProgramme(const std::string& path, ICalendar& calendar, Programme& programme,
                   std::string& error);

/// The contents of a folder in the order of their names: files that are not hidden, and folders
/// that hold an application. A folder that cannot be read gives none, with the reason in `error`.
std::vector<Item> FolderItems(const std::string& folder, std::string& error);

/// The items of a playlist with those of the playlists in it. A playlist within itself is refused
/// when the programme is read.
std::vector<Item> FlatItems(const Programme& programme, const std::string& playlist);

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_PROGRAMME_DOCUMENT_PROGRAMME_H_
