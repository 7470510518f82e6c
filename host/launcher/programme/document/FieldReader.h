// Reads the members of a document's object by name and says what was expected where one is wrong.

#ifndef HOST_LAUNCHER_PROGRAMME_DOCUMENT_FIELDREADER_H_
#define HOST_LAUNCHER_PROGRAMME_DOCUMENT_FIELDREADER_H_

#include <optional>
#include <string>
#include <vector>

#include "host/launcher/programme/document/JsonTree.h"

namespace plexion_host {

/// One object of a document. The first error counts: it is kept in `error`, with line and path, and
/// everything after it answers "not there".
///
/// Order    the readers, each member once; Finish, which refuses members that nobody asked for.
class FieldReader {
 public:
  FieldReader(const JsonNode& node, std::string path, std::string& error);

  bool Ok() const { return error_->empty(); }
  const std::string& Path() const { return path_; }
  size_t Line() const { return node_->line; }

  /// None when the member is not there or wrong.
  std::optional<std::string> Text(const char* name);
  std::optional<double> Number(const char* name, double least, double most);
  std::optional<bool> Flag(const char* name);
  /// "10s", "1m30s", "500ms", "2h", or a number of seconds. Milliseconds, at least `leastMs`.
  std::optional<int64_t> Duration(const char* name, int64_t leastMs);
  /// One of the words; its index.
  std::optional<size_t> Word(const char* name, const std::vector<const char*>& words);
  /// The elements, or none.
  const JsonNode* Array(const char* name);
  const JsonNode* Object(const char* name);
  /// Any kind: the caller looks at it.
  const JsonNode* Any(const char* name);
  /// Says that it must be there.
  void Require(const char* name, bool there, const char* expected);

  /// Refuses what is in the object and was not asked for.
  void Finish();

  /// "zones[1]" of "zones" and 1; "zones[1].name" of that and "name".
  std::string PathOf(const char* name) const;
  static std::string Element(const std::string& path, size_t index);
  void Fail(const JsonNode& at, const std::string& path, const std::string& what);

 private:
  const JsonNode* Of(const char* name, JsonNode::Kind kind);

  const JsonNode* node_;
  std::string path_;
  std::string* error_;
  std::vector<std::string> asked_;
};

/// "1m30s" as milliseconds; none for what is no duration.
std::optional<int64_t> ReadDurationMs(const std::string& text);

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_PROGRAMME_DOCUMENT_FIELDREADER_H_
