#ifndef TESTS_HOST_KERNEL_KERNELFIXTURE_H_
#define TESTS_HOST_KERNEL_KERNELFIXTURE_H_

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "host/kernel/HostKernel.h"

namespace plexion_host {

/// A pipe whose content can be read back: a console of the tests.
class OutputPipe {
 public:
  OutputPipe() { EXPECT_EQ(0, pipe2(ends_, O_NONBLOCK)); }
  ~OutputPipe() {
    close(ends_[0]);
    close(ends_[1]);
  }
  int WriteEnd() const { return ends_[1]; }
  std::string Read() {
    std::string text;
    char buffer[4096];
    for (ssize_t n; (n = read(ends_[0], buffer, sizeof(buffer))) > 0;) {
      text.append(buffer, static_cast<size_t>(n));
    }
    return text;
  }

 private:
  int ends_[2];
};

class KernelFixture : public ::testing::Test {
 protected:
  static std::unique_ptr<HostKernel> MakeKernel(OutputPipe& output, OutputPipe& errors,
                                                ModuleFiles files = {}) {
    return std::make_unique<HostKernel>(std::vector<std::string>{"/usr/bin/plexion", "--pause"},
                                        std::move(files), output.WriteEnd(), errors.WriteEnd());
  }

  void SetUp() override {
    ModuleFiles files;
    files.path = {PLEXION_TEST_MODULES};
    files.sharedLibraries = {{"IPairSecond", "IPair"}};
    kernel_ = MakeKernel(output_, errors_, files);
  }

  OutputPipe output_;
  OutputPipe errors_;
  std::unique_ptr<HostKernel> kernel_;
};

}  // namespace plexion_host

#endif  // TESTS_HOST_KERNEL_KERNELFIXTURE_H_
