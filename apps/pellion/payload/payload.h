#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "pellion/text/json_path.h"
#include "pellion/text/json_reader.h"
#include "platform/value.h"

namespace pellion {

/// A value in a payload or in the content of its addInfo.
struct Spot {
  bool inAddInfo = false;
  JSONPath path = {};
  bool ofName = false;                    ///< the position of its name instead
  std::optional<Position> inString = {};  ///< the position in the text that the value is
};

/// Where a reader finds the value: the position in the file, also inside the text of addInfo; such a place has the
/// position in that text too.
struct Place {
  struct InText {
    std::string path;
    std::optional<Position> position;
  };
  Position position;
  std::string path;
  std::optional<InText> inText;
  std::optional<Position> inString = {};  ///< for a place outside addInfo's content: the position in the text there
};

/// A payload, and what the module's own search and reader find in it.
struct Payload {
  std::string file;
  JSONNode root;
  std::string source = {};                   ///< the file's text; empty if positions in its strings are unknown
  JSONPath prefix = {};                      ///< of the payload in the document
  std::string envelope = {};                 ///< says what carries the payload, if anything does
  bool isVoIP = false;                       ///< as the push type of the request says
  std::vector<std::string> schemes = {};     ///< that the application declares, as far as that is known; in lower case
  bool knowsSchemes = false;                 ///< the caller knows which schemes the application declares
  bool isForPage = false;                    ///< remedies name what is on the lab's page, not options
  std::vector<JSONPath> addInfoPlaces = {};  ///< where the search finds one; it uses the first
  const platform::Value* addInfo = nullptr;  ///< the one that it uses
  std::optional<JSONNode> content = {};      ///< its content: what the module reads from the text, or the object
  bool contentHasPlaces = false;             ///< positions in the text
  std::optional<JSONPath> buttonsPath = {};  ///< in the content, where the search finds "actionButton"
  std::optional<DocumentError> textProblem = {};  ///< the error of a strict reader for the text

  [[nodiscard]] const platform::Value& value() const { return root.value; }
  /// The content, when it is an object.
  [[nodiscard]] const platform::Value* info() const;
  [[nodiscard]] const platform::Value* buttons() const;
  [[nodiscard]] Place place(const Spot& spot) const;
};

/// A document of another kind was given as a payload.
class OtherDocument : public DocumentError {
 public:
  using DocumentError::DocumentError;
};

/// Reads the text of a file: a payload, or the request to a push provider that carries one. Throws OtherDocument for a
/// scenario or a configuration, DocumentError for anything else.
Payload readPayload(std::string_view file, std::string_view text);

/// Adds what the module finds in the payload. Inside a process.
void inspect(Payload& payload);

/// The places at which the module's search finds the key, in the order of the search. Each further place is found by
/// removing the ones before it. At most eight.
std::vector<JSONPath> placesFound(std::string_view key, platform::Value dictionary);

}  // namespace pellion
