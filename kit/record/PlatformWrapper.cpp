// The platform's modules as the module sees them.

#include "kit/record/Crossing.h"
#include "kit/record/Player.h"
#include "qx/platform/ILocaleUtils.h"
#include "qx/platform/IMouseStream.h"
#include "qx/platform/ISystemDriver.h"

namespace plexion_record {
namespace {

/// Of a module whose name stands for `Interface`.
template <typename Interface>
class PlatformFace : public Interface, public Wrapped {
 public:
  PlatformFace(Border& border, IQXModule* module)
      : Wrapped(ObjectKind::kModule, module), border_(border) {}

 protected:
  template <typename C, typename R, typename... P>
  R Call(Operation operation, R (C::*method)(P...), typename AsDeclared<P>::Type... arguments) {
    // What crosses as IQXModule* is cast as the module itself would.
    return OutBy<Interface, R, P...>(border_, Manner::kCall, operation, *this, method,
                                     arguments...);
  }
  Interface* Raw() const { return static_cast<Interface*>(AsModule()); }
  IQXModule* AsModule() const { return static_cast<IQXModule*>(const_cast<void*>(behind)); }

  Border& border_;
};

class FileFace final : public HostObject<platform::IFileObject> {
  using File = platform::IFileObject;

 public:
  using HostObject::HostObject;
  bool Open(const char* path) override { return Call(Operation::kFileOpen, &File::Open, path); }
  bool EnsureWritable(bool createMissing) override {
    return Call(Operation::kFileEnsureWritable, &File::EnsureWritable, createMissing);
  }
  bool RemoveDirectory(bool recursive) override {
    return Call(Operation::kFileRemoveDirectory, &File::RemoveDirectory, recursive);
  }
};

class FileSystemFace final : public PlatformFace<platform::IFileSystem> {
 public:
  using PlatformFace::PlatformFace;
  platform::IFileObject* CreateFileObject() override {
    return Call(Operation::kFileSystemCreateFileObject, &platform::IFileSystem::CreateFileObject);
  }
  void DestroyFileObject(platform::IFileObject* object) override {
    GiveBack(border_, *this, Operation::kFileSystemDestroyFileObject, object,
             [&](platform::IFileObject* its) { Raw()->DestroyFileObject(its); });
  }
};

class GraphicsFace final : public PlatformFace<platform::IGraphicsDriver> {
  using Driver = platform::IGraphicsDriver;

 public:
  using PlatformFace::PlatformFace;
  plexion::Dims GetScreenDims() override {
    return Call(Operation::kGraphicsGetScreenDims, &Driver::GetScreenDims);
  }
  platform::RenderPlane* CreateRenderPlane(const plexion::Dims& dims, uint32_t pixelFormat,
                                           plexion::StageWindow* window) override {
    return Call(Operation::kGraphicsCreateRenderPlane, &Driver::CreateRenderPlane, dims,
                pixelFormat, window);
  }
  platform::OutputPlane* CreateOutputPlane(const plexion::Rect& rect, bool defaultPlacement,
                                           platform::RenderPlane* renderPlane,
                                           plexion::StageWindow* window,
                                           const char* name) override {
    return Call(Operation::kGraphicsCreateOutputPlane, &Driver::CreateOutputPlane, rect,
                defaultPlacement, renderPlane, window, name);
  }
  bool ResizeOutputPlane(platform::OutputPlane*& plane, const plexion::Dims& dims,
                         const plexion::Rect& rect, platform::RenderPlane* renderPlane,
                         plexion::StageWindow* window, const char* name) override {
    return Resize(
        Operation::kGraphicsResizeOutputPlane, plane,
        [&](Encoder& to) {
          to.Dims(dims);
          to.Rect(rect);
          border_.PutObject(to, WrapperOf(renderPlane));
          border_.PutObject(to, WrapperOf(Wrap(border_, window)));
          border_.PutText(to, name);
        },
        [&](platform::OutputPlane*& raw) {
          return Raw()->ResizeOutputPlane(raw, dims, rect, Unwrap(renderPlane),
                                          Wrap(border_, window), name);
        });
  }
  bool ResizeRenderPlane(platform::RenderPlane*& plane, const plexion::Dims& dims,
                         plexion::StageWindow* window) override {
    return Resize(
        Operation::kGraphicsResizeRenderPlane, plane,
        [&](Encoder& to) {
          to.Dims(dims);
          border_.PutObject(to, WrapperOf(Wrap(border_, window)));
        },
        [&](platform::RenderPlane*& raw) {
          return Raw()->ResizeRenderPlane(raw, dims, Wrap(border_, window));
        });
  }
  void DestroyRenderPlane(platform::RenderPlane* plane) override {
    GiveBack(border_, *this, Operation::kGraphicsDestroyRenderPlane, plane,
             [&](platform::RenderPlane* its) { Raw()->DestroyRenderPlane(its); });
  }
  void DestroyOutputPlane(platform::OutputPlane* plane) override {
    GiveBack(border_, *this, Operation::kGraphicsDestroyOutputPlane, plane,
             [&](platform::OutputPlane* its) { Raw()->DestroyOutputPlane(its); });
  }

 private:
  /// The driver may replace the object. The old wrapper then stands for
  /// nothing.
  template <typename Kind, typename Arguments, typename Make>
  bool Resize(Operation operation, Kind*& plane, const Arguments& arguments, const Make& make) {
    Kind* const before = plane;
    Kind* after = before;
    bool resized = false;
    CallOut(
        border_, Manner::kCall, operation,
        [&](Encoder& to) {
          border_.PutObject(to, this);
          border_.PutObject(to, WrapperOf(before));
          arguments(to);
        },
        [&] {
          Kind* its = Unwrap(before);
          Kind* const old = its;
          resized = make(its);
          if (its != old) after = Wrap(border_, its);
        },
        [&](Encoder& to) {
          to.Bool(resized);
          border_.PutObject(to, WrapperOf(after));
        },
        [&](Decoder& from) {
          resized = TakeValue<bool>(border_, from);
          after = TakeValue<Kind*>(border_, from);
        });
    if (after != before) {
      plane = after;
      border_.Forget(WrapperOf(before));
    }
    return resized;
  }
};

class LocaleFace final : public PlatformFace<platform::ILocaleUtils> {
 public:
  using PlatformFace::PlatformFace;
  const char* SetLocale(int category, const char* locale) override {
    return Call(Operation::kLocaleSetLocale, &platform::ILocaleUtils::SetLocale, category, locale);
  }
};

class PointerFace final : public PlatformFace<platform::IMouseStream> {
 public:
  using PlatformFace::PlatformFace;
  bool StartMouseStream(const plexion::StageWindowParameters& parameters) override {
    return Call(Operation::kPointerStartMouseStream, &platform::IMouseStream::StartMouseStream,
                parameters);
  }
};

class ShellFace final : public PlatformFace<platform::IShell> {
 public:
  using PlatformFace::PlatformFace;
  QXError RegisterCommand(const char* name, platform::IShellCommand* command) override {
    return Call(Operation::kShellRegisterCommand, &platform::IShell::RegisterCommand, name,
                command);
  }
  platform::IShellCommand* UnregisterCommand(const char* name) override {
    platform::IShellCommand* const own =
        Call(Operation::kShellUnregisterCommand, &platform::IShell::UnregisterCommand, name);
    // The module destroys it next.
    border_.Forget(border_.FindExisting(ObjectKind::kCommand, own));
    return own;
  }
  QXError Start() override { return Call(Operation::kShellStart, &platform::IShell::Start); }
};

class SystemFace final : public PlatformFace<platform::ISystemDriver> {
 public:
  using PlatformFace::PlatformFace;
  void GetCurrentUserName(QXString& name) override {
    Call(Operation::kSystemGetCurrentUserName, &platform::ISystemDriver::GetCurrentUserName, name);
  }
};

/// Being held is all that it is asked for.
class PlainFace final : public PlatformFace<IQXModule> {
 public:
  using PlatformFace::PlatformFace;
};

template <typename Face>
Wrapped* MakeFace(Border& border, IQXModule* raw, IQXModule*& face) {
  Face* const made = new Face(border, raw);
  face = made;
  return made;
}

/// Which interface a name stands for. A name that the contract does not have is
/// a player runtime of the host's choosing: the module asks for no other.
Wrapped* MakeFaceFor(Border& border, const std::string& name, IQXModule* raw, IQXModule*& face) {
  if (name == "IFileSystem") return MakeFace<FileSystemFace>(border, raw, face);
  if (name == "IGraphicsDriver") return MakeFace<GraphicsFace>(border, raw, face);
  if (name == "ILocaleUtils") return MakeFace<LocaleFace>(border, raw, face);
  if (name == "IMouseStream") return MakeFace<PointerFace>(border, raw, face);
  if (name == "IShell") return MakeFace<ShellFace>(border, raw, face);
  if (name == "ISystemDriver") return MakeFace<SystemFace>(border, raw, face);
  if (name == "IUserInputDriver") return MakeFace<PlainFace>(border, raw, face);
  return MakeRuntime(border, raw, face);
}

}  // namespace

PLEXION_WRAPPER(platform::IFileObject, FileFace)

Wrapped* MakeModule(Border& border, const char* name, IQXModule* raw) {
  IQXModule* face = nullptr;
  Wrapped* const made = MakeFaceFor(border, name != nullptr ? name : "", raw, face);
  made->label = name != nullptr ? name : "";
  made->face = face;
  border.AddFace(face, made);
  return made;
}

IQXModule* ModuleFace(Wrapped* module) { return static_cast<IQXModule*>(module->face); }

}  // namespace plexion_record
