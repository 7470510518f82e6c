// The objects of each side as the other side sees them: made, found and
// unwrapped.

#ifndef KIT_RECORD_WRAPPERS_H_
#define KIT_RECORD_WRAPPERS_H_

#include <cstring>
#include <type_traits>

#include "kit/record/Border.h"
#include "qx/core/QXError.h"
#include "qx/core/morvellib/IMorvelRuntimeLib.h"
#include "qx/core/morvellib/MorvelInstance.h"
#include "qx/core/morvellib/MorvelInstanceParameters.h"
#include "qx/platform/IFileSystem.h"
#include "qx/platform/IGraphicsDriver.h"
#include "qx/platform/IShell.h"
#include "qx/plexion/IPlexion.h"
#include "qx/plexion/MemoryWatchdog.h"
#include "qx/plexion/StageWindow.h"
#include "qx/plexion/StageWindowNotifier.h"
#include "qx/plexion/StageWindowParameters.h"

namespace plexion_record {

namespace platform = qx::platform;
namespace plexion = qx::plexion;
namespace morvellib = qx::core::morvellib;

/// Of each interface that crosses: its kind, whose objects they are, and how a
/// wrapper is made. `raw` is null for a host's object in a replay.
template <typename Interface>
struct ObjectOf;

#define PLEXION_WRAPPED(INTERFACE, KIND, OF_MODULE)            \
  template <>                                                  \
  struct ObjectOf<INTERFACE> {                                 \
    static constexpr ObjectKind kKind = ObjectKind::KIND;      \
    static constexpr bool kOfModule = OF_MODULE;               \
    static Wrapped* Make(Border& border, INTERFACE* raw);      \
    /* The wrapper as the other side's interface, and back. */ \
    static INTERFACE* Face(Wrapped* wrapper);                  \
    static Wrapped* Back(INTERFACE* face);                     \
  };
PLEXION_WRAPPED(IQXKernel::Mutex, kMutex, false)
PLEXION_WRAPPED(IQXKernel::Event, kEvent, false)
PLEXION_WRAPPED(IQXKernel::Thread, kThread, false)
PLEXION_WRAPPED(platform::IFileObject, kFile, false)
PLEXION_WRAPPED(platform::RenderPlane, kRenderPlane, false)
PLEXION_WRAPPED(platform::OutputPlane, kOutputPlane, false)
PLEXION_WRAPPED(platform::DrawingContext, kContext, false)
PLEXION_WRAPPED(morvellib::MorvelInstance, kInstance, false)
PLEXION_WRAPPED(plexion::StageWindowNotifier, kObserver, false)
PLEXION_WRAPPED(plexion::StageWindowRectProvider, kRectProvider, false)
PLEXION_WRAPPED(platform::IShellCommand, kCommand, true)
PLEXION_WRAPPED(plexion::StageWindow, kWindow, true)
PLEXION_WRAPPED(morvellib::MorvelInstanceNotifier, kNotifier, true)
PLEXION_WRAPPED(plexion::MemoryWatchdog, kWatchdog, true)
#undef PLEXION_WRAPPED

template <typename T, typename = void>
struct IsObject : std::false_type {};
template <typename T>
struct IsObject<T, std::void_t<decltype(ObjectOf<T>::kKind)>> : std::true_type {};
template <typename T>
constexpr bool kIsObjectPointer =
    std::is_pointer_v<T>&& IsObject<std::remove_cv_t<std::remove_pointer_t<T>>>::value;

/// What the other side gets of `raw`: its wrapper. Null for null.
template <typename Interface>
Interface* Wrap(Border& border, Interface* raw) {
  using Object = ObjectOf<Interface>;
  // In a replay the host's objects are their own wrappers.
  if (!Object::kOfModule && border.InReplay() != nullptr) return raw;
  Wrapped* const wrapper =
      border.Find<Wrapped>(Object::kKind, raw, [&] { return Object::Make(border, raw); });
  return wrapper != nullptr ? Object::Face(wrapper) : nullptr;
}

/// The object itself, of a wrapper that comes back from the other side.
template <typename Interface>
Interface* Unwrap(Interface* wrapped) {
  if (wrapped == nullptr) return nullptr;
  return static_cast<Interface*>(const_cast<void*>(ObjectOf<Interface>::Back(wrapped)->behind));
}

template <typename Interface>
Wrapped* WrapperOf(Interface* wrapped) {
  return wrapped != nullptr ? ObjectOf<Interface>::Back(wrapped) : nullptr;
}

/// The host's record for the module, and the module's for the host.
plexion::StageWindowParameters Inward(Border& border, const plexion::StageWindowParameters& from);
plexion::StageWindowParameters Outward(Border& border, const plexion::StageWindowParameters& from);

/// A module object for AcquireModule: wrapped by what its name stands for.
Wrapped* MakeModule(Border& border, const char* name, IQXModule* raw);
IQXModule* ModuleFace(Wrapped* module);
/// A window and what goes with it.
void AddDying(Wrapped* window, std::vector<Wrapped*>& dying);
/// The service, of the module.
Wrapped* MakeService(Border& border, IQXModule* raw);
plexion::IPlexionSets* ServiceFace(Wrapped* service);
Wrapped* ServiceBack(IQXModule* face);
/// The kernel that the module is handed.
IQXKernel* MakeKernel(Border& border);
void DestroyKernel(IQXKernel* kernel);

/// In a replay: what a thread of the module was started with. Runs it as
/// Thread.Procedure.
bool RunThreadProcedure(Border& border, Wrapped* thread);
/// In a replay: an object of the host, made from a record alone.
Wrapped* MakeHostObject(Border& border, ObjectKind kind);

// The module's two entry points, as crossings.
IQXModule* LoadModule(Border& border, Recorder::LoadEntry load);
void UnloadModule(Border& border, Recorder::UnloadEntry unload, IQXModule* service);

// Values of records.

void PutStageParameters(Border& border, Encoder& to, const plexion::StageWindowParameters& from);
void PutPlayerParameters(Border& border, Encoder& to,
                         const morvellib::MorvelInstanceParameters& from);
plexion::StageWindowParameters TakeStageParameters(Border& border, Decoder& from);
void TakePlayerParameters(Decoder& from, morvellib::MorvelInstanceParameters& to);
void PutStatusData(Border& border, Encoder& to, const plexion::StageWindowStatusData* data);
/// `rect` has room for the record's rectangle. Null when there was none.
const plexion::StageWindowStatusData* TakeStatusData(Border& border, Decoder& from,
                                                     plexion::StageWindowStatusData& data,
                                                     plexion::Rect& rect);
/// A text that crosses by reference, with what the host's reading left in it:
/// its UTF-8 form is the module's to give back.
void PutString(Border& border, Encoder& to, const QXString& text);
void TakeString(Decoder& from, QXString& text);
/// The same of texts that the host was given to read alone.
void PutRead(Encoder& to, const morvellib::MorvelInstanceParameters& from);
void TakeRead(Decoder& from, const morvellib::MorvelInstanceParameters& to);
const char* TakeText(Border& border, Decoder& from);
std::vector<const char*> TakeWords(Border& border, Decoder& from);

/// A plain value, or an object as its wrapper.
template <typename T>
void PutValue(Border& border, Encoder& to, const T& value) {
  if constexpr (std::is_same_v<T, bool>) {
    to.Bool(value);
  } else if constexpr (std::is_same_v<T, plexion::StageWindowStatus>) {
    to.Status(value);
  } else if constexpr (std::is_enum_v<T>) {
    to.Signed(static_cast<int64_t>(value));
  } else if constexpr (std::is_floating_point_v<T>) {
    to.Double(value);
  } else if constexpr (std::is_integral_v<T> && std::is_signed_v<T>) {
    to.Signed(value);
  } else if constexpr (std::is_integral_v<T>) {
    to.Unsigned(value);
  } else if constexpr (std::is_same_v<T, const char*>) {
    border.PutText(to, value);
  } else if constexpr (std::is_same_v<T, plexion::Dims>) {
    to.Dims(value);
  } else if constexpr (std::is_same_v<T, plexion::Point>) {
    to.Point(value);
  } else if constexpr (std::is_same_v<T, plexion::Rect>) {
    to.Rect(value);
  } else if constexpr (std::is_same_v<T, QXError>) {
    to.Error(value.code, std::string_view(value.name, strnlen(value.name, sizeof value.name)));
  } else if constexpr (std::is_same_v<T, QXString>) {
    PutString(border, to, value);
  } else if constexpr (std::is_same_v<T, plexion::StageWindowParameters>) {
    PutStageParameters(border, to, value);
  } else {
    static_assert(kIsObjectPointer<T>, "a value that can be in a record");
    border.PutObject(to, WrapperOf(value));
  }
}

/// The object that a record names, as the module or the host has it there.
template <typename Interface>
Interface* TakeObject(Border& border, Decoder& from) {
  Field field;
  if (!from.Take('o', field, true) || field.tag == '0') return nullptr;
  if (field.kind != ObjectOf<Interface>::kKind) {
    from.Fail(std::string("a ") + ObjectKindName(field.kind) + "; expected a " +
              ObjectKindName(ObjectOf<Interface>::kKind));
    return nullptr;
  }
  Wrapped* const wrapper = border.InReplay()->Find(field.kind, field.numbers[0], from);
  return wrapper != nullptr ? ObjectOf<Interface>::Face(wrapper) : nullptr;
}

template <typename T>
T TakeValue(Border& border, Decoder& from) {
  Field field;
  if constexpr (std::is_same_v<T, bool>) {
    from.Take('b', field);
    return field.number != 0;
  } else if constexpr (std::is_same_v<T, plexion::StageWindowStatus>) {
    from.Take('q', field);
    return static_cast<T>(field.number);
  } else if constexpr (std::is_enum_v<T>) {
    from.Take('i', field);
    return static_cast<T>(field.number);
  } else if constexpr (std::is_floating_point_v<T>) {
    from.Take('d', field);
    return field.real;
  } else if constexpr (std::is_integral_v<T> && std::is_signed_v<T>) {
    from.Take('i', field);
    return static_cast<T>(field.number);
  } else if constexpr (std::is_integral_v<T>) {
    from.Take('u', field);
    return static_cast<T>(field.numbers[0]);
  } else if constexpr (std::is_same_v<T, const char*>) {
    return TakeText(border, from);
  } else if constexpr (std::is_same_v<T, plexion::Dims>) {
    from.Take('s', field);
    return {static_cast<uint32_t>(field.numbers[0]), static_cast<uint32_t>(field.numbers[1])};
  } else if constexpr (std::is_same_v<T, plexion::Point>) {
    from.Take('p', field);
    return {static_cast<uint32_t>(field.numbers[0]), static_cast<uint32_t>(field.numbers[1])};
  } else if constexpr (std::is_same_v<T, plexion::Rect>) {
    from.Take('r', field);
    return {static_cast<uint32_t>(field.numbers[0]), static_cast<uint32_t>(field.numbers[1]),
            static_cast<uint32_t>(field.numbers[2]), static_cast<uint32_t>(field.numbers[3])};
  } else if constexpr (std::is_same_v<T, QXError>) {
    from.Take('e', field);
    return QXError(std::string(field.text).c_str(), static_cast<unsigned long>(field.number));
  } else if constexpr (std::is_same_v<T, plexion::StageWindowParameters>) {
    return TakeStageParameters(border, from);
  } else {
    static_assert(kIsObjectPointer<T>, "a value that can be in a record");
    return TakeObject<std::remove_pointer_t<T>>(border, from);
  }
}

}  // namespace plexion_record

#endif  // KIT_RECORD_WRAPPERS_H_
