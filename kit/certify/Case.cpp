// What a case says goes to the runner line by line; its threads are the kernel's.

#include "kit/certify/Case.h"

#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <system_error>

#include "kit/certify/Bench.h"

namespace plexion_certify {

std::string Text(const char* format, ...) {
  char buffer[1024];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(buffer, sizeof(buffer), format, arguments);
  va_end(arguments);
  return buffer;
}

Case::Case(Bench& bench, const Options& options)
    : random(options.seed), bench_(bench), options_(options) {}

IQXKernel& Case::Kernel() { return bench_.Kernel(); }

void Case::Say(char kind, const std::string& first, const std::string& second) {
  const auto flat = [](std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char byte) { return byte < ' '; }, ' ');
    // Tabs and line ends part what is said; the reader would take a stranger's text for a word of ours.
    return text.substr(0, 2000);
  };
  const std::string line = std::string(1, kind) + flat(first) + "\t" + flat(second) + "\n";
  // Shorter than what a pipe takes at once, so lines of two threads are not mixed.
  if (options_.reportFd < 0 || write(options_.reportFd, line.data(), line.size()) < 0) {
    fputs(line.c_str(), stderr);
  }
}

void Case::Step(const std::string& what) { Say('S', what); }

void Case::Record(const std::string& expected, const std::string& seen) {
  if (!failed_.exchange(true)) Say('F', expected, seen);
}

void Case::Fail(const std::string& expected, const std::string& seen) {
  Record(expected, seen);
  throw CaseOver();
}

void Case::Skip(const std::string& reason) {
  Say('K', reason);
  throw CaseOver();
}

void Case::Warn(const std::string& text) { Say('W', text); }

void Case::End() { Say('E', ""); }

bool Case::Until(const std::function<bool()>& condition, int milliseconds) {
  for (int i = 0; i < milliseconds; ++i) {
    if (condition()) return true;
    // By the kernel under test: a kernel with a scheduler of its own lets the others run then only.
    Kernel().Sleep(kMillisecond);
  }
  return condition();
}

void Case::SleepMs(int milliseconds) { Kernel().Sleep(milliseconds * kMillisecond); }

CaseThread::CaseThread(Case& c, std::function<void()> body, const char* name)
    : case_(c), kernel_(c.Kernel()), thread_(kernel_.CreateThread()), body_(std::move(body)) {
  if (thread_ == nullptr || !thread_->Start(name, &CaseThread::Run, this)) {
    c.Fail("a thread that starts",
           thread_ == nullptr ? "CreateThread answered null" : "Start answered false");
  }
}

CaseThread::~CaseThread() {
  Join();
  kernel_.DestroyThread(thread_);
}

void CaseThread::Join() { thread_->Join(IQXKernel::kInfinite); }

void CaseThread::Run(IQXKernel::Thread*, void* self) {
  auto* const thread = static_cast<CaseThread*>(self);
  try {
    thread->body_();
  } catch (const CaseOver&) {
    // It has said why.
  } catch (const std::exception& error) {
    thread->case_.Record("no exception of the case's own", error.what());
  }
  // Last, also after a failure: whoever waits for it must not wait for ever.
  thread->ended_ = true;
}

long ResidentBytes() {
  long pages = 0;
  FILE* const file = fopen("/proc/self/statm", "r");
  if (file == nullptr) return 0;
  if (fscanf(file, "%*d %ld", &pages) != 1) pages = 0;
  fclose(file);
  return pages * sysconf(_SC_PAGESIZE);
}

namespace {
int EntriesOf(const char* folder) {
  std::error_code failed;
  const std::filesystem::directory_iterator begin(folder, failed);
  return failed ? 0 : static_cast<int>(std::distance(begin, std::filesystem::directory_iterator()));
}
std::string MakeFolder() {
  const char* const base = getenv("TMPDIR");
  std::string pattern = std::string(base != nullptr ? base : "/tmp") + "/plexion-certify-XXXXXX";
  const char* const made = mkdtemp(pattern.data());
  if (made == nullptr) {
    throw std::filesystem::filesystem_error("a temporary folder", pattern,
                                            std::error_code(errno, std::generic_category()));
  }
  return made;
}
}  // namespace

int ThreadCount() { return EntriesOf("/proc/self/task"); }

// The one that looks is not counted.
int DescriptorCount() { return EntriesOf("/proc/self/fd") - 1; }

TemporaryFolder::TemporaryFolder() : path(MakeFolder()) {}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path, ignored);
}

}  // namespace plexion_certify
