// Parts: small documents that an application uses, each as often as it likes and with other values.
#ifndef HOST_PLAYER_APPLICATION_DOCUMENT_PARTLIBRARY_H_
#define HOST_PLAYER_APPLICATION_DOCUMENT_PARTLIBRARY_H_

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "host/player/application/document/XmlReader.h"

namespace plexion_host::player::application {

constexpr size_t kLargestPart = 65536;
constexpr size_t kMostParts = 100;
constexpr size_t kMostParameters = 50;
constexpr size_t kLongestParameter = 65536;
/// Of parts that use parts.
constexpr size_t kDeepestUses = 8;
/// Of all parts, each counted as often as it is used: what small files could ask for together would
/// else be hours of reading.
constexpr size_t kMostUsedBytes = size_t{16} * 1024 * 1024;
/// Of the values of all uses together.
constexpr size_t kMostParameterBytes = size_t{4} * 1024 * 1024;

enum class ParameterType { kText, kNumber, kFlag, kColour };

/// What a part wants to be told.
struct PartParameter {
  std::string name;
  ParameterType type = ParameterType::kText;
  bool isRequired = true;
  std::string value;  ///< the default; of a use, what it says
};

/// A part's document, with what stands at its beginning.
struct Part {
  std::string text;
  std::string width;  ///< of a use that does not say; empty: 0
  std::string height;
  std::vector<PartParameter> parameters;
};

/// One use of a part, for what stands in the part and for its scripts.
struct PartUse {
  std::string file;
  std::string folder;   ///< of the file, with a slash at its end; empty: the application's own
  std::string id;       ///< of the use; empty: none
  uint32_t root = 0;    ///< handle of the group that the use has become
  uint32_t around = 0;  ///< root of the use that this one stands in; 0: none
  std::string width;    ///< of the group, as the document says it
  std::string height;
  std::vector<PartParameter> parameters;
};

/// The parts of an application, each read once.
///
/// Thread   the application's.
class PartLibrary {
 public:
  /// Reads a file of the application, of at most so many bytes; false with the reason.
  using Reader =
      std::function<bool(const std::string& name, uint64_t limitBytes, std::string&, std::string&)>;

  explicit PartLibrary(Reader reader) : reader_(std::move(reader)) {}

  /// Returns  null with `error`, whose `file` is empty when the part cannot be read at all.
  const Part* Find(const std::string& name, DocumentError& error);
  const std::map<std::string, std::unique_ptr<Part>>& Parts() const { return parts_; }
  /// All that was looked for, also what could not be read.
  const std::set<std::string>& Names() const { return names_; }

 private:
  const Reader reader_;
  std::set<std::string> names_;
  std::map<std::string, std::unique_ptr<Part>> parts_;
};

/// Whether `value` is one of that type; `expected` says what is one.
bool IsParameterValue(ParameterType type, std::string_view value, std::string& expected);

/// "{title}: {{x}}" with the values of a use in place of names in braces; two braces stand for one.
/// Returns  false with `error` when a name is none of the part's parameters, a brace stands alone,
///          or it becomes too long.
bool PutInValues(std::string_view text, const PartUse& use, std::string& filled,
                 std::string& error);

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_DOCUMENT_PARTLIBRARY_H_
