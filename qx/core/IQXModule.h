#ifndef QX_CORE_IQXMODULE_H_
#define QX_CORE_IQXMODULE_H_

/// Base of every loadable module.
///
/// A module is a shared library <Name>.so with three C entry points:
///   void IQXModule_QXModule_PutKernel(IQXKernel*)      called first, once
///   IQXModule* IQXModule_<Name>_ModuleLoad()           creates the module object
///   void IQXModule_<Name>_ModuleUnload(IQXModule*)     destroys it
/// Whoever acquires a module by name casts the pointer to the interface that the name stands for;
/// every such interface derives from this class alone, so the cast is a plain static_cast.
class IQXModule {
 public:
  virtual ~IQXModule() {}
};

#endif  // QX_CORE_IQXMODULE_H_
