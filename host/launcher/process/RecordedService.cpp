// --record: the service behind a recorder.

#include "host/launcher/process/RecordedService.h"

#include "kit/record/Recorder.h"

namespace plexion_host {

RecordedService::RecordedService(HostKernel& kernel)
    : kernel_(kernel), recorder_(std::make_unique<plexion_record::Recorder>(kernel)) {}

RecordedService::~RecordedService() = default;

bool RecordedService::Open(const LauncherOptions& options,
                           const std::vector<std::string>& arguments, std::string& error) {
  std::vector<const char*> words;
  for (const std::string& word : arguments) words.push_back(word.c_str());
  plexion_record::RecorderSettings settings;
  settings.path = options.recordFile;
  settings.limitBytes = options.recordMegabytes * 1024 * 1024;
  settings.keepMinutes = static_cast<uint32_t>(options.recordMinutes);
  settings.argc = static_cast<int>(words.size());
  settings.argv = words.data();
  if (!recorder_->Open(settings, error)) return false;
  kernel_.SetBorder("IPlexion", this);
  return true;
}

IQXKernel& RecordedService::KernelFor(IQXKernel&) { return recorder_->Kernel(); }

IQXModule* RecordedService::Load(IQXModule* (*load)()) { return recorder_->Load(load); }

void RecordedService::Unload(void (*unload)(IQXModule*), IQXModule* module) {
  recorder_->Unload(unload, module);
  // The launcher loads it once: the file is whole now.
  recorder_->Close();
}

}  // namespace plexion_host
