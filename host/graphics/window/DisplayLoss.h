// What happens when the X server goes while a window is open.

#ifndef HOST_GRAPHICS_WINDOW_DISPLAYLOSS_H_
#define HOST_GRAPHICS_WINDOW_DISPLAYLOSS_H_

namespace plexion_host {

/// From now on a connection to the X server that breaks ends the launcher with an exit code of its own
/// (IHostWindows::DisplayLost), and not, as the X library does by itself, with the one of a content's
/// error and past everything that wants to be put right. Without a launcher it stays as it is.
///
/// Thread   the display's, once its connection is there.
void WatchDisplayConnection();

}  // namespace plexion_host

#endif  // HOST_GRAPHICS_WINDOW_DISPLAYLOSS_H_
