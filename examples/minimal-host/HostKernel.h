#ifndef MINIMAL_HOST_HOSTKERNEL_H_
#define MINIMAL_HOST_HOSTKERNEL_H_

class IQXKernel;

extern "C" {
/// The kernel of this host. `argv` is the process's own command line and outlives the kernel.
/// Owns  the caller; give it back after the last module was released.
IQXKernel* PlexionHost_CreateKernel(int argc, const char** argv);
void PlexionHost_DestroyKernel(IQXKernel* kernel);
}

#endif  // MINIMAL_HOST_HOSTKERNEL_H_
