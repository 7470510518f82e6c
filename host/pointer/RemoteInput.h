// A viewer's keys and pointer.

#ifndef HOST_POINTER_REMOTEINPUT_H_
#define HOST_POINTER_REMOTEINPUT_H_

#include <cstdint>
#include <map>

#include "host/contracts/IHostInput.h"

namespace plexion_host {

/// One client's pointer and keys on their way into the service. What it holds is released with it.
///
/// Thread   the server's.
class RemoteInput {
 public:
  /// `input` may be null: then nothing arrives anywhere.
  explicit RemoteInput(IHostInput* input) : input_(input) {}
  ~RemoteInput() { ReleaseAll(); }
  RemoteInput(const RemoteInput&) = delete;
  RemoteInput& operator=(const RemoteInput&) = delete;

  void Key(bool down, uint32_t keysym);
  /// `buttons`: bit 0 left, 1 middle, 2 right; 3 to 6 wheel up, down, left, right.
  void Pointer(unsigned buttons, int x, int y);
  void ReleaseAll();

 private:
  IHostInput* const input_;
  std::map<uint32_t, uint32_t> heldKeys_;  // symbol to the service's key that went down for it
  uint16_t modifiers_ = 0;
  unsigned buttons_ = 0;
  int x_ = 0;
  int y_ = 0;
};

}  // namespace plexion_host

#endif  // HOST_POINTER_REMOTEINPUT_H_
