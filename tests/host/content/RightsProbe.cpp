// Gives up rights as a content's process does, then tries what content might: a line for each attempt.
//
// usage: rights_probe KIND CONTENT NEIGHBOUR, where KIND is movie, application, picture, media, network or sound.

#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sched.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

#include <string>
#include <thread>

#include "host/content/sandbox/Sandbox.h"

namespace {

using plexion_host::player::ContentKind;

/// `result` as a system call answers it.
void Say(const char* what, long result) {
  printf("%s: %s\n", what, result >= 0 ? "done" : strerrorname_np(errno));
  fflush(stdout);
}

long Open(const std::string& path, int flags) {
  return open(path.c_str(), flags | O_CLOEXEC, 0600);
}

long Connect(int family) {
  const int socket = ::socket(family, SOCK_STREAM, 0);
  if (socket < 0) return -1;
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(9);  // nobody answers there
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof address);
}

long Fork() {
  const long child = fork();
  if (child == 0) _exit(0);
  return child;
}

long Execute() {
  char* const arguments[] = {const_cast<char*>("true"), nullptr};
  return execv("/bin/true", arguments);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  const std::string kind = argv[1];
  const std::string content = argv[2];
  plexion_host::player::remote::ContentOrder order;
  order.kind = kind == "movie"         ? ContentKind::kMovie
               : kind == "application" ? ContentKind::kApplication
               : kind == "picture"     ? ContentKind::kPicture
                                       : ContentKind::kMedia;
  order.network = kind == "network";
  plexion_host::player::ContentAddress address;
  address.path = content;
  const plexion_host::content::Rights rights =
      plexion_host::content::RightsFor(order, address, {}, kind == "sound");
  printf("protected: %s\n", plexion_host::content::GiveUpRights(rights).c_str());

  Say("read content", Open(content, O_RDONLY));
  Say("read /etc/passwd", Open("/etc/passwd", O_RDONLY));
  Say("read neighbour", Open(argv[3], O_RDONLY));
  Say("list /", Open("/", O_RDONLY | O_DIRECTORY));
  Say("read by openat2", [] {
    const uint64_t how[3] = {O_RDONLY | O_CLOEXEC, 0, 0};
    return syscall(SYS_openat2, AT_FDCWD, "/etc/passwd", how, sizeof how);
  }());
  Say("write by openat2", [&content] {
    const uint64_t how[3] = {O_WRONLY | O_CLOEXEC, 0, 0};
    return syscall(SYS_openat2, AT_FDCWD, content.c_str(), how, sizeof how);
  }());
  Say("write content", Open(content, O_WRONLY));
  Say("make file", Open("/tmp/plexion-made-by-content", O_WRONLY | O_CREAT));
  Say("cut content", Open(content, O_RDWR | O_TRUNC));
  Say("remove content", unlink(content.c_str()));
  Say("socket", socket(AF_INET, SOCK_STREAM, 0));
  Say("connect", Connect(AF_INET));
  Say("local socket", socket(AF_UNIX, SOCK_STREAM, 0));
  Say("fork", Fork());
  Say("ptrace launcher", ptrace(PTRACE_ATTACH, getppid(), nullptr, nullptr));
  Say("kill launcher", kill(getppid(), 0));
  Say("kill all", kill(-1, 0));
  Say("signal launcher", [] {
    // Of a pipe of one's own, which then only has to be written to.
    int ends[2];
    if (pipe(ends) != 0) return -1;
    const int owned = fcntl(ends[0], F_SETOWN, getppid());
    return owned < 0 ? owned : fcntl(ends[0], F_SETSIG, SIGWINCH);
  }());
  Say("signal by ioctl", [] {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) return -1;
    const pid_t launcher = getppid();
    return ioctl(ends[0], FIOSETOWN, &launcher);
  }());
  // Where there is no terminal the kernel says so, when it is asked at all.
  Say("type", [] {
    const int result = ioctl(STDOUT_FILENO, TIOCSTI, "x");
    return result < 0 && errno == ENOTTY ? 0 : result;
  }());
  Say("change limit", [] {
    const uint64_t limit[2] = {~uint64_t{0}, ~uint64_t{0}};
    return syscall(SYS_prlimit64, getpid(), 2, limit, nullptr);
  }());
  Say("new namespace", unshare(CLONE_NEWUSER));
  Say("keep living", prctl(PR_SET_PDEATHSIG, 0));
  Say("execute", Execute());
  // What must still be possible.
  Say("not to wait", [] {
    int ends[2];
    return pipe(ends) != 0 ? -1 : fcntl(ends[0], F_SETFL, O_NONBLOCK);
  }());
  Say("second number", fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 10));
  std::thread([] { Say("thread", prctl(PR_SET_NAME, "of content")); }).join();
  void* const memory =
      mmap(nullptr, 1 << 20, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  Say("memory", memory == MAP_FAILED ? -1 : 0);
  Say("library", dlopen("libz.so.1", RTLD_NOW) == nullptr ? -1 : 0);
  return 0;
}
