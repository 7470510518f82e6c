// Starts a content's process.

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <new>
#include <system_error>

#include "host/player/remote/ContentProcess.h"

namespace plexion_host::player::remote {

namespace {

constexpr int kOutputBytes = 65536;
constexpr int kBellBytes = 4096;  // the least that there is

/// Sealed memory for the page; empty without.
Descriptor MakePage() {
  Descriptor page(memfd_create("plexion-page", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  constexpr int kSeals = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL;
  if (!page || ftruncate(page.Get(), sizeof(CallPage)) != 0 ||
      fcntl(page.Get(), F_ADD_SEALS, kSeals) != 0) {
    return Descriptor();
  }
  return page;
}

/// A pipe that is rung by 8 bytes; neither end waits.
bool MakeBell(Descriptor& rungAt, Descriptor& heardAt) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) return false;
  heardAt = Descriptor(ends[0]);
  rungAt = Descriptor(ends[1]);
  fcntl(ends[1], F_SETPIPE_SZ, kBellBytes);
  return true;
}

/// What posix_spawn is told, and takes back.
class SpawnOrders {
 public:
  SpawnOrders() {
    posix_spawn_file_actions_init(&actions_);
    posix_spawnattr_init(&attributes_);
  }
  SpawnOrders(const SpawnOrders&) = delete;
  SpawnOrders& operator=(const SpawnOrders&) = delete;
  ~SpawnOrders() {
    posix_spawn_file_actions_destroy(&actions_);
    posix_spawnattr_destroy(&attributes_);
  }

  /// In the order of the calls. A source must lie above all targets, or one would be overwritten.
  void Place(int source, int target) {
    posix_spawn_file_actions_adddup2(&actions_, source, target);
  }

  int Run(const std::string& program, pid_t& id) {
    posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    // Whatever the launcher has open (sockets of viewers, devices, other contents' pipes) is none
    // of the content's business.
    posix_spawn_file_actions_addclosefrom_np(&actions_, kAnswerBellDescriptor + 1);
    // A group of its own: what a terminal sends to the launcher is for the launcher. Its threads block
    // nearly all signals; the process is not to inherit that.
    posix_spawnattr_setflags(
        &attributes_, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    sigset_t all;
    sigset_t none;
    sigfillset(&all);
    sigemptyset(&none);
    posix_spawnattr_setsigdefault(&attributes_, &all);
    posix_spawnattr_setsigmask(&attributes_, &none);
    // The process checks that its parent is still this one, see TieTo.
    std::string parent = std::to_string(getpid());
    std::string name = kProgramName;
    char* const arguments[] = {name.data(), parent.data(), nullptr};
    return posix_spawn(&id, program.c_str(), &actions_, &attributes_, arguments, environ);
  }

 private:
  posix_spawn_file_actions_t actions_;
  posix_spawnattr_t attributes_;
};

/// The same file under a number that no target has.
Descriptor Above(const Descriptor& from) {
  return Descriptor(fcntl(from.Get(), F_DUPFD_CLOEXEC, kAnswerBellDescriptor + 1));
}

}  // namespace

std::shared_ptr<ContentProcess> ContentProcess::Start(const std::string& program,
                                                      std::string& error) {
  const auto failed = [&error](const char* what, int number) {
    error = std::string(what) + ": " + std::generic_category().message(number);
    return nullptr;
  };
  std::shared_ptr<ContentProcess> process(new ContentProcess());
  int ends[2];
  // A socket that keeps records apart: no length has to be read, and none can lie.
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
    return failed("no connection to a content's process", errno);
  }
  process->socket_ = Descriptor(ends[0]);
  const Descriptor socket(ends[1]);
  if (pipe2(ends, O_CLOEXEC) != 0) return failed("no pipe to a content's process", errno);
  process->output_ = Descriptor(ends[0]);
  const Descriptor output(ends[1]);
  fcntl(process->output_.Get(), F_SETFL, O_NONBLOCK);
  // As much as the launcher is ready to hold for it; a process that prints more waits.
  fcntl(process->output_.Get(), F_SETPIPE_SZ, kOutputBytes);
  if (!MakeBell(process->orderBell_, process->orderBellOfProcess_) ||
      !MakeBell(process->answerBellOfProcess_, process->answerBell_)) {
    return failed("no bells of a content's process", errno);
  }
  const Descriptor page = MakePage();
  // MakePage's errno counts where the page failed, mmap's where that did.
  void* const memory =
      !page ? MAP_FAILED
            : mmap(nullptr, sizeof(CallPage), PROT_READ | PROT_WRITE, MAP_SHARED, page.Get(), 0);
  if (memory == MAP_FAILED) {
    return failed("no memory to share with a content's process", errno);
  }
  process->page_ = new (memory) CallPage();

  // dup2 in the child overwrites its target: a source that is a later target would be lost. So all
  // sources are lifted above the last target first.
  const Descriptor sources[] = {Above(output), Above(socket), Above(page),
                                Above(process->orderBellOfProcess_),
                                Above(process->answerBellOfProcess_)};
  SpawnOrders orders;
  orders.Place(sources[0].Get(), STDOUT_FILENO);
  orders.Place(sources[0].Get(), STDERR_FILENO);
  orders.Place(sources[1].Get(), kSocketDescriptor);
  orders.Place(sources[2].Get(), kPageDescriptor);
  orders.Place(sources[3].Get(), kOrderBellDescriptor);
  orders.Place(sources[4].Get(), kAnswerBellDescriptor);
  pid_t id = 0;
  const int result = orders.Run(program, id);
  if (result != 0) {
    failed(("cannot start " + program).c_str(), result);
    error += " (--isolation off plays content without it)";
    return nullptr;
  }
  // By a handle: an id may name another process as soon as this one is collected.
  process->id_ = id;
  process->handle_ = Descriptor(static_cast<int>(syscall(SYS_pidfd_open, id, 0)));
  if (!process->handle_) {
    const int number = errno;
    kill(id, SIGKILL);  // nobody has collected it, so the number is still its own
    waitpid(id, nullptr, 0);
    return failed("no handle of a content's process", number);
  }
  // Held, so that once it is collected nobody looks at another that has its number by then.
  process->status_ = OpenSystemFile(id, "status");
  return process;
}

}  // namespace plexion_host::player::remote
