// The process's entry.

#include <fcntl.h>
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

}  // namespace

int main(int argc, char** argv) {
  OpenStandardStreams();
  return plexion_host::RunLauncher(std::vector<std::string>(argv, argv + argc));
}
