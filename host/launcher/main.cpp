// The process's entry.

#include <fcntl.h>
#include <malloc.h>
#include <stdlib.h>
#include <unistd.h>

#include "host/launcher/Launcher.h"

namespace {

/// A launcher started without standard streams (by a supervisor that closes them) would give their
/// numbers to the first files that it opens, and the shell would read one of those as its commands.
void OpenStandardStreams() {
  int file = open("/dev/null", O_RDWR);
  while (file >= 0 && file <= STDERR_FILENO) file = open("/dev/null", O_RDWR);
  if (file > STDERR_FILENO) close(file);
}

/// Each content has threads of its own, and the C library gives each of the first so many threads a
/// heap of its own, which keeps what its largest content needed: a playlist of all kinds came to hold
/// four times the memory that it uses. Two heaps hold as much as one needs. Planes stay out of them: without a
/// word the library takes them in after the first that was freed, and what small things then lie between
/// them grows for hours.
void LimitHeaps() {
  constexpr int kMostHeaps = 2;
  constexpr int kPlaneBytes = 256 * 1024;
  mallopt(M_ARENA_MAX, kMostHeaps);
  mallopt(M_MMAP_THRESHOLD, kPlaneBytes);
}

/// The display's library reads some ten thousand lines of keys that compose letters when a window is
/// opened, unless it is told of another file: a fifth of the start, for letters that nobody writes here.
void WantNoComposedLetters() { setenv("XCOMPOSEFILE", "/dev/null", 0); }

}  // namespace

int main(int argc, char** argv) {
  OpenStandardStreams();
  LimitHeaps();
  WantNoComposedLetters();
  return plexion_host::RunLauncher(std::vector<std::string>(argv, argv + argc));
}
