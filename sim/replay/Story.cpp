// A recording as text for people.

#include "sim/replay/Story.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <map>

namespace plexion_sim {

using plexion_record::Decoder;
using plexion_record::Field;
using plexion_record::Operation;
using plexion_record::Record;
using plexion_record::Recording;
using plexion_record::RecordKind;

namespace {

/// The names of the fields, one after the other; "->" stands before the
/// results.
class FieldNames {
 public:
  explicit FieldNames(const char* text) : at_(text) {}
  /// Empty when there are no more.
  std::string Next() {
    while (*at_ == ' ') ++at_;
    const char* const end = std::strchr(at_, ' ');
    std::string name = end != nullptr ? std::string(at_, end) : std::string(at_);
    at_ += name.size();
    return name;
  }

 private:
  const char* at_;
};

/// "name value" after "name value"; a list takes all that follows it.
std::string Named(Decoder fields, FieldNames names) {
  std::string text;
  Field field;
  uint64_t listed = 0;
  while (fields.Next(field)) {
    std::string part = Describe(field);
    if (field.note) part = "{" + part + "}";
    if (listed == 0) {
      const std::string name = names.Next();
      if (!name.empty()) part = name + " " + part;
    } else {
      --listed;
    }
    if (field.tag == 'l' && field.numbers[0] < 4096) listed = field.numbers[0];
    text += (text.empty() ? "" : ", ") + part;
  }
  return text;
}

/// Whether the operation's records begin with the object that it is called on.
bool HasSelf(Operation operation) {
  const char* const name = OperationName(operation);
  return !IsNote(operation) && std::strncmp(name, "Kernel.", 7) != 0 &&
         std::strncmp(name, "Module.", 7) != 0 && operation != Operation::kThreadProcedure;
}

std::string Arguments(const Record& record, bool results) {
  const char* names = OperationFields(record.header.operation);
  if (results) {
    const char* const arrow = std::strstr(names, "->");
    names = arrow != nullptr ? arrow + 2 : "";
  }
  Decoder fields = record.Fields();
  if (!results && HasSelf(record.header.operation)) {
    Field self;
    fields.Next(self);
  }
  // In a record of both the arrow takes a name's place; what is named wrongly
  // then would mislead.
  std::string plain(names);
  if (!results) {
    const size_t arrow = plain.find("->");
    if (arrow != std::string::npos && record.header.kind == RecordKind::kWhole) {
      plain.replace(arrow, 2, "");
    } else if (arrow != std::string::npos) {
      plain.resize(arrow);
    }
  }
  return Named(fields, FieldNames(plain.c_str()));
}

}  // namespace

std::string CallName(const Record& record) {
  const std::string name = OperationName(record.header.operation);
  if (!HasSelf(record.header.operation) || record.header.kind == RecordKind::kLeave) return name;
  Decoder fields = record.Fields();
  Field self;
  if (!fields.Take('o', self)) return name;
  return Describe(self) + name.substr(name.find('.'));
}

std::string StoryLine(const Recording& recording, const Record& record, unsigned depth) {
  const uint64_t ns = recording.ElapsedNs(record);
  char head[96];
  std::snprintf(head, sizeof head, "%8" PRIu64 " %8" PRIu64 ".%06" PRIu64 "  ", record.number,
                ns / 1000000, ns % 1000000);
  std::string thread = recording.ThreadName(record.header.thread);
  thread.resize(std::max<size_t>(thread.size(), 26), ' ');
  std::string line = head + thread + std::string(2 * size_t{depth < 20 ? depth : 20}, ' ');
  switch (record.header.kind) {
    case RecordKind::kEnter:
      line += (IsInward(record.header.operation) ? "> " : "< ") + CallName(record) + "(" +
              Arguments(record, false) + ")";
      break;
    case RecordKind::kLeave: {
      const std::string results = Arguments(record, true);
      line += "= " + CallName(record) + (results.empty() ? "" : ": " + results);
      break;
    }
    case RecordKind::kWhole:
      line += "< " + CallName(record) + "(" + Arguments(record, false) + ")";
      break;
    case RecordKind::kNote:
      line += "- " + CallName(record) + " " + Arguments(record, false);
      break;
  }
  if ((record.header.flags & plexion_record::kCut) != 0) line += " (cut)";
  return line;
}

bool IsMinor(const Record& record) {
  switch (record.header.operation) {
    case Operation::kKernelAllocate:
    case Operation::kKernelFree:
    case Operation::kKernelGetTime:
    case Operation::kMutexLock:
    case Operation::kMutexUnlock:
    case Operation::kInstanceGetStageWindowStatus:
    case Operation::kWatchdogAlloc:
    case Operation::kWatchdogFree:
      return true;
    default:
      return false;
  }
}

void WriteStory(const Recording& recording, bool all, void (*write)(const std::string& line)) {
  const auto& header = recording.Header();
  const auto started = static_cast<std::time_t>(header.startedUnixMs / 1000);
  std::tm utc{};
  char date[64] = "";
  if (gmtime_r(&started, &utc) != nullptr) {
    std::strftime(date, sizeof date, "%Y-%m-%d %H:%M:%S UTC", &utc);
  }
  const auto& records = recording.Records();
  write("recording of " + std::string(date) + ", " + std::to_string(header.pointerBits) +
        " bits, " + std::to_string(records.size()) + " records, " +
        std::to_string(recording.ElapsedNs(records.back()) / 1000000) + " ms");
  for (const std::string& fault : recording.Faults()) write("fault: " + fault);
  write("> into the module, < out of it, = what a call returned, - a note");
  std::map<uint32_t, unsigned> depths;
  auto gap = recording.Gaps().begin();
  for (size_t i = 0; i < records.size(); ++i) {
    const Record& record = records[i];
    if (gap != recording.Gaps().end() && *gap == i) {
      const uint64_t before = i > 0 ? records[i - 1].number : 0;
      write("... " + std::to_string(record.number - 1 - before) +
            " records were dropped by the ring ...");
      depths.clear();
      ++gap;
    }
    unsigned& depth = depths[record.header.thread];
    if (record.header.kind == RecordKind::kLeave && depth > 0) --depth;
    if (all || !IsMinor(record)) write(StoryLine(recording, record, depth));
    if (record.header.kind == RecordKind::kEnter) ++depth;
  }
}

}  // namespace plexion_sim
