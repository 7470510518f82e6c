// From a document's text to a programme, with line, path and expectation for what is wrong.
#include <algorithm>
#include <map>
#include <set>
#include <string_view>

#include "host/base/Text.h"
#include "host/contracts/ContentGround.h"
#include "host/launcher/programme/document/FieldReader.h"
#include "host/launcher/programme/document/Programme.h"
#include "host/launcher/programme/time/LocalTime.h"

namespace plexion_host {
namespace {

constexpr uint32_t kLargestSide = 16384;
constexpr int64_t kShortestItemMs = 100;
constexpr size_t kMostZones = 32;

const char* const kDayNames[] = {"mon", "tue", "wed", "thu", "fri", "sat", "sun"};
const char* const kRuleDays[] = {"MO", "TU", "WE", "TH", "FR", "SA", "SU"};

// Reads on after a mistake, since FieldReader keeps the first error and hands out nothing more: no
// step needs an early return, and the first mistake of the document is the one that is told.
class Reader {
 public:
  Reader(const std::string& folder, ICalendar& calendar, Programme& programme, std::string& error)
      : folder_(folder), calendar_(calendar), programme_(programme), error_(error) {}

  void Read(const JsonNode& root) {
    FieldReader fields(root, "", error_);
    if (const auto name = fields.Text("name")) programme_.name = *name;
    if (const auto zone = fields.Text("timezone")) {
      programme_.timeZone = *zone;
      if (calendar_.OpenZone(*zone) < 0) {
        fields.Fail(*root.Find("timezone"), "timezone",
                    "\"" + *zone + "\" is not known; expected a name like \"Europe/Rome\"");
      }
    }
    if (const JsonNode* const screen = fields.Object("screen")) ReadScreen(*screen);
    if (const auto ms = fields.Duration("duration", kShortestItemMs)) {
      programme_.defaultDurationMs = *ms;
    }
    const double volume = ReadVolume(fields).value_or(1);
    if (const auto show = fields.Flag("showReason")) programme_.showReason = *show;
    if (const JsonNode* const playlists = fields.Object("playlists")) ReadPlaylists(*playlists);
    if (const JsonNode* const zones = fields.Array("zones")) ReadZones(*zones);
    if (const JsonNode* const schedule = fields.Array("schedule")) ReadSchedule(*schedule);
    if (const auto fallback = fields.Text("fallback")) programme_.fallback = *fallback;
    // Editors read it. Asked for, so that Finish does not call it unknown.
    fields.Any("$schema");
    fields.Require("playlists", root.Find("playlists") != nullptr,
                   "an object of playlists by name");
    fields.Finish();
    if (programme_.zones.empty()) {
      Zone zone;
      zone.name = "main";
      // Who says neither where nor when means the list that is there.
      const bool plain = programme_.schedule.empty() && !programme_.playlists.empty();
      if (plain) zone.playlist = programme_.playlists.front().name;
      programme_.zones.push_back(std::move(zone));
    }
    // What is said of all counts in each zone.
    for (Zone& zone : programme_.zones) zone.volume *= volume;
    // Last, when all names are there: playlists may be used further up than they stand.
    CheckNames(fields, root);
  }

 private:
  void ReadScreen(const JsonNode& node) {
    FieldReader fields(node, "screen", error_);
    if (const auto size = fields.Text("size")) {
      const std::vector<std::string> sides = SplitAt(*size, 'x');
      std::optional<int64_t> width;
      std::optional<int64_t> height;
      if (sides.size() == 2) {
        width = ReadWholeNumber(sides[0], 1, kLargestSide);
        height = ReadWholeNumber(sides[1], 1, kLargestSide);
      }
      if (!width || !height) {
        fields.Fail(*node.Find("size"), "screen.size",
                    "\"" + *size + "\" is no size; expected WIDTHxHEIGHT like \"1920x1080\"");
      } else {
        programme_.width = static_cast<uint32_t>(*width);
        programme_.height = static_cast<uint32_t>(*height);
      }
    }
    if (const auto degrees = fields.Number("rotation", 0, 270)) {
      programme_.rotation = static_cast<uint32_t>(*degrees);
      // Compared as numbers first: 90.5 would pass the test of the remainder.
      if (*degrees != programme_.rotation || programme_.rotation % 90 != 0) {
        fields.Fail(*node.Find("rotation"), "screen.rotation", "expected 0, 90, 180 or 270");
      }
    }
    if (const auto background = fields.Text("background")) {
      programme_.background = ReadColour(*background);
      if (!programme_.background) {
        fields.Fail(*node.Find("background"), "screen.background",
                    "\"" + *background + "\" is no colour; expected one like \"#203040\"");
      }
    }
    fields.Finish();
  }

  /// A playlist is a list of items; a folder's name; or an object with either and more.
  void ReadPlaylists(const JsonNode& node) {
    for (const auto& [name, value] : node.members) {
      Playlist playlist;
      playlist.name = name;
      const std::string path = "playlists." + name;
      if (value.kind == JsonNode::Kind::kArray) {
        ReadItems(value, path, playlist);
      } else if (value.kind == JsonNode::Kind::kText) {
        playlist.folder = Beside(value.text);
      } else {
        FieldReader fields(value, path, error_);
        if (const JsonNode* const items = fields.Array("items")) {
          ReadItems(*items, path + ".items", playlist);
        }
        if (const auto folder = fields.Text("folder")) playlist.folder = Beside(*folder);
        if (const auto align = fields.Duration("align", 1000)) playlist.alignMs = *align;
        fields.Require("items", !playlist.items.empty() || !playlist.folder.empty(),
                       "a list of items, or \"folder\"");
        fields.Finish();
      }
      programme_.playlists.push_back(std::move(playlist));
    }
  }

  void ReadItems(const JsonNode& node, const std::string& path, Playlist& playlist) {
    for (size_t i = 0; i < node.elements.size(); ++i) {
      const JsonNode& element = node.elements[i];
      Item item;
      item.line = element.line;
      if (element.kind == JsonNode::Kind::kText) {
        item.content = Beside(element.text);
      } else {
        ReadItem(element, FieldReader::Element(path, i), item);
      }
      playlist.items.push_back(std::move(item));
    }
  }

  void ReadItem(const JsonNode& node, const std::string& path, Item& item) {
    FieldReader fields(node, path, error_);
    if (const auto content = fields.Text("content")) item.content = Beside(*content);
    // An item may also stand for a whole playlist, which is read in its place.
    if (const auto playlist = fields.Text("playlist")) item.playlist = *playlist;
    item.durationMs = fields.Duration("duration", kShortestItemMs);
    // What has a duration is repeated until that is over, unless it says how often.
    if (item.durationMs) item.passes = 0;
    if (const auto passes = fields.Number("passes", 0, 1000000)) {
      item.passes = static_cast<uint64_t>(*passes);
    }
    item.fit = ReadFitOf(fields);
    item.captions = ReadCaptions(fields);
    item.volume = ReadVolume(fields);
    item.transition = ReadTransitionOf(fields);
    if (const JsonNode* const variables = fields.Object("variables")) {
      item.variables = ReadVariables(*variables, path + ".variables");
    }
    fields.Require("content", item.content.empty() != item.playlist.empty(),
                   "it, or \"playlist\", and not both");
    if (item.passes == 0 && !item.durationMs) {
      fields.Fail(node, path, "it has no end: \"passes\" is 0; expected a \"duration\" as well");
    }
    fields.Finish();
  }

  std::string ReadVariables(const JsonNode& node, const std::string& path) {
    std::string text;
    for (const auto& [name, value] : node.members) {
      FieldReader fields(node, path, error_);
      if (value.kind != JsonNode::Kind::kText) {
        fields.Fail(value, path + "." + name,
                    std::string("it is ") + KindName(value.kind) + "; expected a text");
        return text;
      }
      if (!text.empty()) text += '&';
      text += EncodePercent(name) + "=" + EncodePercent(value.text);
    }
    return text;
  }

  static std::optional<Fit> ReadFitOf(FieldReader& fields) {
    const auto word = fields.Word("fit", {"contain", "cover", "stretch", "none"});
    if (!word) return std::nullopt;
    return static_cast<Fit>(*word);
  }

  /// true, false, or a file beside the document.
  std::string ReadCaptions(FieldReader& fields) const {
    const JsonNode* const node = fields.Any("captions");
    if (node == nullptr) return {};
    if (node->kind == JsonNode::Kind::kBool) return node->flag ? "on" : "off";
    if (node->kind == JsonNode::Kind::kText && !node->text.empty()) return Beside(node->text);
    fields.Fail(*node, fields.PathOf("captions"), "expected true, false or a file's name");
    return {};
  }

  static std::optional<double> ReadVolume(FieldReader& fields) {
    const auto percent = fields.Number("volume", 0, 100);
    const auto mute = fields.Flag("mute");
    if (mute && *mute) return 0;
    if (!percent) return std::nullopt;
    return *percent / 100;
  }

  /// "fade", or {"kind": "push", "duration": "500ms", "direction": "up"}.
  std::optional<Transition> ReadTransitionOf(FieldReader& fields) {
    const JsonNode* const node = fields.Any("transition");
    if (node == nullptr) return std::nullopt;
    // A word is read as an object with nothing but its kind, so that both forms have the same
    // defaults and the same messages.
    JsonNode whole;
    if (node->kind == JsonNode::Kind::kText) {
      whole.kind = JsonNode::Kind::kObject;
      whole.line = node->line;
      whole.members.emplace_back("kind", *node);
    } else {
      whole = *node;
    }
    FieldReader inner(whole, fields.PathOf("transition"), error_);
    Transition transition;
    const auto kind = inner.Word("kind", {"cut", "fade", "push", "wipe"});
    inner.Require("kind", kind.has_value(), "cut, fade, push or wipe");
    // The list of words stands in the order of the enumeration, whose first value means that nobody
    // said anything.
    if (kind) transition.kind = static_cast<Transition::Kind>(*kind + 1);
    if (transition.kind != Transition::Kind::kCut) transition.durationMs = Transition::kUsualMs;
    if (const auto ms = inner.Duration("duration", 0)) {
      transition.durationMs = *ms;
      if (*ms > Transition::kLongestMs) {
        inner.Fail(*whole.Find("duration"), inner.PathOf("duration"),
                   "it is too long for a transition; expected at most a minute");
      }
    }
    if (const auto direction = inner.Word("direction", {"left", "right", "up", "down"})) {
      transition.direction = static_cast<Transition::Direction>(*direction);
    }
    inner.Finish();
    return transition;
  }

  void ReadZones(const JsonNode& node) {
    if (node.elements.size() > kMostZones) {
      FieldReader(node.elements[0], "zones", error_)
          .Fail(node, "zones",
                "there are " + std::to_string(node.elements.size()) + "; expected at most " +
                    std::to_string(kMostZones));
      return;
    }
    for (size_t i = 0; i < node.elements.size(); ++i) {
      const std::string path = FieldReader::Element("zones", i);
      FieldReader fields(node.elements[i], path, error_);
      Zone zone;
      if (const auto name = fields.Text("name")) zone.name = *name;
      fields.Require("name", !zone.name.empty(), "a name of its own");
      if (const JsonNode* const rect = fields.Array("rect")) ReadRect(*rect, path, zone, fields);
      zone.fit = ReadFitOf(fields);
      if (const auto volume = ReadVolume(fields)) zone.volume = *volume;
      if (const auto transition = ReadTransitionOf(fields)) zone.transition = *transition;
      if (const auto playlist = fields.Text("playlist")) zone.playlist = *playlist;
      fields.Finish();
      if (programme_.FindZone(zone.name) != nullptr) {
        fields.Fail(node.elements[i], path, "there are two zones \"" + zone.name + "\"");
      }
      programme_.zones.push_back(std::move(zone));
    }
  }

  static void ReadRect(const JsonNode& node, const std::string& path, Zone& zone,
                       FieldReader& fields) {
    const char* const expected =
        "expected [x, y, width, height], each pixels or a text like \"50%\"";
    if (node.elements.size() != 4) {
      fields.Fail(node, path + ".rect", expected);
      return;
    }
    Length* const lengths[] = {&zone.x, &zone.y, &zone.width, &zone.height};
    for (size_t i = 0; i < 4; ++i) {
      const JsonNode& element = node.elements[i];
      Length length;
      bool good = element.kind == JsonNode::Kind::kNumber;
      if (good) length.value = element.number;
      if (element.kind == JsonNode::Kind::kText && !element.text.empty() &&
          element.text.back() == '%') {
        const auto percent =
            ReadNumber(std::string_view(element.text).substr(0, element.text.size() - 1));
        length.value = percent.value_or(0);
        length.percent = true;
        good = percent.has_value();
      }
      // x and y may lie outside of the screen: a zone may be seen in part. A side of zero could not
      // be drawn into.
      const bool side = i >= 2;
      good = good && length.value >= (side ? 0.001 : -double{kLargestSide}) &&
             length.value <= kLargestSide;
      if (!good) {
        fields.Fail(element, FieldReader::Element(path + ".rect", i), expected);
        return;
      }
      *lengths[i] = length;
    }
  }

  void ReadSchedule(const JsonNode& node) {
    for (size_t i = 0; i < node.elements.size(); ++i) {
      const JsonNode& element = node.elements[i];
      FieldReader fields(element, FieldReader::Element("schedule", i), error_);
      Entry entry;
      entry.line = element.line;
      if (const auto playlist = fields.Text("playlist")) entry.playlist = *playlist;
      fields.Require("playlist", !entry.playlist.empty(), "a playlist's name");
      if (const auto zone = fields.Text("zone")) entry.zone = *zone;
      ReadDays(fields, element, entry);
      ReadTimes(fields, element, entry);
      if (const auto priority = fields.Number("priority", -100, 100)) {
        entry.priority = static_cast<int>(*priority);
      }
      if (const auto word = fields.Word("interrupt", {"cut", "after-item", "resume"})) {
        entry.interruption = static_cast<Interruption>(*word);
      }
      fields.Finish();
      programme_.schedule.push_back(std::move(entry));
    }
  }

  void ReadDays(FieldReader& fields, const JsonNode& element, Entry& entry) {
    if (const JsonNode* const days = fields.Array("days")) {
      std::string list;
      for (const JsonNode& day : days->elements) {
        const auto* const found = std::find(std::begin(kDayNames), std::end(kDayNames), day.text);
        if (found == std::end(kDayNames)) {
          fields.Fail(day, fields.PathOf("days"), "expected mon, tue, wed, thu, fri, sat, sun");
          return;
        }
        list += (list.empty() ? "" : ",") + std::string(kRuleDays[found - kDayNames]);
      }
      if (list.empty()) fields.Fail(*days, fields.PathOf("days"), "it is empty; expected a day");
      // "days" is a short form of a rule: one engine, the calendar's, answers for both.
      entry.rule = "FREQ=WEEKLY;BYDAY=" + list;
    }
    if (const auto rule = fields.Text("rule")) {
      if (!entry.rule.empty()) {
        fields.Fail(element, fields.PathOf("rule"), "\"days\" is there as well; expected one");
      }
      std::string why;
      if (!calendar_.IsRule(*rule, why))
        fields.Fail(*element.Find("rule"), fields.PathOf("rule"), why);
      entry.rule = *rule;
    }
    const auto date = [&](const char* name, int32_t& day) {
      const auto text = fields.Text(name);
      if (!text) return;
      const auto read = ReadDate(*text);
      if (read) day = *read;
      if (!read) {
        fields.Fail(*element.Find(name), fields.PathOf(name),
                    "\"" + *text + "\" is no date; expected YYYY-MM-DD");
      }
    };
    date("firstDate", entry.firstDay);
    date("lastDate", entry.lastDay);
    if (entry.firstDay > entry.lastDay) {
      fields.Fail(element, fields.PathOf("lastDate"), "it lies before \"firstDate\"");
    }
  }

  static void ReadTimes(FieldReader& fields, const JsonNode& element, Entry& entry) {
    const auto time = [&](const char* name, int32_t& ms) {
      const auto text = fields.Text(name);
      if (!text) return;
      const auto read = ReadTimeOfDay(*text);
      if (read) ms = *read;
      if (!read) {
        fields.Fail(
            *element.Find(name), fields.PathOf(name),
            "\"" + *text + "\" is no time of day; expected HH:MM or HH:MM:SS, 00:00 to 24:00");
      }
    };
    time("from", entry.fromMs);
    time("to", entry.toMs);
    // The end of a day may be said as 24:00; as a beginning it would be the next day's, which is
    // not what "from" on a day means.
    if (entry.fromMs == kDayMs) entry.fromMs = 0;
  }

  /// Names that are used must be there, and no playlist may hold itself.
  void CheckNames(FieldReader& fields, const JsonNode& root) {
    Index index;
    for (const Playlist& playlist : programme_.playlists) index[playlist.name] = &playlist;
    const auto known = [&](const std::string& name) {
      return name.empty() || index.count(name) != 0;
    };
    const auto missing = [&](const std::string& name) {
      constexpr size_t kMostNamed = 20;
      std::vector<std::string> names;
      for (const Playlist& playlist : programme_.playlists) {
        if (names.size() < kMostNamed) names.push_back(playlist.name);
      }
      if (names.size() < programme_.playlists.size()) names.emplace_back("another");
      return "there is no playlist \"" + name + "\"; expected " + Join(names);
    };
    // A place that has a line and nothing else: Fail asks for no more.
    JsonNode at;
    if (!known(programme_.fallback)) {
      fields.Fail(*root.Find("fallback"), "fallback", missing(programme_.fallback));
    }
    for (size_t i = 0; i < programme_.zones.size(); ++i) {
      const std::string& name = programme_.zones[i].playlist;
      if (known(name)) continue;
      fields.Fail(*root.Find("zones")->elements[i].Find("playlist"),
                  FieldReader::Element("zones", i) + ".playlist", missing(name));
    }
    for (size_t i = 0; i < programme_.schedule.size(); ++i) {
      const Entry& entry = programme_.schedule[i];
      const std::string path = FieldReader::Element("schedule", i);
      at.line = entry.line;
      if (!known(entry.playlist)) fields.Fail(at, path + ".playlist", missing(entry.playlist));
      if (!entry.zone.empty() && programme_.FindZone(entry.zone) == nullptr) {
        fields.Fail(at, path + ".zone", "there is no zone \"" + entry.zone + "\"");
      }
    }
    // Each playlist is measured once, however many use it: lists that use each other twice, sixteen
    // deep, come to 65536 visits otherwise.
    std::map<std::string_view, Extent> measured;
    for (const Playlist& playlist : programme_.playlists) {
      for (const Item& item : playlist.items) {
        at.line = item.line;
        if (known(item.playlist)) continue;
        fields.Fail(at, "playlists." + playlist.name, missing(item.playlist));
        return;
      }
      // The chain of lists that lead here. Whoever stands in it twice holds itself.
      std::set<std::string_view> above;
      if (const char* const wrong = Measure(playlist, index, above, measured)) {
        fields.Fail(*root.Find("playlists")->Find(playlist.name), "playlists." + playlist.name,
                    wrong);
        return;
      }
    }
  }

  struct Extent {
    size_t items = 0;    ///< with all that is in it; what a folder holds nobody knows yet
    unsigned depth = 0;  ///< how many playlists lie in each other
  };
  using Index = std::map<std::string_view, const Playlist*>;

  /// How far a playlist reaches; each is looked into once. Returns  what is wrong, or null.
  const char* Measure(const Playlist& playlist, const Index& index,
                      std::set<std::string_view>& above,
                      std::map<std::string_view, Extent>& measured) const {
    if (measured.count(playlist.name) != 0) return nullptr;
    if (!above.insert(playlist.name).second) {
      return "it holds itself, by way of the playlists in it";
    }
    Extent extent;
    const char* const deep = "playlists lie more than 16 deep in each other";
    static_assert(kDeepestPlaylist == 16, "as the message says");
    if (above.size() > kDeepestPlaylist + 1) return deep;
    for (const Item& item : playlist.items) {
      const auto inner = index.find(item.playlist);
      if (item.playlist.empty() || inner == index.end()) {
        ++extent.items;
        continue;
      }
      if (const char* const wrong = Measure(*inner->second, index, above, measured)) return wrong;
      const Extent& of = measured[inner->second->name];
      // Capped on the way, so that the product of a few large lists cannot wrap.
      extent.items = std::min(extent.items + of.items, kMostItems + 1);
      extent.depth = std::max(extent.depth, of.depth + 1);
    }
    if (extent.depth > kDeepestPlaylist) return deep;
    if (extent.items > kMostItems)
      return "it comes to more than 1000000 items with all that is in it";
    above.erase(playlist.name);
    measured[playlist.name] = extent;
    return nullptr;
  }

  std::string Beside(const std::string& name) const {
    const bool absolute = name.empty() || name[0] == '/' || name.find("://") != std::string::npos;
    return absolute || folder_.empty() ? name : folder_ + "/" + name;
  }

  const std::string& folder_;
  ICalendar& calendar_;
  Programme& programme_;
  std::string& error_;
};

}  // namespace

bool ReadProgramme(const std::string& text, const std::string& folder, ICalendar& calendar,
                   Programme& programme, std::string& error) {
  error.clear();
  JsonNode root;
  if (!ReadJsonTree(text, root, error)) return false;
  Programme read;
  Reader(folder, calendar, read, error).Read(root);
  if (!error.empty()) return false;
  programme = std::move(read);
  return true;
}

}  // namespace plexion_host
