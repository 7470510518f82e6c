// The scripted modules that only answer.

#include "sim/device/SimPlatform.h"

#include "qx/core/QXString.h"
#include "qx/plexion/StageWindowParameters.h"

namespace plexion_sim {

void SimSystem::GetCurrentUserName(QXString& name) {
  Enter("GetCurrentUserName");
  kernel_.Note("GetCurrentUserName", "-> " + userName);
  name.Assign(userName.c_str());
}

const char* SimLocale::SetLocale(int category, const char* locale) {
  Enter("SetLocale");
  inForce_ = answer.empty() ? std::string(locale) : answer;
  asked.push_back(locale);
  kernel_.Note("SetLocale", std::to_string(category) + " " + locale + " -> " + inForce_);
  return inForce_.c_str();
}

bool SimMouseStream::StartMouseStream(const qx::plexion::StageWindowParameters& parameters) {
  Enter("StartMouseStream");
  const bool failed = kernel_.GetFaults().Fails(Fallible::kStartMouseStream);
  const std::string address = parameters.mouseStream == nullptr ? "null" : parameters.mouseStream;
  kernel_.Note("StartMouseStream", address + (failed ? " -> false" : " -> true"));
  if (!failed) served.push_back(address);
  return !failed;
}

}  // namespace plexion_sim
