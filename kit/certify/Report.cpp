// Writes the table and the JSON document.

#include "kit/certify/Report.h"

#include <algorithm>
#include <cstdio>
#include <map>

namespace plexion_certify {
namespace {

std::string What(const Options& options) {
  std::string text =
      options.kernelFile.empty() ? "" : "  kernel             " + options.kernelFile + "\n";
  for (const auto& [name, file] : options.modules) {
    char line[64];
    snprintf(line, sizeof(line), "  %-18s ", name.c_str());
    text += line + (file.empty() ? std::string("as the kernel finds it") : file) + "\n";
  }
  return text;
}

std::map<Outcome, size_t> Count(const std::vector<Result>& results) {
  std::map<Outcome, size_t> counts;
  for (const Result& result : results) ++counts[result.outcome];
  return counts;
}

/// `text` in lines of what a terminal shows, each after `indent`.
std::string Wrapped(const std::string& label, const std::string& text) {
  constexpr size_t kWidth = 84;
  std::string out, line;
  const auto flush = [&] {
    char begin[32];
    snprintf(begin, sizeof(begin), "            %-9s ", out.empty() ? label.c_str() : "");
    out += begin + line + "\n";
    line.clear();
  };
  for (size_t at = 0; at < text.size();) {
    const size_t end = std::min(text.find(' ', at), text.size());
    if (!line.empty() && line.size() + 1 + end - at > kWidth) flush();
    line += (line.empty() ? "" : " ") + text.substr(at, end - at);
    at = end + 1;
  }
  if (!line.empty()) flush();
  return out;
}

std::string Reading(const PromiseGroup& group) {
  return std::string("docs/promises.md, \"") + group.title + "\"; " + group.header;
}

std::string Quoted(const std::string& text) {
  std::string out = "\"";
  for (const unsigned char byte : text) {
    if (byte == '"' || byte == '\\') {
      out += '\\';
      out += static_cast<char>(byte);
    } else if (byte < ' ' || byte >= 127) {
      // What a stranger prints need not be UTF-8: every byte as its code point.
      char escaped[8];
      snprintf(escaped, sizeof(escaped), "\\u%04x", byte);
      out += escaped;
    } else {
      out += static_cast<char>(byte);
    }
  }
  return out + "\"";
}

bool NothingTried(const std::vector<Result>& results) {
  return std::all_of(results.begin(), results.end(),
                     [](const Result& result) { return result.outcome == Outcome::kSkipped; });
}

}  // namespace

std::string TableOf(const Options& options, const std::vector<Result>& results, double seconds) {
  std::string out = "plexion-certify, seed " + std::to_string(options.seed) + ", level " +
                    LevelName(options.level) + "\n" + What(options);
  const PromiseGroup* group = nullptr;
  for (const Result& result : results) {
    const PromiseGroup& own = GroupOf(*result.promise);
    if (&own != group) {
      group = &own;
      out += "\n" + std::string(own.title) + "\n";
    }
    const bool broken = IsBroken(result.outcome);
    char line[160];
    std::string outcome = OutcomeName(result.outcome);
    if (broken) {
      std::transform(outcome.begin(), outcome.end(), outcome.begin(),
                     [](unsigned char c) { return static_cast<char>(toupper(c)); });
    }
    snprintf(line, sizeof(line), "  %-8s  %-44s %7.0f ms\n", outcome.c_str(), result.promise->id,
             result.seconds * 1000);
    out += line;
    if (broken || options.verbose) out += Wrapped("promise", result.promise->sentence);
    if (broken) {
      out += Wrapped("expected", result.expected);
      out += Wrapped("seen", result.seen);
      if (!result.step.empty()) out += Wrapped("while", result.step);
      if (!result.printed.empty()) out += Wrapped("it wrote", result.printed);
      out += Wrapped("read", Reading(own));
      out += Wrapped("again", std::string("--only ") + result.promise->id + " --seed " +
                                  std::to_string(options.seed));
    }
    if (!result.note.empty()) out += Wrapped("because", result.note);
  }

  const std::map<Outcome, size_t> counts = Count(results);
  out += "\n";
  std::string separator;
  for (const Outcome outcome : {Outcome::kPassed, Outcome::kFailed, Outcome::kCrashed,
                                Outcome::kHung, Outcome::kSkipped, Outcome::kWarning}) {
    const auto found = counts.find(outcome);
    out += separator + std::to_string(found == counts.end() ? 0 : found->second) + " " +
           OutcomeName(outcome);
    separator = ", ";
  }
  char took[48];
  snprintf(took, sizeof(took), " in %.1f s\n", seconds);
  out += took;
  const auto broken = std::find_if(results.begin(), results.end(),
                                   [](const Result& result) { return IsBroken(result.outcome); });
  if (broken != results.end()) {
    out += "Begin with " + std::string(broken->promise->id) +
           ": what comes later may follow from it.\n";
  } else if (NothingTried(results)) {
    out += "There was nothing to try.\n";
  } else if (ExitCodeOf(options, results) == 0) {
    out += "Every promise that was tried is kept.\n";
  }
  return out;
}

std::string JsonOf(const Options& options, const std::vector<Result>& results, double seconds) {
  char number[32];
  snprintf(number, sizeof(number), "%.3f", seconds);
  std::string out = "{\n\"format\": 1,\n\"seed\": " + std::to_string(options.seed) +
                    ",\n\"level\": " + Quoted(LevelName(options.level)) +
                    ",\n\"seconds\": " + number + ",\n\"kernel\": " + Quoted(options.kernelFile) +
                    ",\n\"modules\": {";
  std::string separator;
  for (const auto& [name, file] : options.modules) {
    out += separator + Quoted(name) + ": " + Quoted(file);
    separator = ", ";
  }
  out += "},\n\"counts\": {";
  separator.clear();
  for (const auto& [outcome, count] : Count(results)) {
    out += separator + Quoted(OutcomeName(outcome)) + ": " + std::to_string(count);
    separator = ", ";
  }
  out += "},\n\"results\": [";
  separator = "\n";
  for (const Result& result : results) {
    const PromiseGroup& group = GroupOf(*result.promise);
    snprintf(number, sizeof(number), "%.3f", result.seconds);
    out += separator + "{\"id\": " + Quoted(result.promise->id) +
           ", \"outcome\": " + Quoted(OutcomeName(result.outcome)) +
           ", \"level\": " + Quoted(LevelName(result.promise->level)) +
           ", \"promise\": " + Quoted(result.promise->sentence) + ", \"seconds\": " + number +
           ", \"section\": " + Quoted(group.title) + ", \"header\": " + Quoted(group.header);
    const std::pair<const char*, const std::string&> texts[] = {{"expected", result.expected},
                                                                {"seen", result.seen},
                                                                {"step", result.step},
                                                                {"note", result.note},
                                                                {"printed", result.printed}};
    for (const auto& [key, text] : texts) {
      if (!text.empty()) out += ", " + Quoted(key) + ": " + Quoted(text);
    }
    out += "}";
    separator = ",\n";
  }
  return out + "\n]\n}\n";
}

int ExitCodeOf(const Options& options, const std::vector<Result>& results) {
  if (NothingTried(results)) return 2;
  for (const Result& result : results) {
    if (IsBroken(result.outcome)) return 1;
    if (options.warningsFail && result.outcome == Outcome::kWarning) return 1;
  }
  return 0;
}

}  // namespace plexion_certify
