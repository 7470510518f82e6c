// Promises of the kernel's console.

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <sstream>

#include "kit/certify/Bench.h"
#include "kit/certify/Case.h"
#include "kit/certify/Groups.h"

namespace plexion_certify {
namespace {

/// What was written to standard output and standard error since it was made.
class Capture {
 public:
  explicit Capture(Case& c) : c_(c), from_(lseek(1, 0, SEEK_END)) {
    if (!c.GetOptions().consoleIsOutput) c.Skip("the profile says that the console is no output");
    char byte = 0;
    if (from_ < 0 || pread(1, &byte, 1, 0) < 0) {
      c.Skip("standard output cannot be read back: with --case it has to be a file, as 1<>FILE");
    }
  }

  std::string Read() const {
    std::string text;
    char buffer[4096];
    off_t at = from_;
    for (ssize_t count; (count = pread(1, buffer, sizeof(buffer), at)) > 0; at += count) {
      text.append(buffer, static_cast<size_t>(count));
    }
    return text;
  }
  /// Waits for `text`: a console may be written by a thread of its own.
  bool Shows(const std::string& text) const {
    return c_.Until([&] { return Read().find(text) != std::string::npos; }, 2000);
  }

 private:
  Case& c_;
  const off_t from_;
};

void Arrives(Case& c) {
  const Capture capture(c);
  c.Step("Printf of a line");
  c.Kernel().Printf("certify %s, %d\n", "one", 2);
  CERTIFY_REQUIRE(c, capture.Shows("certify one, 2\n"),
                  "\"certify one, 2\" on standard output or standard error",
                  "\"" + capture.Read() + "\"");
}

void Wide(Case& c) {
  const Capture capture(c);
  c.Step("Printf of 64-bit values under %d and %ld");
  c.Kernel().Printf("certify begin play: %d\n", int64_t{11});
  CERTIFY_REQUIRE(c, capture.Shows("certify begin play: 11\n"), "\"certify begin play: 11\"",
                  "\"" + capture.Read() + "\"");
  if (sizeof(long) < sizeof(int64_t)) return;  // the module hands over no more than that
  c.Kernel().Printf("certify %d %ld %d %s\n", int64_t{11}, int64_t{22}, int64_t{33}, "end");
  CERTIFY_REQUIRE(c, capture.Shows("certify 11 22 33 end\n"), "\"certify 11 22 33 end\"",
                  "\"" + capture.Read() + "\"");
  c.Kernel().Printf("certify %ld bytes\n", int64_t{1} << 40);
  CERTIFY_REQUIRE(c, capture.Shows("certify 1099511627776 bytes\n"),
                  "\"certify 1099511627776 bytes\"", "\"" + capture.Read() + "\"");
}

void Once(Case& c) {
  const Capture capture(c);
  c.Step("Printf of a text with a percent sign, handed in for %s");
  c.Kernel().Printf("certify %s\n", "100%d of %s");
  CERTIFY_REQUIRE(c, capture.Shows("certify 100%d of %s\n"),
                  "\"certify 100%d of %s\": conversions of the format only",
                  "\"" + capture.Read() + "\"");
}

void LongLine(Case& c) {
  const Capture capture(c);
  c.Step("Printf of 4,000 characters");
  const std::string text(4000, 'm');
  c.Kernel().Printf("certify %s|\n", text.c_str());
  CERTIFY_REQUIRE(c, capture.Shows("certify " + text + "|\n"),
                  "4,000 characters and what is behind them",
                  Text("%zu bytes", capture.Read().size()));
}

void Order(Case& c) {
  const Capture capture(c);
  c.Step("fifty lines, one after the other");
  std::string expected;
  for (int i = 0; i < 50; ++i) {
    c.Kernel().Printf("certify line %d\n", i);
    expected += "certify line " + std::to_string(i) + "\n";
  }
  CERTIFY_REQUIRE(
      c, capture.Shows(expected), "the fifty lines in their order",
      Text("%zu bytes of %zu, or another order", capture.Read().size(), expected.size()));
}

void WholeLines(Case& c) {
  const Capture capture(c);
  c.Step("four threads print 150 lines each");
  constexpr int kLines = 150;
  {
    const auto print = [&c](char who) {
      const std::string body(60, who);
      for (int i = 0; i < kLines; ++i) c.Kernel().Printf("<%s %s>\n", body.c_str(), body.c_str());
    };
    CaseThread one(c, [&] { print('a'); }), two(c, [&] { print('b'); });
    CaseThread three(c, [&] { print('c'); }), four(c, [&] { print('d'); });
  }
  std::string text;
  c.Until(
      [&] {
        text = capture.Read();
        return std::count(text.begin(), text.end(), '\n') >= 4 * kLines;
      },
      2000);
  std::istringstream lines(text);
  std::map<std::string, int> count;
  for (std::string line; std::getline(lines, line);) ++count[line];
  int missing = 0;
  for (const char who : {'a', 'b', 'c', 'd'}) {
    const std::string body(60, who), line = "<" + body + " " + body + ">";
    const int whole = count[line];
    count.erase(line);
    missing += kLines - whole;
  }
  // Others may print, too, but no pieces of ours.
  for (const auto& [line, times] : count) {
    if (line.find_first_of("<>") != std::string::npos) {
      c.Fail("each of the 600 lines whole", "\"" + line + "\"");
    }
  }
  CERTIFY_REQUIRE(c, missing == 0, "150 lines of each of four threads",
                  Text("%d of 600 are missing", missing));
}

constexpr Promise kPromises[] = {
    {"kernel.console.arrives", "What is printed arrives at the console.", Level::kBasic,
     "kernel.time.sleeps", Arrives},
    {"kernel.console.64-bit",
     "64-bit values under %d and %ld are read, and so is what stands behind them.", Level::kBasic,
     "kernel.console.arrives", Wide},
    {"kernel.console.once", "A text that is printed is formatted once.", Level::kContract,
     "kernel.console.arrives", Once},
    {"kernel.console.long", "A long text is not cut.", Level::kContract, "kernel.console.arrives",
     LongLine},
    {"kernel.console.order", "Lines stand in the order in which they were printed.",
     Level::kContract, "kernel.console.arrives", Order},
    {"kernel.console.whole-lines", "Lines of two threads are not mixed.", Level::kContract,
     "kernel.console.order kernel.thread.runs", WholeLines},
};

}  // namespace

PromiseGroup KernelConsolePromises() {
  return MakeGroup(
      "Kernel: console", "qx/core/IQXKernel.h",
      "Alerts, the banner and the usage text come this way. A console that goes elsewhere (a log\n"
      "service) is said in the profile: `\"consoleIsOutput\": false`.",
      kPromises);
}

}  // namespace plexion_certify
