#pragma once

#include <chrono>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "pellion/text/input_file.h"
#include "pellion/text/json_reader.h"

namespace pellion {

struct Shape;

/// A named entry of an object in a scenario.
struct Field {
  std::string_view name;
  const Shape* shape;
  bool isRequired = false;
};

/// The form that a scenario allows for a value. Tables of these are the scenario format; one function checks them all.
struct Shape {
  std::string_view expected;                     ///< completes "… is wrong here; expected"
  bool (*isKind)(const platform::Value& value);  ///< checks the value itself, without what it contains
  std::span<const Field> fields = {};            ///< of an object: all permitted names
  const Shape* item = nullptr;                   ///< of each element of a list, or each value of an object
  /// Checks further conditions; throws InputError.
  void (*check)(std::string_view file, const JSONNode& node) = nullptr;
  bool holdsSecrets = false;  ///< no error message quotes it
  /// The kind of file that a text may name in place of the value; null for none.
  const FileKind* file = nullptr;
  /// Makes what the content of that file says relative to it hold in the document, too.
  void (*adopt)(std::string_view file, JSONNode& content) = nullptr;
};

namespace shapes {
extern const Shape any;
extern const Shape text;
extern const Shape boolean;
extern const Shape seconds;          ///< 0 to ten years
extern const Shape hex;              ///< whole bytes
extern const Shape textOrNull;       ///< null for absent
extern const Shape plainTextOrNull;  ///< without control characters; null for absent
extern const Shape hexOrNull;        ///< null for absent
extern const Shape textsByName;      ///< an object of texts, null for absent
extern const Shape hexByName;        ///< an object of hex, null for absent
extern const Shape texts;            ///< a list
extern const Shape schemes;          ///< a list of schemes of URLs
extern const Shape headersToSend;    ///< an object: field names and values permitted in an answer
}  // namespace shapes

bool isObject(const platform::Value& value);
bool isList(const platform::Value& value);
bool isIntegerIn(const platform::Value& value, std::int64_t least, std::int64_t most);

/// Throws InputError at the place of the first value that does not fit; `what` names the value in the text.
void checkShape(std::string_view file, const JSONNode& node, const Shape& shape, std::string_view what);

/// Puts the content of a file, read as strict JSON and checked, in the place of each text that names one where the
/// shape permits it. The path is relative to the document. The node need not fit the shape yet. Throws InputError,
/// which names the document and the file.
void includeFiles(std::string_view file, JSONNode& node, const Shape& shape);

/// A file that a document names in the place of its content.
struct NamedFile {
  std::string path;   ///< relative to what the document's own path is relative to
  Position position;  ///< of the name
};

/// Adds the files that includeFiles would read, whether they exist or not.
void collectFiles(std::string_view file, const JSONNode& node, const Shape& shape, std::vector<NamedFile>& files);

/// The duration of a number that fits shapes::seconds.
std::chrono::nanoseconds durationOf(const platform::Value& seconds);

/// The bytes of text that fits shapes::hex.
platform::Value bytesOfHex(std::string_view digits);

}  // namespace pellion
