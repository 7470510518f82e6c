#ifndef HOST_PLAYER_APPLICATION_DOCUMENT_XMLCHECK_H_
#define HOST_PLAYER_APPLICATION_DOCUMENT_XMLCHECK_H_

#include <stddef.h>

#include <string>
#include <string_view>

namespace plexion_host::player::application {

constexpr size_t kLargestDocument = 1024 * 1024;
constexpr unsigned kDeepestNesting = 32;

/// Where a document is wrong, and how.
struct DocumentError {
  unsigned line = 1;
  std::string element;  ///< name of the element; empty outside of all
  std::string what;     ///< what was found and what was expected
};

/// "application.xml:12: <text>: attribute ..."
std::string Describe(const std::string& file, const DocumentError& error);

/// Checks that `text` is well-formed XML of the plain kind: UTF-8, one root, no document type,
/// closed tags, no attribute twice, no entity but the five predefined and numbered characters,
/// and within the limits above. The XML library is lenient about most of this, and only sees what
/// passed.
bool CheckXml(std::string_view text, DocumentError& error);

/// Position of the first byte that is not part of valid UTF-8, or npos.
size_t FindInvalidUtf8(std::string_view text);

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_DOCUMENT_XMLCHECK_H_
