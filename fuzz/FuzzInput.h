#ifndef FUZZ_FUZZINPUT_H_
#define FUZZ_FUZZINPUT_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

/// Ends the fuzzer, with the input kept, when `condition` does not hold.
inline void Require(bool condition, const std::string& what) {
  if (condition) return;
  std::fprintf(stderr, "property broken: %s\n", what.c_str());
  std::abort();
}

/// An input taken apart into small numbers; 0 when it is used up.
class FuzzBytes {
 public:
  FuzzBytes(const uint8_t* data, size_t size) : data_(data), size_(size) {}
  bool IsEmpty() const { return at_ == size_; }
  uint8_t Byte() { return at_ < size_ ? data_[at_++] : uint8_t{0}; }
  uint16_t Word() { return static_cast<uint16_t>(Byte() | Byte() << 8); }

 private:
  const uint8_t* data_;
  size_t size_;
  size_t at_ = 0;
};

#endif  // FUZZ_FUZZINPUT_H_
