// The host's command line, text and byte operations, the console, and modules by name.

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "qx/core/Check.h"
#include "qx/core/QXString.h"
#include "sim/kernel/SimKernel.h"
#include "sim/schedule/Sanitizers.h"

namespace plexion_sim {

IQXKernel::Time SimKernel::GetTime() {
  Minor("GetTime");
  return now_;
}

int32_t SimKernel::GetProcessId() { return options_.processId; }

int SimKernel::GetArgc() { return static_cast<int>(argv_.size()) - 1; }

const char** SimKernel::GetArgv() { return argv_.data(); }

bool SimKernel::GetBinDirectory(QXString& directory, const char* moduleName) {
  Note("GetBinDirectory", moduleName == nullptr ? "" : moduleName);
  if (faults_.Fails(Fallible::kGetBinDirectory)) return false;
  directory.Assign(options_.binDirectory.c_str());
  return true;
}

void SimKernel::MemSet(void* destination, int value, unsigned long bytes) {
  ModuleWrites(destination, bytes);
  if (bytes > 0) std::memset(destination, value, bytes);
}

void SimKernel::MemCopy(void* destination, const void* source, unsigned long bytes) {
  const auto* to = static_cast<const char*>(destination);
  const auto* from = static_cast<const char*>(source);
  if (bytes > 0 && to != from && to < from + bytes && from < to + bytes) {
    Report(FindingKind::kMemory, "MemCopy of " + std::to_string(bytes) +
                                     " bytes between ranges that overlap; expected MemMove");
    return;
  }
  ModuleReads(source, bytes);
  ModuleWrites(destination, bytes);
  if (bytes > 0) std::memmove(destination, source, bytes);
}

void SimKernel::MemMove(void* destination, const void* source, unsigned long bytes) {
  ModuleReads(source, bytes);
  ModuleWrites(destination, bytes);
  if (bytes > 0) std::memmove(destination, source, bytes);
}

unsigned long SimKernel::StrLen16(const unsigned short* text) {
  unsigned long length = 0;
  while (text[length] != 0) ++length;
  return length;
}

unsigned long SimKernel::StrLen(const char* text) {
  const size_t length = std::strlen(text);
  // The sanitizers do not see into the kernel's side by themselves: what the module hands in is looked at here.
  ModuleReads(text, length + 1);
  return length;
}

int SimKernel::StrCmp(const char* left, const char* right) {
  ModuleReads(left, 1);
  ModuleReads(right, 1);
  return std::strcmp(left, right);
}

void SimKernel::StrCpy(char* destination, const char* source) { std::strcpy(destination, source); }

void SimKernel::FormatString(char* buffer, unsigned long size, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  FormatStringV(buffer, size, format, arguments);
  va_end(arguments);
}

void SimKernel::FormatStringV(char* buffer, unsigned long size, const char* format,
                              va_list arguments) {
  std::vsnprintf(buffer, size, format, arguments);
}

long SimKernel::StrToL(const char* text, char** end, int base) {
  return std::strtol(text, end, base);
}

unsigned long SimKernel::StrToUL(const char* text, char** end, int base) {
  return std::strtoul(text, end, base);
}

const char* SimKernel::StrChr(const char* text, int character) {
  return std::strchr(text, character);
}

const char* SimKernel::StrRChr(const char* text, int character) {
  return std::strrchr(text, character);
}

void SimKernel::Printf(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  PrintfV(format, arguments);
  va_end(arguments);
}

void SimKernel::PrintfV(const char* format, va_list arguments) {
  Minor("Printf");
  va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  std::string text(static_cast<size_t>(length < 0 ? 0 : length) + 1, '\0');
  std::vsnprintf(&text[0], text.size(), format, again);
  va_end(again);
  text.pop_back();
  // Not printed as well: what fails is about to trap, and is not let go on.
  if (std::strcmp(format, kQXCheckFailed) == 0) {
    Report(FindingKind::kCheck, text.substr(0, text.find('\n')));
  }
  // For whoever looks at one story by hand; thousands of schedules print nothing.
  static const bool echo = std::getenv("PLEXION_SIM_ECHO") != nullptr;
  if (echo) std::fputs(text.c_str(), stdout);
  printed_ += text;
  if (journal_.IsOn()) {
    std::string shown;
    for (const char c : text) shown += c == '\n' ? std::string("\\n") : std::string(1, c);
    Note("Printf", shown);
  }
}

std::vector<std::string> SimKernel::PrintedLines() const {
  std::vector<std::string> lines;
  size_t start = 0;
  while (start < printed_.size()) {
    size_t end = printed_.find('\n', start);
    if (end == std::string::npos) end = printed_.size();
    lines.push_back(printed_.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

void SimKernel::RegisterModule(const std::string& name, IQXModule* module) {
  QX_CHECK(!name.empty(), "a module is asked for by name");
  modules_[name].module = module;
}

unsigned SimKernel::ModuleReferences(const std::string& name) const {
  const auto found = modules_.find(name);
  return found == modules_.end() ? 0 : found->second.references;
}

IQXModule* SimKernel::AcquireModule(const char* name) {
  Point("AcquireModule");
  const auto found = modules_.find(name);
  const bool there = found != modules_.end() && found->second.module != nullptr;
  if (faults_.Fails(Fallible::kAcquireModule, name) || !there) {
    Note("AcquireModule", std::string(name) + " -> null");
    return nullptr;
  }
  ++found->second.references;
  Note("AcquireModule", name);
  return found->second.module;
}

void SimKernel::ReleaseModule(IQXModule* module) {
  Point("ReleaseModule");
  if (module == nullptr) {
    Note("ReleaseModule", "null");
    return;
  }
  for (auto& entry : modules_) {
    if (entry.second.module != module) continue;
    Note("ReleaseModule", entry.first);
    if (entry.second.references == 0) {
      Report(FindingKind::kUseAfterDestroy,
             "ReleaseModule of " + entry.first + ", which nobody holds");
      return;
    }
    // At none the module stays: it is a scripted object of the device, and may be acquired again.
    --entry.second.references;
    return;
  }
  Report(FindingKind::kUseAfterDestroy, "ReleaseModule of something that is no module");
}

}  // namespace plexion_sim
