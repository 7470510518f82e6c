#ifndef HOST_CONTRACTS_IHOSTCONSOLE_H_
#define HOST_CONTRACTS_IHOSTCONSOLE_H_

#include <string>

#include "qx/core/IQXModule.h"

namespace plexion_host {

/// What the kernel's Printf writes to: a built-in module "IHostConsole" of this host's kernel, so
/// that the shell can hand a command's output to whoever typed it.
///
/// Thread   any.
class IHostConsole : public IQXModule {
 public:
  /// From now on, what the calling thread prints is kept and no longer written. Does not nest.
  virtual void BeginCapture() = 0;
  /// Ends it and returns what was printed.
  virtual std::string EndCapture() = 0;
  /// To standard output as it is, whatever becomes of what modules print: the answer to somebody who
  /// typed there.
  virtual void PrintPlain(const std::string& text) = 0;
  /// A line editor that owns the terminal's last line sets this: `before` is called ahead of each
  /// piece of output, `after` behind it, on the printing thread. Null functions take it back.
  virtual void SetTerminalHooks(void (*before)(void*), void (*after)(void*), void* context) = 0;
  /// Whether the last piece of output left its line unfinished; for the `after` hook, which then
  /// leaves the rest of the line to the next piece.
  virtual bool IsLineOpen() = 0;
};

}  // namespace plexion_host

#endif  // HOST_CONTRACTS_IHOSTCONSOLE_H_
