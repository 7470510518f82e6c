// A recording as a picture: threads as lanes on a time line.

#include "sim/replay/Drawing.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

#include "qx/plexion/StageWindowStatus.h"
#include "sim/replay/Story.h"

namespace plexion_sim {

using plexion_record::Decoder;
using plexion_record::Field;
using plexion_record::Operation;
using plexion_record::Record;
using plexion_record::Recording;
using plexion_record::RecordKind;

namespace {

constexpr int kLeft = 190;  // of the lanes' names
constexpr int kTop = 96;
constexpr int kRow = 11;
constexpr int kMostDepth = 6;
constexpr int kLockRow = 6;
constexpr int kNarrowest = 1100;
constexpr int kWidest = 16000;
constexpr double kPixelsPerMs = 1.0;
constexpr size_t kMostLanes = 200;
constexpr size_t kMostHappenings = 2000;

std::string Escaped(const std::string& text) {
  std::string escaped;
  for (const char each : text) {
    switch (each) {
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '&':
        escaped += "&amp;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        escaped += each;
    }
  }
  return escaped;
}

struct Lane {
  int top = 0;
  int depth = 0;                                         // rows of calls
  std::vector<size_t> open;                              // records of the calls that are not over
  std::map<uint64_t, std::pair<size_t, unsigned>> held;  // by lock: where taken, how often
  bool locks = false;
};

class Drawing {
 public:
  explicit Drawing(const Recording& recording) : recording_(recording) {
    const auto& records = recording.Records();
    const double ms = static_cast<double>(recording.ElapsedNs(records.back())) / 1e6;
    width_ = static_cast<int>(std::clamp(ms * kPixelsPerMs, double{kNarrowest}, double{kWidest}));
    scale_ = width_ / std::max(ms, 1.0);
  }

  std::string Draw() {
    Measure();
    const auto& records = recording_.Records();
    auto gap = recording_.Gaps().begin();
    for (size_t i = 0; i < records.size(); ++i) {
      if (gap != recording_.Gaps().end() && *gap == i) {
        DrawGap(i);
        ++gap;
      }
      DrawRecord(i);
    }
    // What never returned goes on to the end.
    for (auto& [thread, lane] : lanes_) {
      while (!lane.open.empty()) EndCall(lane, records.size() - 1, true);
      for (const auto& [lock, taken] : lane.held) DrawHeld(lane, taken.first, records.size() - 1);
    }
    return Page();
  }

 private:
  double X(const Record& record) const {
    return kLeft + static_cast<double>(recording_.ElapsedNs(record)) / 1e6 * scale_;
  }

  /// How deep each thread's calls are, for the lanes' heights.
  void Measure() {
    std::map<uint32_t, int> depths;
    for (const Record& record : recording_.Records()) {
      if (record.header.kind == RecordKind::kNote || record.header.thread == 0) continue;
      if (lanes_.size() >= kMostLanes && lanes_.count(record.header.thread) == 0) continue;
      Lane& lane = lanes_[record.header.thread];
      int& depth = depths[record.header.thread];
      if (record.header.kind == RecordKind::kEnter) depth = std::min(depth + 1, 1000);
      if (record.header.kind == RecordKind::kLeave) depth = std::max(depth - 1, 0);
      lane.depth = std::clamp(depth, std::max(lane.depth, 1), kMostDepth);
      lane.locks = lane.locks || record.header.operation == Operation::kMutexLock;
    }
    int top = kTop;
    for (auto& [thread, lane] : lanes_) {
      lane.top = top;
      top += lane.depth * kRow + (lane.locks ? kLockRow + 2 : 0) + 10;
    }
    height_ = top + 10;
  }

  void DrawRecord(size_t index) {
    const Record& record = recording_.Records()[index];
    const auto found = lanes_.find(record.header.thread);
    if (found == lanes_.end()) return;
    Lane& lane = found->second;
    switch (record.header.kind) {
      case RecordKind::kEnter:
        lane.open.push_back(index);
        Happens(record);
        break;
      case RecordKind::kLeave:
        if (!lane.open.empty()) EndCall(lane, index, false);
        break;
      case RecordKind::kWhole:
        DrawWhole(lane, index);
        break;
      case RecordKind::kNote:
        if (record.header.operation == Operation::kNoteLockWaits) {
          Box(lane.top + lane.depth * kRow, kLockRow, X(record), 2, "wait", record);
        }
        break;
    }
  }

  void EndCall(Lane& lane, size_t index, bool never) {
    const Record& record = recording_.Records()[lane.open.back()];
    const double begin = X(record);
    const double end = X(recording_.Records()[index]);
    const int depth = std::min<int>(static_cast<int>(lane.open.size()), kMostDepth) - 1;
    lane.open.pop_back();
    Box(lane.top + depth * kRow, kRow - 1, begin, end - begin,
        never                               ? "never"
        : IsInward(record.header.operation) ? "in"
                                            : "out",
        record);
  }

  void DrawWhole(Lane& lane, size_t index) {
    const Record& record = recording_.Records()[index];
    Decoder fields = record.Fields();
    Field lock;
    switch (record.header.operation) {
      case Operation::kMutexLock:
        if (!fields.Take('o', lock)) return;
        if (lane.held.emplace(lock.numbers[0], std::make_pair(index, 0U)).first->second.second++ >
            0) {
          return;
        }
        return;
      case Operation::kMutexUnlock: {
        if (!fields.Take('o', lock)) return;
        const auto held = lane.held.find(lock.numbers[0]);
        if (held == lane.held.end() || --held->second.second > 0) return;
        DrawHeld(lane, held->second.first, index);
        lane.held.erase(held);
        return;
      }
      case Operation::kKernelAllocate:
      case Operation::kKernelFree:
      case Operation::kKernelGetTime:
        return;
      default:
        break;
    }
    const int depth = std::min<int>(static_cast<int>(lane.open.size()), lane.depth - 1);
    Box(lane.top + depth * kRow, kRow - 1, X(record), 1, "out", record);
    Happens(record);
  }

  void DrawHeld(const Lane& lane, size_t from, size_t to) {
    const Record& taken = recording_.Records()[from];
    Box(lane.top + lane.depth * kRow + 1, kLockRow - 2, X(taken),
        X(recording_.Records()[to]) - X(taken), "held", taken);
  }

  void DrawGap(size_t index) {
    const double begin = index > 0 ? X(recording_.Records()[index - 1]) : kLeft;
    const double end = X(recording_.Records()[index]);
    Add("<rect class='gap' x='%.1f' y='%d' width='%.1f' height='%d'/>", begin, kTop - 6,
        std::max(end - begin, 4.0), height_ - kTop);
    for (auto& [thread, lane] : lanes_) {
      lane.open.clear();
      lane.held.clear();
    }
  }

  /// A box that is narrower than a pixel is drawn when it is the first there.
  void Box(int y, int height, double x, double width, const char* kind, const Record& record) {
    if (width < 1) {
      if (!small_.insert({y, static_cast<int>(x), *kind}).second) return;
      width = 1;
    }
    Add("<rect class='%s' x='%.1f' y='%d' width='%.1f' height='%d'><title>", kind, x, y, width,
        height);
    body_ += Escaped(StoryLine(recording_, record, 0)) + "</title></rect>";
    if (width > 60 && height > 8) {
      const std::string name = CallName(record);
      const auto room = static_cast<size_t>(width / 5.5);
      Add("<text class='call' x='%.1f' y='%d'>", x + 2, y + 8);
      body_ += Escaped(name.substr(0, room)) + "</text>";
    }
    body_ += '\n';
  }

  /// What a reader looks for first.
  void Happens(const Record& record) {
    const char* kind = nullptr;
    int y = 62;
    switch (record.header.operation) {
      case Operation::kOutputShowRegion:
        kind = "frame";
        y = 82;
        break;
      case Operation::kInstanceKeyDown:
      case Operation::kWindowResize:
      case Operation::kWindowResizeAndMove:
      case Operation::kWindowMoveTo:
      case Operation::kCommandExecute:
      case Operation::kServiceCreateStageWindowFor:
      case Operation::kServiceDestroyStageWindow:
        kind = "event";
        break;
      case Operation::kObserverOnNotification: {
        Decoder fields = record.Fields();
        Field observer;
        Field window;
        Field status;
        if (!fields.Take('o', observer) || !fields.Take('o', window) || !fields.Take('q', status)) {
          return;
        }
        if (status.number > qx::plexion::kStatusComplete &&
            status.number <= qx::plexion::kErrorUnsupportedVersion) {
          kind = "error";
        } else if (status.number <= qx::plexion::kStatusComplete ||
                   status.number == qx::plexion::kInfoWindowResized) {
          kind = "status";
        }
        break;
      }
      default:
        break;
    }
    if (kind == nullptr) return;
    if (*kind == 'f') {
      Box(y, 8, X(record), 0, kind, record);
      return;
    }
    Add("<circle class='%s' cx='%.1f' cy='%d' r='4'><title>", kind, X(record), y);
    body_ += Escaped(StoryLine(recording_, record, 0)) + "</title></circle>\n";
    if (happenings_.size() < kMostHappenings) {
      happenings_.push_back(std::string("<li class='") + kind + "'>" +
                            Escaped(StoryLine(recording_, record, 0)) + "</li>\n");
    }
  }

  template <typename... Values>
  void Add(const char* format, Values... values) {
    char text[256];
    std::snprintf(text, sizeof text, format, values...);
    body_ += text;
  }

  std::string Axis() {
    std::string axis;
    const double msPerPixel = 1 / scale_;
    double step = 1;
    // 1, 2, 5, 10, ... with eighty pixels or more between two.
    for (int i = 0; step < 80 * msPerPixel; ++i) step *= i % 3 == 1 ? 2.5 : 2;
    for (double ms = 0; ms * scale_ <= width_; ms += step) {
      char text[256];
      const double x = kLeft + ms * scale_;
      std::snprintf(text, sizeof text,
                    "<line class='axis' x1='%.1f' x2='%.1f' y1='40' y2='%d'/>"
                    "<text class='time' x='%.1f' y='34'>%g %s</text>\n",
                    x, x, height_, x, step >= 1000 ? ms / 1000 : ms, step >= 1000 ? "s" : "ms");
      axis += text;
    }
    return axis;
  }

  std::string Page() {
    std::string page =
        "<!DOCTYPE html>\n<html lang='en'><head><meta "
        "charset='utf-8'><title>Recording</title>\n"
        "<style>body{font:13px "
        "sans-serif;margin:12px;background:#fff;color:#222}"
        ".scroll{overflow-x:auto;border:1px solid #ccc}svg text{font:11px "
        "sans-serif}"
        "svg text.call{font-size:8px;fill:#fff;pointer-events:none}"
        ".in{fill:#2f6fb3}.out{fill:#d9822b}.never{fill:#b3202c}.held{fill:#"
        "777}.wait{fill:#e02020}"
        ".frame{fill:#2a9d4a}.event{fill:#7a3fb0}.status{fill:#888}.error{fill:"
        "#d01020}"
        ".gap{fill:#bbb;fill-opacity:.5}.axis{stroke:#ddd}.lane{fill:#f6f6f6}"
        "li.event,li.status,li.error{white-space:pre;font:12px "
        "monospace;list-style:none}"
        "li.error{color:#d01020;background:none}li.event{color:#7a3fb0}li."
        "status{color:#555}"
        "ul{padding:0}i{display:inline-block;width:10px;height:10px;margin:0 "
        "4px 0 12px}"
        "</style></head><body>\n<p>";
    const auto& records = recording_.Records();
    char text[160];
    std::snprintf(text, sizeof text, "%zu records, %.1f ms, %zu threads.", records.size(),
                  static_cast<double>(recording_.ElapsedNs(records.back())) / 1e6, lanes_.size());
    page += text;
    for (const auto& [color, name] : {std::pair("#2f6fb3", "calls into the module"),
                                      {"#d9822b", "calls out of it"},
                                      {"#777", "locks held"},
                                      {"#e02020", "waits for a lock"},
                                      {"#b3202c", "never returned"},
                                      {"#2a9d4a", "frames shown"},
                                      {"#7a3fb0", "asked for"},
                                      {"#888", "statuses"},
                                      {"#d01020", "errors"}}) {
      page += std::string("<i style='background:") + color + "'></i>" + name;
    }
    for (const std::string& fault : recording_.Faults()) {
      page += "<br>fault: " + Escaped(fault);
    }
    std::snprintf(text, sizeof text,
                  "</p>\n<div class='scroll'><svg xmlns='%s' width='%d' height='%d'>\n",
                  "http://www.w3.org/2000/svg", kLeft + width_ + 30, height_);
    page += text;
    for (const auto& [thread, lane] : lanes_) {
      std::snprintf(text, sizeof text,
                    "<rect class='lane' x='0' y='%d' width='%d' height='%d'/>"
                    "<text x='6' y='%d'>",
                    lane.top - 3, kLeft + width_ + 30,
                    lane.depth * kRow + (lane.locks ? kLockRow + 2 : 0) + 5, lane.top + 9);
      page += text + Escaped(recording_.ThreadName(thread)) + "</text>\n";
    }
    page +=
        "<text x='6' y='66'>what happened</text><text x='6' "
        "y='90'>frames</text>\n";
    page += Axis() + body_ + "</svg></div>\n<ul>\n";
    for (const std::string& each : happenings_) page += each;
    return page + "</ul></body></html>\n";
  }

  struct Spot {
    int y;
    int x;
    char kind;
    bool operator<(const Spot& other) const {
      return std::tie(y, x, kind) < std::tie(other.y, other.x, other.kind);
    }
  };

  const Recording& recording_;
  int width_ = kNarrowest;
  int height_ = 0;
  double scale_ = 1;
  std::map<uint32_t, Lane> lanes_;
  std::set<Spot> small_;
  std::string body_;
  std::vector<std::string> happenings_;
};

}  // namespace

std::string DrawRecording(const Recording& recording) { return Drawing(recording).Draw(); }

}  // namespace plexion_sim
