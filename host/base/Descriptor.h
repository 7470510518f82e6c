// A descriptor of the system's that closes with its owner.

#ifndef HOST_BASE_DESCRIPTOR_H_
#define HOST_BASE_DESCRIPTOR_H_

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace plexion_host {

/// Owns one descriptor, or none. Not guarded: who hands it to another thread moves it there.
class Descriptor {
 public:
  Descriptor() = default;
  /// Takes over `number`, as calls of the system return it: negative is none.
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() { Close(); }
  Descriptor(Descriptor&& other) noexcept : number_(other.Release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    if (this != &other) {
      Close();
      number_ = other.Release();
    }
    return *this;
  }

  /// Negative without one. Valid until this goes, or is moved from.
  int Get() const { return number_; }
  explicit operator bool() const { return number_ >= 0; }
  /// Hands it to the caller, who closes it.
  int Release() { return std::exchange(number_, -1); }
  /// errno stays as it was, so that what failed before can still be told.
  void Close() {
    const int reason = errno;
    if (number_ >= 0) close(number_);
    errno = reason;
    number_ = -1;
  }

 private:
  int number_ = -1;
};

}  // namespace plexion_host

#endif  // HOST_BASE_DESCRIPTOR_H_
