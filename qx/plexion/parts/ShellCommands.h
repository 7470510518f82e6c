#ifndef QX_PLEXION_PARTS_SHELLCOMMANDS_H_
#define QX_PLEXION_PARTS_SHELLCOMMANDS_H_

#include "qx/core/Check.h"
#include "qx/core/IQXKernel.h"
#include "qx/core/QXError.h"
#include "qx/core/QXString.h"
#include "qx/platform/IShell.h"

namespace qx {
namespace plexion {

/// Whether "--pause" stands on the host's own command line, in any place, the first included: then
/// what is about to run waits for "go".
bool HostAsksForPause(IQXKernel* kernel);

/// The shell's "go" while a whole set waits to be run: any words release the wait.
///
/// Made with QX_NEW_DELETE by whoever waits. That thread registers it as "go", starts the shell,
/// waits for the event, unregisters the word and destroys what the shell hands back
/// (QXTypes_ScalarDelete). The next class is used in the same way.
///
/// Owns     nothing; the event belongs to the thread that waits and must outlive the command.
class GoShellCommand : public platform::IShellCommand {
 public:
  explicit GoShellCommand(IQXKernel::Event* goEvent) : event(goEvent) {
    QX_CHECK(event != nullptr, "an event that somebody waits for");
  }
  ~GoShellCommand() override;
  QXError Execute(unsigned long argc, char** argv) override;

  IQXKernel::Event* event;
};

/// The shell's "go" while one window waits to load: the words may name other content.
///
///   go --rundefault        release the wait; the texts below stay empty
///   go URL                 the content to load instead
///   go URL ZOR_BASE_URL    the same with a ZOR base; "--rundefault" is no option here
///
/// Anything else prints the usage line and keeps the window waiting. The texts are written before
/// the event is signalled and may be read once the wait has returned and "go" is unregistered.
class GoToURLShellCommand : public platform::IShellCommand {
 public:
  explicit GoToURLShellCommand(IQXKernel::Event* goEvent) : event(goEvent) {
    QX_CHECK(event != nullptr, "an event that somebody waits for");
  }
  ~GoToURLShellCommand() override;
  QXError Execute(unsigned long argc, char** argv) override;

  IQXKernel::Event* event;
  QXString url;      ///< empty: the configured content
  QXString baseUrl;  ///< empty: the configured ZOR base
};

}  // namespace plexion
}  // namespace qx

#endif  // QX_PLEXION_PARTS_SHELLCOMMANDS_H_
