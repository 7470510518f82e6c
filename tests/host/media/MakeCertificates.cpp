// Makes the certificates of the launcher's https stories in a folder.
#include <cstdio>

#include "tests/host/media/TestCertificates.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: make_certificates FOLDER\n");
    return 2;
  }
  return plexion_host::player::MakeTestCertificates(argv[1]) ? 0 : 1;
}
