#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "pellion/document/json_path.h"
#include "pellion/document/json_reader.h"
#include "platform/value.h"

namespace pellion {

/// A value in a payload or in what its addInfo holds.
struct Spot {
  bool inAddInfo = false;
  JSONPath path = {};
  bool ofName = false;  ///< of its name instead
};

/// Where a reader finds it. A place inside the text of an addInfo has one in the payload, that of the text, and one in
/// the text.
struct Place {
  struct InText {
    std::string path;
    std::optional<Position> position;
  };
  Position position;
  std::string path;
  std::optional<InText> inText;
};

/// A payload, and what the module's own search and reader find in it.
struct Payload {
  std::string file;
  JSONNode root;
  std::vector<JSONPath> addInfoPlaces = {};  ///< where the search meets one; it takes the first
  const platform::Value* addInfo = nullptr;  ///< the one that it takes
  std::optional<JSONNode> content = {};      ///< what that holds: what the module reads from the text, or the object
  bool contentHasPlaces = false;             ///< those in the text
  std::optional<JSONPath> buttonsPath = {};  ///< in the content, where the search finds "actionButton"
  std::optional<DocumentError> textProblem = {};  ///< what a strict reader says of the text

  [[nodiscard]] const platform::Value& value() const { return root.value; }
  /// The content, when it is an object.
  [[nodiscard]] const platform::Value* info() const;
  [[nodiscard]] const platform::Value* buttons() const;
  [[nodiscard]] Place place(const Spot& spot) const;
};

/// Throws DocumentError for what no platform could deliver.
JSONNode readPayload(std::string_view file, std::string_view text);

/// Inside a process.
Payload inspect(std::string_view file, JSONNode root);

/// The places at which the module's search would find the key, the one that it finds first: those behind it show when
/// what is found is taken away. At most eight.
std::vector<JSONPath> placesFound(std::string_view key, platform::Value dictionary);

}  // namespace pellion
