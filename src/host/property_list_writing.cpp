#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>

#include "host/owned_plist.h"
#include "host/property_list.h"

namespace host {
namespace {

using platform::Value;
using Kind = Value::Kind;

/// Builds libplist's tree of a Value.
class TreeWriter {
 public:
  explicit TreeWriter(std::string name) : name_(std::move(name)) {}

  OwnedPlist node(const Value& value) {
    switch (value.kind()) {
      case Kind::boolean: return OwnedPlist(plist_new_bool(value.ifBoolean() == true));
      case Kind::integer:
        if (value.isUnsigned()) fail("an integer above 64 bits with sign cannot be written");
        return OwnedPlist(plist_new_uint(value.unsignedInteger()));
      case Kind::floating:
        if (!std::isfinite(value.floating())) fail("a number that is not finite cannot be written");
        return OwnedPlist(plist_new_real(value.floating()));
      case Kind::string: return OwnedPlist(plist_new_string(checked(value.text()).c_str()));
      case Kind::bytes:
        return OwnedPlist(plist_new_data(reinterpret_cast<const char*>(value.bytes().data()), value.bytes().size()));
      case Kind::list: return list(value);
      case Kind::dictionary: return dictionary(value);
      default: fail(std::string("a property list cannot hold ") + value.className());
    }
  }

 private:
  [[noreturn]] void fail(const std::string& problem) const {
    const std::string place = path_.empty() ? "" : "key path " + path_ + ": ";
    throw PropertyListError(name_ + ": " + place + problem);
  }

  std::string checked(std::string_view text) const {
    const bool isWritable = std::ranges::all_of(
        text, [](char c) { return static_cast<unsigned char>(c) >= 0x20 || c == '\t' || c == '\n' || c == '\r'; });
    if (!isWritable) fail("XML cannot hold control characters");
    return std::string(text);
  }

  OwnedPlist list(const Value& value) {
    OwnedPlist result(plist_new_array());
    std::size_t index = 0;
    for (const Value& element : value.elements()) {
      plist_array_append_item(result.get(), inside(std::to_string(index++), element).release());
    }
    return result;
  }

  OwnedPlist dictionary(const Value& value) {
    OwnedPlist result(plist_new_dict());
    for (const Value::Entry& entry : value.entries()) {
      if (!entry.key.ifString()) fail(std::string("a key must be text, not ") + entry.key.className());
      const std::string key = checked(entry.key.text());
      plist_dict_set_item(result.get(), key.c_str(), inside(key, entry.value).release());
    }
    return result;
  }

  OwnedPlist inside(const std::string& key, const Value& value) {
    if (++depth_ > deepestPropertyList) fail("more than " + std::to_string(deepestPropertyList) + " levels");
    const std::size_t length = path_.size();
    path_ += (length == 0 ? "" : ".") + key;
    OwnedPlist result = node(value);
    path_.resize(length);
    --depth_;
    return result;
  }

  std::string name_;
  std::string path_;
  std::size_t depth_ = 0;
};

/// A new file beside the one it will replace.
class Replacement {
 public:
  explicit Replacement(const std::filesystem::path& path) : path_(path.string()), temporary_(path_ + ".XXXXXX") {
    descriptor_ = mkostemp(temporary_.data(), O_CLOEXEC);
    if (descriptor_ < 0) fail();
  }
  Replacement(const Replacement&) = delete;
  Replacement& operator=(const Replacement&) = delete;
  ~Replacement() {
    if (descriptor_ < 0) return;
    close(descriptor_);
    unlink(temporary_.c_str());
  }

  void write(std::string_view text) const {
    while (!text.empty()) {
      const ssize_t count = ::write(descriptor_, text.data(), text.size());
      if (count >= 0) {
        text.remove_prefix(static_cast<std::size_t>(count));
      } else if (errno != EINTR) {
        fail();
      }
    }
  }
  void commit() {
    if (fsync(descriptor_) != 0 || rename(temporary_.c_str(), path_.c_str()) != 0) fail();
    close(std::exchange(descriptor_, -1));
  }

 private:
  [[noreturn]] void fail() const {
    const std::error_code problem(errno, std::generic_category());
    throw std::filesystem::filesystem_error("cannot be written", path_, problem);
  }

  std::string path_;
  std::string temporary_;
  int descriptor_ = -1;
};

}  // namespace

std::string binaryPropertyList(const Value& value, std::string_view name) {
  const OwnedPlist root = TreeWriter(std::string(name)).node(value);
  char* data = nullptr;
  std::uint32_t length = 0;
  plist_to_bin(root.get(), &data, &length);
  const std::unique_ptr<char, decltype(&plist_to_bin_free)> owned(data, plist_to_bin_free);
  return {data, length};
}

void writePropertyList(const std::filesystem::path& path, const Value& value) {
  const OwnedPlist root = TreeWriter(path.string()).node(value);
  char* xml = nullptr;
  std::uint32_t length = 0;
  plist_to_xml(root.get(), &xml, &length);
  const std::unique_ptr<char, decltype(&plist_to_xml_free)> owned(xml, plist_to_xml_free);
  Replacement file(path);
  file.write({xml, length});
  file.commit();
}

}  // namespace host
