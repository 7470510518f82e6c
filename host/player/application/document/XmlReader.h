// A strict reader of plain XML.
#ifndef HOST_PLAYER_APPLICATION_DOCUMENT_XMLREADER_H_
#define HOST_PLAYER_APPLICATION_DOCUMENT_XMLREADER_H_

#include <stddef.h>

#include <string>
#include <string_view>
#include <vector>

namespace plexion_host::player::application {

constexpr size_t kLargestDocument = 1024 * 1024;

/// Where something stands in a document; both count from 1, columns in characters.
struct XmlPlace {
  unsigned line = 1;
  unsigned column = 1;
};

/// Where a document is wrong, and how.
struct DocumentError {
  std::string file;  ///< a part that the document uses; empty: the document itself
  XmlPlace place;
  std::string element;  ///< name of the element; empty outside of all
  std::string what;     ///< what was found and what was expected
};

/// "application.xml:12:7: <text>: attribute ...", without control characters. `file` is the document's
/// name, which stands there unless the error is in a part.
std::string Describe(const std::string& file, const DocumentError& error);

struct XmlAttribute {
  std::string_view name;
  std::string_view value;
};

/// Takes a document as it is read. Each operation returns an empty text, or what is wrong and what
/// was expected: nothing further is read then. What it is given lives for the call only.
class XmlHandler {
 public:
  using Attributes = std::vector<XmlAttribute>;

  virtual ~XmlHandler() = default;
  virtual std::string OnOpen(std::string_view name, const Attributes& attributes,
                             XmlPlace place) = 0;
  /// A part of the text between tags; `place` is where it begins.
  virtual std::string OnText(std::string_view text, XmlPlace place) = 0;
  virtual std::string OnClose() = 0;
};

/// Reads well-formed XML of the plain kind: UTF-8, one root, no document type, and so no entity but
/// the five predefined and numbered characters. Size and depth are limited while it is read, before
/// anything is built from it.
/// Returns  false with `error` at the first thing that is wrong; the handler has then seen what
///          stands before it.
bool ReadXml(std::string_view text, XmlHandler& handler, DocumentError& error);

}  // namespace plexion_host::player::application

#endif  // HOST_PLAYER_APPLICATION_DOCUMENT_XMLREADER_H_
