// What came of a run: a table for people, JSON for programs.

#ifndef KIT_CERTIFY_REPORT_H_
#define KIT_CERTIFY_REPORT_H_

#include <string>
#include <vector>

#include "kit/certify/Options.h"
#include "kit/certify/Runner.h"

namespace plexion_certify {

std::string TableOf(const Options& options, const std::vector<Result>& results, double seconds);
std::string JsonOf(const Options& options, const std::vector<Result>& results, double seconds);
/// 0 when all that was tried is kept, 1 when something is broken, 2 when nothing was tried.
int ExitCodeOf(const Options& options, const std::vector<Result>& results);

}  // namespace plexion_certify

#endif  // KIT_CERTIFY_REPORT_H_
