// What is certified: sentences of the contract, each with an id and a case that tries it.

#ifndef KIT_CERTIFY_PROMISE_H_
#define KIT_CERTIFY_PROMISE_H_

#include <cstddef>
#include <string>
#include <vector>

namespace plexion_certify {

class Case;

/// How much of a device it takes to break the promise.
enum class Level {
  kBasic,     ///< nothing plays without it
  kContract,  ///< the contract says it
  kFull       ///< load and time: many, often, for long
};

struct Promise {
  const char* id;  ///< "kernel.mutex.recursive": the interface, what of it, what is promised
  const char* sentence;
  Level level;
  /// Ids, a space between: a case whose needs are broken says nothing, and is skipped.
  const char* needs;
  void (*run)(Case& c);
};

/// Promises that are read about in one place.
struct PromiseGroup {
  const char* title;   ///< the section of docs/promises.md
  const char* header;  ///< where the contract says it
  const char* about;   ///< what is easily got wrong; Markdown
  const Promise* promises;
  size_t count;
};

/// All groups in the order in which they are tried: what others need comes first.
const std::vector<PromiseGroup>& Groups();
/// Null for an id that there is not.
const Promise* FindPromise(const std::string& id);
const PromiseGroup& GroupOf(const Promise& promise);
/// "kernel" of "kernel.mutex.recursive".
std::string InterfaceOf(const Promise& promise);
/// What it says itself, and that its libraries can be loaded.
std::vector<std::string> NeedsOf(const Promise& promise);
const char* LevelName(Level level);

/// docs/promises.md, whole.
std::string PromisesPage();

}  // namespace plexion_certify

#endif  // KIT_CERTIFY_PROMISE_H_
