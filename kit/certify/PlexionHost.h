// How a host's kernel is got hold of by a program that is not that host: plexion-certify, for one.

#ifndef KIT_CERTIFY_PLEXIONHOST_H_
#define KIT_CERTIFY_PLEXIONHOST_H_

class IQXKernel;

/// The entry points of a library that has a kernel. The device maker writes it; plexion-certify loads it
/// (--kernel FILE, or found in --host FOLDER) once in every process that it starts. A library that links the
/// kit's core, and so exports IQXModule_QXModule_PutKernel, is handed its own kernel there right after
/// CreateKernel: its strings take their memory from it.
///
/// Order    CreateKernel, then Run if there is one, then DestroyKernel if there is one. Every module
///          has been released before DestroyKernel.
extern "C" {
/// Makes the kernel. `argv` is the command line that GetArgv answers, a null behind it; it outlives
/// the kernel.
/// Owns     the caller; it goes back through PlexionHost_DestroyKernel.
/// Returns  null when there is none to be had.
IQXKernel* PlexionHost_CreateKernel(int argc, const char** argv);

/// Optional: without it the kernel stays until the process ends. Called once, after Run has returned and all
/// that was taken from the kernel is back: ends its threads, closes its files, and returns.
void PlexionHost_DestroyKernel(IQXKernel* kernel);

/// Optional, for a kernel with a scheduler of its own: calls `body` once with `context`, where the
/// kernel's operations may be called, and returns when it has returned. Without it `body` is called on
/// the process's first thread.
void PlexionHost_Run(IQXKernel* kernel, void (*body)(void* context), void* context);

/// Optional, for a shell that does not read standard input: the operator types `line` (without a line
/// end).
void PlexionHost_Type(const char* line);
}

#endif  // KIT_CERTIFY_PLEXIONHOST_H_
