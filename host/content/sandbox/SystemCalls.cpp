// The lists of system calls.

#include "host/content/sandbox/SystemCalls.h"

#include <errno.h>
#include <fcntl.h>
#include <linux/netlink.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <system_error>
#include <utility>

#ifndef PR_SET_VMA
#define PR_SET_VMA 0x53564d41
#endif

namespace plexion_host::content {

namespace {

/// The argument of that place, counted from 0, is just this value.
constexpr scmp_arg_cmp Equals(unsigned place, scmp_datum_t value) {
  return {place, SCMP_CMP_EQ, value, 0};
}

/// Whatever their arguments: none of them names another process or a file to be written.
constexpr const char* kEverybodys[] = {
    // Memory.
    "brk", "madvise", "membarrier", "mincore", "mlock", "mlock2", "mmap", "mmap2", "mprotect",
    "mremap", "munlock", "munmap", "memfd_create",
    // Threads and their waits.
    "arch_prctl", "exit", "exit_group", "futex", "futex_time64", "get_robust_list", "getcpu",
    "getpid", "getppid", "gettid", "rseq", "sched_get_priority_max", "sched_get_priority_min",
    "sched_getaffinity", "sched_getattr", "sched_getparam", "sched_getscheduler", "sched_yield",
    "set_robust_list", "set_thread_area", "set_tid_address", "set_tls",
    // Time.
    "clock_getres", "clock_getres_time64", "clock_gettime", "clock_gettime64", "clock_nanosleep",
    "clock_nanosleep_time64", "gettimeofday", "nanosleep", "time", "timerfd_create",
    "timerfd_gettime", "timerfd_settime", "timerfd_settime64", "times",
    // Signals of one's own.
    "pause", "restart_syscall", "rt_sigaction", "rt_sigpending", "rt_sigprocmask", "rt_sigreturn",
    "rt_sigsuspend", "rt_sigtimedwait", "sigaltstack", "sigreturn",
    // What is open already, and what may be opened to be read.
    "access", "close", "close_range", "copy_file_range", "dup", "dup2", "dup3", "faccessat",
    "faccessat2", "fadvise64", "fadvise64_64", "arm_fadvise64_64", "flock", "fstat", "fstat64",
    "fstatat64", "fstatfs", "fstatfs64", "fsync", "ftruncate", "ftruncate64", "getcwd", "getdents",
    "getdents64", "lseek", "_llseek", "lstat", "lstat64", "newfstatat", "pread64", "preadv",
    "pwrite64", "read", "readahead", "readlink", "readlinkat", "readv", "sendfile", "stat",
    "stat64", "statfs", "statfs64", "statx", "write", "writev", "inotify_add_watch", "inotify_init",
    "inotify_init1", "inotify_rm_watch",
    // Waiting for several, and the connection to the launcher.
    "epoll_create", "epoll_create1", "epoll_ctl", "epoll_pwait", "epoll_wait", "eventfd",
    "eventfd2", "pipe", "pipe2", "poll", "ppoll", "ppoll_time64", "pselect6", "pselect6_time64",
    "recv", "recvfrom", "recvmsg", "select", "_newselect", "send", "sendmsg", "sendto", "shutdown",
    // Who and where one is.
    "getegid", "getegid32", "geteuid", "geteuid32", "getgid", "getgid32", "getgroups",
    "getpriority", "getrandom", "getresgid", "getresuid", "getrlimit", "ugetrlimit", "getrusage",
    "getuid", "getuid32", "sysinfo", "uname"};

constexpr const char* kNetworks[] = {"accept",      "accept4",         "bind",       "connect",
                                     "getpeername", "getsockname",     "getsockopt", "listen",
                                     "recvmmsg",    "recvmmsg_time64", "sendmmsg",   "setsockopt"};

/// Of fcntl. Not those that name who gets a signal, and which, when a descriptor has something to be
/// read: by them a process ends another one.
constexpr int kDescriptorCalls[] = {F_DUPFD,     F_DUPFD_CLOEXEC, F_GETFD,      F_SETFD,
                                    F_GETFL,     F_SETFL,         F_GETLK,      F_SETLK,
                                    F_SETLKW,    F_OFD_GETLK,     F_OFD_SETLK,  F_OFD_SETLKW,
                                    F_ADD_SEALS, F_GET_SEALS,     F_GETPIPE_SZ, F_SETPIPE_SZ};

/// A call with conditions on its arguments; one that this processor does not have is no fault.
template <typename... Conditions>
int Allow(scmp_filter_ctx filter, const char* name, Conditions... conditions) {
  const int number = seccomp_syscall_resolve_name(name);
  if (number == __NR_SCMP_ERROR) return 0;
  const int result =
      seccomp_rule_add(filter, SCMP_ACT_ALLOW, number, sizeof...(conditions), conditions...);
  return result == -EDOM || result == -EEXIST ? 0 : result;
}

/// Not openat2: a filter cannot see what it is asked for.
int AllowOpening(scmp_filter_ctx filter, const Rights& rights) {
  // To be read; nothing is made, cut short or written. What plays sound writes to its device.
  constexpr scmp_datum_t kMaking = O_CREAT | O_TRUNC | (O_TMPFILE & ~O_DIRECTORY);
  const scmp_datum_t refused = kMaking | (rights.deviceCalls ? 0 : O_ACCMODE);
  int result = Allow(filter, "openat", SCMP_A2(SCMP_CMP_MASKED_EQ, refused, 0));
  if (result == 0) result = Allow(filter, "open", SCMP_A1(SCMP_CMP_MASKED_EQ, refused, 0));
  if (result != 0 || !rights.deviceCalls) return result;
  // A sound server's client asks for a file to be made, and takes the one that is there when it may not.
  constexpr scmp_datum_t kMake = O_CREAT;
  return seccomp_rule_add(filter, SCMP_ACT_ERRNO(EACCES), SCMP_SYS(openat), 1,
                          SCMP_A2(SCMP_CMP_MASKED_EQ, kMake, kMake));
}

int AllowDescriptorCalls(scmp_filter_ctx filter) {
  int result = 0;
  for (const char* const name : {"fcntl", "fcntl64"}) {
    for (const int call : kDescriptorCalls) {
      if (result != 0) return result;
      result = Allow(filter, name, Equals(1, static_cast<scmp_datum_t>(call)));
    }
  }
  return result;
}

int AllowThreads(scmp_filter_ctx filter) {
  const auto self = static_cast<scmp_datum_t>(getpid());
  constexpr scmp_datum_t kThread = CLONE_VM | CLONE_THREAD;
  int result = Allow(filter, "clone", SCMP_A0(SCMP_CMP_MASKED_EQ, kThread, kThread));
  if (result == 0) result = Allow(filter, "tgkill", Equals(0, self));
  if (result == 0) result = Allow(filter, "kill", Equals(0, self));
  for (const int option : {PR_SET_NAME, PR_GET_NAME, PR_SET_VMA}) {
    if (result == 0) {
      result = Allow(filter, "prctl", Equals(0, static_cast<scmp_datum_t>(option)));
    }
  }
  // Its own limits may be asked for, not changed.
  if (result == 0) {
    result = Allow(filter, "prlimit64", Equals(0, 0), Equals(2, scmp_datum_t{0}));
  }
  return result;
}

int AllowDeviceCalls(scmp_filter_ctx filter, const Rights& rights) {
  int result = 0;
  for (const unsigned long call : {FIONREAD, FIONBIO, FIOCLEX, TCGETS}) {
    if (result == 0) result = Allow(filter, "ioctl", Equals(1, call));
  }
  if (!rights.deviceCalls) return result;
  // Those of sound devices, by the letter in their second byte: streams, mixers, and timers, which share
  // theirs with terminals. A terminal's calls, which could type for the operator, have no direction.
  constexpr scmp_datum_t kLetter = 0xFF00;
  constexpr scmp_datum_t kReads = scmp_datum_t{1} << 31;
  constexpr scmp_datum_t kWrites = scmp_datum_t{1} << 30;
  constexpr scmp_datum_t kTimers = 'T' << 8;
  constexpr std::pair<scmp_datum_t, scmp_datum_t> kSound[] = {
      {kLetter, 'A' << 8},
      {kLetter, 'U' << 8},
      {kLetter | kReads, kTimers | kReads},
      {kLetter | kWrites, kTimers | kWrites},
      {0xFFFFFFFC, kTimers | 0xA0}};  // start, stop, continue, pause
  for (const auto& [mask, value] : kSound) {
    if (result == 0) result = Allow(filter, "ioctl", SCMP_A1(SCMP_CMP_MASKED_EQ, mask, value));
  }
  return result;
}

int AllowSockets(scmp_filter_ctx filter, const Rights& rights) {
  int result = 0;
  const auto family = [&](int number) {
    if (result != 0) return;
    result = Allow(filter, "socket", Equals(0, static_cast<scmp_datum_t>(number)));
  };
  if (rights.network) {
    family(AF_INET);
    family(AF_INET6);
    // Which addresses this machine has; nothing else that the kernel can be told that way.
    if (result == 0) {
      result = Allow(filter, "socket", Equals(0, scmp_datum_t{AF_NETLINK}),
                     Equals(2, scmp_datum_t{NETLINK_ROUTE}));
    }
  }
  if (rights.localSockets) family(AF_UNIX);
  // Two ends that both stay here: the framework wakes its waits that way.
  if (result == 0) result = Allow(filter, "socketpair", Equals(0, AF_UNIX));
  if (!rights.network && !rights.localSockets) return result;
  for (const char* const name : kNetworks) {
    if (result == 0) result = Allow(filter, name);
  }
  return result;
}

}  // namespace

bool RestrictSystemCalls(const Rights& rights, std::string& error) {
  scmp_filter_ctx const filter = seccomp_init(SCMP_ACT_ERRNO(ENOSYS));
  if (filter == nullptr) {
    error = "no filter can be made";
    return false;
  }
  int result = seccomp_attr_set(filter, SCMP_FLTATR_CTL_TSYNC, 1);
  for (const char* const name : kEverybodys) {
    if (result == 0) result = Allow(filter, name);
  }
  if (result == 0) result = AllowOpening(filter, rights);
  if (result == 0) result = AllowDescriptorCalls(filter);
  if (result == 0) result = AllowThreads(filter);
  if (result == 0) result = AllowDeviceCalls(filter, rights);
  if (result == 0) result = AllowSockets(filter, rights);
  if (result == 0) result = seccomp_load(filter);
  seccomp_release(filter);
  if (result != 0) error = std::generic_category().message(-result);
  return result == 0;
}

}  // namespace plexion_host::content
