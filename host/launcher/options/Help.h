// The help, in pages that fit a screen.

#ifndef HOST_LAUNCHER_OPTIONS_HELP_H_
#define HOST_LAUNCHER_OPTIONS_HELP_H_

#include <string>
#include <vector>

namespace plexion_host {

/// The topics that there are pages on; "all" has all of them.
std::vector<std::string> HelpTopics();

/// The page on `topic`, in lines of at most 79 characters; of "" the first page, which names the most
/// used options and the topics. Pages but that of "all" have at most 24 lines.
/// Returns  an empty text for a topic that there is not.
std::string HelpPage(const std::string& topic);

/// How a line looks, and where the options are: for lines that are wrong. At most three lines.
std::string ShortUsage();

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_OPTIONS_HELP_H_
