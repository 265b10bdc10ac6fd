#include <plist/plist.h>
#include <simdjson.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "services/property_list/property_list.h"
#include "services/property_list/property_list_reading.h"

namespace services {
namespace {

using platform::Value;

struct FreePlist {
  void operator()(void* plist) const { plist_free(plist); }
};
using OwnedPlist = std::unique_ptr<void, FreePlist>;

struct Free {
  void operator()(void* memory) const { std::free(memory); }
};
using Freed = std::unique_ptr<void, Free>;

/// Returns the text between the tags when libplist writes a leaf as XML. This is the only exact way to its dates and to
/// integers above the signed range.
std::string contentAsXML(plist_t leaf) {
  char* xml = nullptr;
  std::uint32_t length = 0;
  plist_to_xml(leaf, &xml, &length);
  const std::string_view text(xml, length);
  const std::size_t begin = text.find('>', text.find("<plist") + 7);
  const std::size_t content = text.find('>', begin + 1) + 1;
  std::string result(text.substr(content, text.find('<', content) - content));
  plist_to_xml_free(xml);
  return result;
}

/// Builds the Value of a tree that passed the check, so its depth is bounded.
class TreeReader {
 public:
  explicit TreeReader(std::string_view name) : name_(name) {}

  Value read(plist_t node) {
    switch (plist_get_node_type(node)) {
      case PLIST_BOOLEAN: {
        std::uint8_t boolean = 0;
        plist_get_bool_val(node, &boolean);
        return boolean != 0;
      }
      case PLIST_UINT: return readInteger(node);
      case PLIST_REAL: {
        double real = 0;
        plist_get_real_val(node, &real);
        return real;
      }
      case PLIST_STRING: return readText(node);
      case PLIST_DATA: {
        std::uint64_t length = 0;
        const char* data = plist_get_data_ptr(node, &length);
        return Value::bytes(std::string_view(data, length));
      }
      case PLIST_DATE: {
        std::string date = contentAsXML(node);
        const std::size_t year = date.find('-');  // libplist omits its leading zeros
        if (year > 0 && year < 4) date.insert(0, 4 - year, '0');
        return date;
      }
      case PLIST_UID: {
        std::uint64_t uid = 0;
        plist_get_uid_val(node, &uid);
        return Value::dictionary({{"CF$UID", uid}});
      }
      case PLIST_ARRAY: return readList(node);
      case PLIST_DICT: return readDictionary(node);
      default: fail("contains a value that is not a property list value");
    }
  }

 private:
  [[noreturn]] void fail(const std::string& problem) const {
    const std::string place = path_.empty() ? "" : "key path " + path_ + ": ";
    throw PropertyListError(std::string(name_) + ": " + place + problem);
  }

  static Value readInteger(plist_t node) {
    std::uint64_t bits = 0;
    plist_get_uint_val(node, &bits);
    const bool isNegative = static_cast<std::int64_t>(bits) < 0 && contentAsXML(node).starts_with('-');
    return isNegative ? Value(static_cast<std::int64_t>(bits)) : Value(bits);
  }

  Value readText(plist_t node) const {
    std::uint64_t length = 0;
    const char* text = plist_get_string_ptr(node, &length);
    if (!simdjson::validate_utf8(text, length)) fail("a string is not valid Unicode");
    return std::string_view(text, length);
  }

  Value readList(plist_t node) {
    std::vector<Value> elements;
    plist_array_iter next = nullptr;
    plist_array_new_iter(node, &next);
    const Freed owned(next);
    for (plist_t element = nullptr; plist_array_next_item(node, next, &element), element != nullptr;) {
      elements.push_back(readInside(std::to_string(elements.size()), element));
    }
    return Value::list(elements);
  }

  Value readDictionary(plist_t node) {
    std::vector<Value::Entry> entries;
    plist_dict_iter next = nullptr;
    plist_dict_new_iter(node, &next);
    const Freed owned(next);
    char* key = nullptr;
    for (plist_t value = nullptr; plist_dict_next_item(node, next, &key, &value), value != nullptr;) {
      const Freed ownedKey(key);
      if (!simdjson::validate_utf8(key, std::char_traits<char>::length(key))) fail("a key is not valid Unicode");
      entries.push_back({key, readInside(key, value)});
    }
    return Value::dictionary(entries);
  }

  Value readInside(const std::string& key, plist_t node) {
    const std::size_t length = path_.size();
    path_ += (length == 0 ? "" : ".") + key;
    Value value = read(node);
    path_.resize(length);
    return value;
  }

  std::string_view name_;
  std::string path_;
};

}  // namespace

Value parsePropertyList(std::string_view contents, std::string_view name) {
  if (contents.size() > largestPropertyList) {
    throw PropertyListError(std::string(name) + ": larger than the " + std::to_string(largestPropertyList >> 20) +
                            " MiB that a property list may have");
  }
  if (contents.starts_with("\xEF\xBB\xBF")) contents.remove_prefix(3);
  if (contents.starts_with("bplist")) return readBinaryPropertyList(contents, name);
  const std::string document = checkedXMLPropertyList(contents, name);
  plist_t root = nullptr;
  plist_from_xml(document.data(), static_cast<std::uint32_t>(document.size()), &root);
  const OwnedPlist owned(root);
  if (owned == nullptr) throw PropertyListError(std::string(name) + ": cannot be parsed as a property list");
  return TreeReader(name).read(root);
}

}  // namespace services
