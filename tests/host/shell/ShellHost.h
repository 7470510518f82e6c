// A kernel and commands for the shell's tests.

#ifndef TESTS_HOST_SHELL_SHELLHOST_H_
#define TESTS_HOST_SHELL_SHELLHOST_H_

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "host/kernel/HostKernel.h"
#include "qx/platform/IShell.h"

namespace plexion_host {

/// The process's one kernel. Its command line has no --pause.
HostKernel& TestKernel();

/// From now on the kernel's Printf writes to `fd`, which stays the caller's.
void SendConsoleTo(int fd);

/// A folder that disappears with it.
class TestFolder {
 public:
  TestFolder();
  ~TestFolder();
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

/// Reads a descriptor until something has come, at most so long that only a broken test waits.
class Listener {
 public:
  explicit Listener(int fd) : fd_(fd) {}
  /// Everything that came since the last call, up to and with `text`; what came instead when the
  /// other side ended or nothing more came.
  std::string ReadUntil(const std::string& text);
  /// What comes until the other side ends.
  std::string ReadToEnd();

 private:
  bool ReadMore();

  const int fd_;
  std::string got_;
};

/// Prints its words in brackets and remembers them; does more when told to.
class EchoCommand : public qx::platform::IShellCommand {
 public:
  QXError Execute(unsigned long argc, char** argv) override;

  /// Waits until it has been run so many times.
  bool WaitForRuns(size_t count);
  std::vector<std::vector<std::string>> GetRuns();

  std::function<void()> during;  // called in Execute
  QXError result = QXError_OK;
  std::string message;  // printed as well

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::vector<std::string>> runs_;
};

/// A gate that one thread opens and others wait at.
class Gate {
 public:
  void Open();
  bool Wait();

 private:
  std::mutex mutex_;
  std::condition_variable opened_;
  bool open_ = false;
};

}  // namespace plexion_host

#endif  // TESTS_HOST_SHELL_SHELLHOST_H_
