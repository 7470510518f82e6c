#ifndef TESTS_HOST_KERNEL_OUTPUTPIPE_H_
#define TESTS_HOST_KERNEL_OUTPUTPIPE_H_

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

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

}  // namespace plexion_host

#endif  // TESTS_HOST_KERNEL_OUTPUTPIPE_H_
