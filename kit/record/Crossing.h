// One call over the border, in either direction.

#ifndef KIT_RECORD_CROSSING_H_
#define KIT_RECORD_CROSSING_H_

#include <utility>

#include "kit/record/Wrappers.h"

namespace plexion_record {

/// How an outward call is recorded.
enum class Manner {
  kCall,  ///< as it begins and as it ends: it may wait, or call back
  kAsk,   ///< once, after it: a question that nothing happens because of
  kTell,  ///< once, before it: others may act on it while it still runs; no
          ///< result
};

/// Turns to the other side for the time of a call.
class Turn {
 public:
  Turn(Border& border, bool inside) : thread_(border.Here()), before_(thread_.inside) {
    thread_.inside = inside;
  }
  ~Turn() { thread_.inside = before_; }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

 private:
  BorderThread& thread_;
  const bool before_;
};

/// A call out of the module in three parts: `arguments(Encoder&)`; `call()`,
/// which makes it and keeps its result; `results(Encoder&)`. In a replay
/// `take(Decoder&)` takes the results from the recording.
template <typename Arguments, typename Call, typename Results, typename Take>
void CallOut(Border& border, Manner manner, Operation operation, const Arguments& arguments,
             const Call& call, const Results& results, const Take& take) {
  if (border.InReplay() != nullptr) {
    const Turn turn(border, false);
    Decoder left;
    if (manner == Manner::kCall) {
      border.Done(border.Put(RecordKind::kEnter, operation, arguments));
      border.InReplay()->Nested();
      left = border.Put(RecordKind::kLeave, operation, [](Encoder&) {});
    } else {
      left = border.Put(RecordKind::kWhole, operation, arguments);
    }
    take(left);
    border.Done(left);
    return;
  }
  const auto turned = [&] {
    const Turn turn(border, false);
    call();
  };
  switch (manner) {
    case Manner::kCall:
      border.Put(RecordKind::kEnter, operation, arguments);
      turned();
      border.Put(RecordKind::kLeave, operation, results);
      break;
    case Manner::kAsk:
      turned();
      border.Put(RecordKind::kWhole, operation, [&](Encoder& to) {
        arguments(to);
        results(to);
      });
      break;
    case Manner::kTell:
      border.Put(RecordKind::kWhole, operation, arguments);
      turned();
      break;
  }
}

/// A call into the module. `call()` makes it and keeps the result; in a replay
/// as well.
template <typename Arguments, typename Call, typename Results>
void CallIn(Border& border, Operation operation, const Arguments& arguments, const Call& call,
            const Results& results) {
  border.Done(border.Put(RecordKind::kEnter, operation, arguments));
  {
    const Turn turn(border, true);
    call();
  }
  border.Done(border.Put(RecordKind::kLeave, operation, results));
}

// Regular operations: what each parameter needs follows from its type.

/// As the callee gets it, of what a caller on the other side gave.
template <bool kOutward, typename T>
decltype(auto) ForCallee(Border& border, T& value) {
  using Plain = std::remove_cv_t<T>;
  if constexpr (kIsObjectPointer<Plain>) {
    using Object = ObjectOf<std::remove_pointer_t<Plain>>;
    if constexpr (Object::kOfModule == kOutward) {
      return Wrap(border, value);
    } else {
      // A replay's hosts' objects have nothing behind them.
      return Object::kOfModule || border.InReplay() == nullptr ? Unwrap(value) : value;
    }
  } else if constexpr (std::is_same_v<Plain, plexion::StageWindowParameters>) {
    if constexpr (kOutward) {
      return Outward(border, value);
    } else {
      return Inward(border, value);
    }
  } else {
    return (value);
  }
}

/// As it stands in records: an object as its wrapper.
template <bool kOutward, typename T>
void PutArgument(Border& border, Encoder& to, const T& value) {
  if constexpr (std::is_same_v<T, plexion::StageWindowParameters> && !kOutward) {
    PutValue(border, to, Inward(border, value));
  } else if constexpr (kIsObjectPointer<T>) {
    using Object = ObjectOf<std::remove_pointer_t<T>>;
    if constexpr (Object::kOfModule == kOutward) {
      border.PutObject(to, WrapperOf(Wrap(border, value)));
    } else {
      border.PutObject(to, WrapperOf(value));
    }
  } else {
    PutValue(border, to, value);
  }
}

/// A parameter that only brings something back.
template <typename P>
constexpr bool kIsResult =
    std::is_lvalue_reference_v<P> && !std::is_const_v<std::remove_reference_t<P>>;

template <bool kOutward, typename... P, typename... A>
void PutArguments(Border& border, Encoder& to, A&... arguments) {
  (
      [&] {
        // A text of the host's that the module writes into: it gives the old
        // one back first.
        constexpr bool kRewritten = std::is_same_v<P, QXString&> && !kOutward;
        if constexpr (!kIsResult<P> || kRewritten) PutArgument<kOutward>(border, to, arguments);
      }(),
      ...);
}

template <typename... P, typename... A>
void PutResults(Border& border, Encoder& to, A&... arguments) {
  (
      [&] {
        if constexpr (kIsResult<P>) PutValue(border, to, arguments);
      }(),
      ...);
}

template <typename... P, typename... A>
void TakeResults(Border& border, Decoder& from, A&... arguments) {
  (
      [&] {
        if constexpr (kIsResult<P>) {
          using T = std::remove_reference_t<P>;
          if constexpr (std::is_same_v<T, QXString>) {
            TakeString(from, arguments);
          } else {
            arguments = TakeValue<T>(border, from);
          }
        }
      }(),
      ...);
}

/// A result before there is one.
template <typename R>
R Nothing() {
  if constexpr (std::is_same_v<R, QXError>) {
    return QXError("", 0);
  } else {
    return R{};
  }
}

/// A parameter whose type the method alone says.
template <typename P>
struct AsDeclared {
  using Type = P;
};

/// An outward call of the object behind `self`, by its signature.
template <typename Interface, typename R, typename... P, typename Method, typename... A>
R OutBy(Border& border, Manner manner, Operation operation, Wrapped& self, Method method,
        A&... arguments) {
  auto* const raw = static_cast<Interface*>(const_cast<void*>(self.behind));
  const auto put = [&](Encoder& to) {
    border.PutObject(to, &self);
    PutArguments<true, P...>(border, to, arguments...);
  };
  if constexpr (std::is_void_v<R>) {
    CallOut(
        border, manner, operation, put,
        [&] { (raw->*method)(ForCallee<true>(border, arguments)...); },
        [&](Encoder& to) { PutResults<P...>(border, to, arguments...); },
        [&](Decoder& from) { TakeResults<P...>(border, from, arguments...); });
  } else {
    R result = Nothing<R>();
    CallOut(
        border, manner, operation, put,
        [&] {
          if constexpr (kIsObjectPointer<R>) {
            using Object = ObjectOf<std::remove_pointer_t<R>>;
            auto given = (raw->*method)(ForCallee<true>(border, arguments)...);
            result = Object::kOfModule ? given : Wrap(border, given);
          } else {
            result = (raw->*method)(ForCallee<true>(border, arguments)...);
          }
        },
        [&](Encoder& to) {
          PutValue(border, to, result);
          PutResults<P...>(border, to, arguments...);
        },
        [&](Decoder& from) {
          result = TakeValue<R>(border, from);
          TakeResults<P...>(border, from, arguments...);
        });
    if constexpr (kIsObjectPointer<R>) {
      // Of its own objects the module gets the object itself.
      if constexpr (ObjectOf<std::remove_pointer_t<R>>::kOfModule) return Unwrap(result);
    }
    return result;
  }
}

/// An inward call of the module's object behind `self`, by its signature.
template <typename Interface, typename R, typename... P, typename Method, typename... A>
R InBy(Border& border, Operation operation, Wrapped& self, Method method, A&... arguments) {
  auto* const raw = static_cast<Interface*>(const_cast<void*>(self.behind));
  const auto put = [&](Encoder& to) {
    border.PutObject(to, &self);
    PutArguments<false, P...>(border, to, arguments...);
  };
  if constexpr (std::is_void_v<R>) {
    CallIn(
        border, operation, put, [&] { (raw->*method)(ForCallee<false>(border, arguments)...); },
        [&](Encoder& to) { PutResults<P...>(border, to, arguments...); });
  } else {
    R result = Nothing<R>();
    CallIn(
        border, operation, put,
        [&] { result = (raw->*method)(ForCallee<false>(border, arguments)...); },
        [&](Encoder& to) {
          // Of the module's objects the host gets wrappers; its own come back
          // as they were.
          if constexpr (kIsObjectPointer<R>) {
            PutArgument<true>(border, to, result);
          } else {
            PutValue(border, to, result);
          }
          PutResults<P...>(border, to, arguments...);
        });
    if constexpr (kIsObjectPointer<R>) {
      return ForCallee<true>(border, result);
    } else {
      return result;
    }
  }
}

/// A host's object as the module sees it.
template <typename Interface>
class HostObject : public Interface, public Wrapped {
 public:
  HostObject(Border& border, Interface* raw)
      : Wrapped(ObjectOf<Interface>::kKind, raw), border_(border) {}

 protected:
  template <typename C, typename R, typename... P>
  R Call(Operation operation, R (C::*method)(P...), typename AsDeclared<P>::Type... arguments) {
    return OutBy<Interface, R, P...>(border_, Manner::kCall, operation, *this, method,
                                     arguments...);
  }
  template <typename C, typename R, typename... P>
  R Ask(Operation operation, R (C::*method)(P...), typename AsDeclared<P>::Type... arguments) {
    return OutBy<Interface, R, P...>(border_, Manner::kAsk, operation, *this, method, arguments...);
  }
  template <typename C, typename R, typename... P>
  R Tell(Operation operation, R (C::*method)(P...), typename AsDeclared<P>::Type... arguments) {
    return OutBy<Interface, R, P...>(border_, Manner::kTell, operation, *this, method,
                                     arguments...);
  }
  Interface* Raw() const { return static_cast<Interface*>(const_cast<void*>(behind)); }

  Border& border_;
};

/// An object of the module as the host sees it.
template <typename Interface, typename Kind = ObjectOf<Interface>>
class ModuleObject : public Interface, public Wrapped {
 public:
  ModuleObject(Border& border, Interface* raw) : Wrapped(Kind::kKind, raw), border_(border) {}

 protected:
  template <typename C, typename R, typename... P>
  R Enter(Operation operation, R (C::*method)(P...), typename AsDeclared<P>::Type... arguments) {
    return InBy<Interface, R, P...>(border_, operation, *this, method, arguments...);
  }
  Interface* Raw() const { return static_cast<Interface*>(const_cast<void*>(behind)); }

  Border& border_;
};

/// The three operations of ObjectOf<INTERFACE> by its wrapper's class.
#define PLEXION_WRAPPER(INTERFACE, CLASS)                                                         \
  Wrapped* ObjectOf<INTERFACE>::Make(Border& border, INTERFACE* raw) {                            \
    return new CLASS(border, raw);                                                                \
  }                                                                                               \
  INTERFACE* ObjectOf<INTERFACE>::Face(Wrapped* wrapper) { return static_cast<CLASS*>(wrapper); } \
  Wrapped* ObjectOf<INTERFACE>::Back(INTERFACE* face) { return static_cast<CLASS*>(face); }

}  // namespace plexion_record

#endif  // KIT_RECORD_CROSSING_H_
