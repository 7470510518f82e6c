// A kernel, and commands that write down their runs.

#include "tests/host/shell/ShellHost.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>

namespace plexion_host {
namespace {

constexpr int kPatienceMs = 20000;
constexpr std::chrono::milliseconds kPatience{kPatienceMs};

int ConsoleFd() {
  static const int fd = open("/dev/null", O_WRONLY | O_CLOEXEC);
  return fd;
}

}  // namespace

HostKernel& TestKernel() {
  static HostKernel* const kernel = [] {
    auto* const made = new HostKernel({"plexion"}, ModuleFiles(), ConsoleFd(), ConsoleFd());
    IQXModule_QXModule_PutKernel(made);
    return made;
  }();
  return *kernel;
}

void SendConsoleTo(int fd) {
  TestKernel();
  dup2(fd, ConsoleFd());
}

TestFolder::TestFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "plexion-shell-XXXXXX").string();
  path_ = mkdtemp(name.data()) != nullptr ? name : std::string();
}

TestFolder::~TestFolder() {
  std::error_code ignored;
  if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
}

bool Listener::ReadMore() {
  pollfd wait{fd_, POLLIN, 0};
  if (poll(&wait, 1, kPatienceMs) <= 0) return false;
  char bytes[1024];
  const ssize_t count = read(fd_, bytes, sizeof(bytes));
  if (count <= 0) return false;
  got_.append(bytes, static_cast<size_t>(count));
  return true;
}

std::string Listener::ReadUntil(const std::string& text) {
  size_t found = 0;
  while ((found = got_.find(text)) == std::string::npos) {
    if (!ReadMore()) return std::move(got_);
  }
  const std::string result = got_.substr(0, found + text.size());
  got_.erase(0, result.size());
  return result;
}

std::string Listener::ReadToEnd() {
  while (ReadMore()) {
  }
  return std::move(got_);
}

QXError EchoCommand::Execute(unsigned long argc, char** argv) {
  std::vector<std::string> words;
  std::string line;
  for (unsigned long i = 0; i < argc; ++i) {
    words.emplace_back(argv[i]);
    line += "[" + words.back() + "]";
  }
  IQXKernel::GetKernel()->Printf("%s\n", line.c_str());
  if (!message.empty()) IQXKernel::GetKernel()->Printf("%s\n", message.c_str());
  if (during) during();
  const std::lock_guard<std::mutex> lock(mutex_);
  runs_.push_back(words);
  changed_.notify_all();
  return result;
}

bool EchoCommand::WaitForRuns(size_t count) {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_for(lock, kPatience, [&] { return runs_.size() >= count; });
}

std::vector<std::vector<std::string>> EchoCommand::GetRuns() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return runs_;
}

void Gate::Open() {
  const std::lock_guard<std::mutex> lock(mutex_);
  open_ = true;
  opened_.notify_all();
}

bool Gate::Wait() {
  std::unique_lock<std::mutex> lock(mutex_);
  return opened_.wait_for(lock, kPatience, [&] { return open_; });
}

}  // namespace plexion_host
