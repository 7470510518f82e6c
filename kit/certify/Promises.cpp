// All promises, in one order, and the page that lists them.

#include <sstream>

#include "host/base/Check.h"
#include "kit/certify/Groups.h"
#include "kit/certify/Promise.h"

namespace plexion_certify {

const std::vector<PromiseGroup>& Groups() {
  static const std::vector<PromiseGroup> groups = {
      LoadingPromises(),       KernelMemoryPromises(),
      KernelTimePromises(),    KernelThreadPromises(),
      KernelMutexPromises(),   KernelEventPromises(),
      KernelTextPromises(),    KernelFormatPromises(),
      KernelConsolePromises(), KernelProcessPromises(),
      KernelModulePromises(),  KernelWindowPromises(),
      GraphicsPlanePromises(), GraphicsOutputPromises(),
      GraphicsStackPromises(), GraphicsWindowPromises(),
      FilePromises(),          ShellPromises(),
      SmallPromises(),         PointerPromises(),
      PlayerLifePromises(),    PlayerThreadPromises(),
      PlayerPlanePromises(),   PlayerWindowPromises(),
      HostPromises()};
  return groups;
}

const Promise* FindPromise(const std::string& id) {
  for (const PromiseGroup& group : Groups()) {
    for (size_t i = 0; i < group.count; ++i) {
      if (id == group.promises[i].id) return &group.promises[i];
    }
  }
  return nullptr;
}

const PromiseGroup& GroupOf(const Promise& promise) {
  for (const PromiseGroup& group : Groups()) {
    if (&promise >= group.promises && &promise < group.promises + group.count) return group;
  }
  PLEXION_CHECK(false, "a promise of a group");
  return Groups().front();
}

std::string InterfaceOf(const Promise& promise) {
  const std::string id = promise.id;
  return id.substr(0, id.find('.'));
}

std::vector<std::string> NeedsOf(const Promise& promise) {
  std::istringstream words(promise.needs);
  std::vector<std::string> needs;
  // Said once, or a library that cannot be loaded would be said by every promise of it, each after its limit.
  for (const std::string& loads : {std::string("kernel.loads"), InterfaceOf(promise) + ".loads"}) {
    if (loads == promise.id) return needs;
    if (FindPromise(loads) != nullptr) needs.push_back(loads);
  }
  for (std::string word; words >> word;) needs.push_back(word);
  return needs;
}

const char* LevelName(Level level) {
  static const char* const names[] = {"basic", "contract", "full"};
  return names[static_cast<int>(level)];
}

std::string PromisesPage() {
  std::string page =
      "# What a host promises\n"
      "\n"
      "Every sentence that `plexion-certify` tries, by its id. The page is made by\n"
      "`plexion-certify --list markdown`; [certify.md](certify.md) says how to use the tool, and "
      "the headers have\n"
      "the contract's own words.\n"
      "\n"
      "The level says how far a run goes: *basic* is what nothing plays without, *contract* what "
      "the contract\n"
      "says, *full* the same often, for long and much at a time.\n";
  for (const PromiseGroup& group : Groups()) {
    page += "\n## " + std::string(group.title) + "\n\n" + group.about + " Contract: `" +
            group.header + "`.\n\n| Id | Promise | Level |\n| --- | --- | --- |\n";
    for (size_t i = 0; i < group.count; ++i) {
      const Promise& promise = group.promises[i];
      page += "| `" + std::string(promise.id) + "` | " + promise.sentence + " | " +
              LevelName(promise.level) + " |\n";
    }
  }
  return page;
}

}  // namespace plexion_certify
