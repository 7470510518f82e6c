// The tables of promises, one function for each source of cases.

#ifndef KIT_CERTIFY_GROUPS_H_
#define KIT_CERTIFY_GROUPS_H_

#include "kit/certify/Promise.h"

namespace plexion_certify {

PromiseGroup LoadingPromises();
PromiseGroup KernelMemoryPromises();
PromiseGroup KernelTimePromises();
PromiseGroup KernelThreadPromises();
PromiseGroup KernelMutexPromises();
PromiseGroup KernelEventPromises();
PromiseGroup KernelTextPromises();
PromiseGroup KernelFormatPromises();
PromiseGroup KernelConsolePromises();
PromiseGroup KernelProcessPromises();
PromiseGroup KernelModulePromises();
PromiseGroup KernelWindowPromises();
PromiseGroup GraphicsPlanePromises();
PromiseGroup GraphicsOutputPromises();
PromiseGroup GraphicsStackPromises();
PromiseGroup GraphicsWindowPromises();
PromiseGroup FilePromises();
PromiseGroup ShellPromises();
PromiseGroup SmallPromises();
PromiseGroup PointerPromises();
PromiseGroup PlayerLifePromises();
PromiseGroup PlayerThreadPromises();
PromiseGroup PlayerPlanePromises();
PromiseGroup PlayerWindowPromises();
PromiseGroup HostPromises();

/// An array of promises as a group.
template <size_t N>
PromiseGroup MakeGroup(const char* title, const char* header, const char* about,
                       const Promise (&promises)[N]) {
  return {title, header, about, promises, N};
}

}  // namespace plexion_certify

#endif  // KIT_CERTIFY_GROUPS_H_
