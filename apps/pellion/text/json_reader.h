#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "pellion/text/input_error.h"
#include "platform/value.h"

namespace pellion {

/// A place in a text, counted from 1; columns count characters, not bytes.
struct Position {
  int line = 1;
  int column = 1;
};

std::string placeText(std::string_view file, Position position);  ///< "file:line:column"

/// An error about a document: "file:line:column: text".
class DocumentError : public InputError {
 public:
  DocumentError(std::string_view file, Position position, std::string_view text);
  [[nodiscard]] Position position() const { return position_; }
  [[nodiscard]] const std::string& text() const { return text_; }  ///< without the place

 private:
  Position position_;
  std::string text_;
};

DocumentError errorAt(std::string_view file, Position position, std::string_view text);

struct JSONMember;

/// A JSON value with its position. `value` is complete; members and elements add the positions.
struct JSONNode {
  Position position;
  platform::Value value;
  std::vector<JSONMember> members;
  std::vector<JSONNode> elements;

  [[nodiscard]] const JSONNode* find(std::string_view name) const;
};

struct JSONMember {
  Position position;  ///< of the name
  std::string name;
  JSONNode value;
};

enum class JSONForm : std::uint8_t {
  strict,     ///< RFC 8259
  commented,  ///< the same with comments, // and /* */, and with a comma after the last entry or element
};

/// Reads one JSON document (UTF-8, at most 64 levels, no repeated names). Positions do not count a byte order mark at
/// the beginning. Throws DocumentError, which names the usual mistakes.
JSONNode readJSON(std::string_view file, std::string_view text, JSONForm form = JSONForm::strict);

std::string_view withoutByteOrderMark(std::string_view text);

/// The text in UTF-8 without the mistakes whose correction is certain, such as comments and surplus commas. Others
/// stay.
std::string repairedJSON(std::string_view text);

}  // namespace pellion
