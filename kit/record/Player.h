// Objects that are given back, and the player runtime.

#ifndef KIT_RECORD_PLAYER_H_
#define KIT_RECORD_PLAYER_H_

#include "kit/record/Crossing.h"

namespace plexion_record {

/// A player runtime's module; `face` is what the module gets.
Wrapped* MakeRuntime(Border& border, IQXModule* raw, IQXModule*& face);

/// The call that gives `object` back to the module `owner`: `destroy(raw)`. The
/// wrapper goes first, before another object can have the address.
template <typename Interface, typename Destroy>
void GiveBack(Border& border, Wrapped& owner, Operation operation, Interface* object,
              const Destroy& destroy) {
  CallOut(
      border, Manner::kCall, operation,
      [&](Encoder& to) {
        border.PutObject(to, &owner);
        border.PutObject(to, WrapperOf(object));
      },
      [&] {
        Interface* const its = Unwrap(object);
        border.Forget(WrapperOf(object));
        destroy(its);
      },
      [](Encoder&) {}, [](Decoder&) {});
  if (border.InReplay() != nullptr) border.Forget(WrapperOf(object));
}

}  // namespace plexion_record

#endif  // KIT_RECORD_PLAYER_H_
