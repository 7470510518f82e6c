#include "host/launcher/Launcher.h"

int main(int argc, char** argv) {
  return plexion_host::RunLauncher(std::vector<std::string>(argv, argv + argc));
}
