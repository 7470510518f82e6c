// A JSON document as a tree that knows where each value stood, for errors that a person can find.

#ifndef HOST_LAUNCHER_PROGRAMME_DOCUMENT_JSONTREE_H_
#define HOST_LAUNCHER_PROGRAMME_DOCUMENT_JSONTREE_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace plexion_host {

struct JsonNode {
  enum class Kind { kNull, kBool, kNumber, kText, kArray, kObject };

  Kind kind = Kind::kNull;
  size_t line = 1;  ///< of its first character, from 1
  bool flag = false;
  double number = 0;
  std::string text;
  std::vector<JsonNode> elements;                         ///< of an array
  std::vector<std::pair<std::string, JsonNode>> members;  ///< of an object, in their order

  /// Null when there is none of this name.
  const JsonNode* Find(std::string_view name) const;
};

/// "text", "a number", "an object" ...
const char* KindName(JsonNode::Kind kind);

/// Reads JSON with comments (// and /* */). A name that stands twice in one object is refused.
/// Returns  false with "line N: what is wrong" in `error`.
bool ReadJsonTree(const std::string& text, JsonNode& root, std::string& error);

}  // namespace plexion_host

#endif  // HOST_LAUNCHER_PROGRAMME_DOCUMENT_JSONTREE_H_
