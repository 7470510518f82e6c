#ifndef TESTS_HOST_KERNEL_KERNELFIXTURE_H_
#define TESTS_HOST_KERNEL_KERNELFIXTURE_H_

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "host/kernel/HostKernel.h"
#include "tests/host/kernel/OutputPipe.h"

namespace plexion_host {

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
