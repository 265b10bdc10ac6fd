#include "services/property_list/property_list.h"

#include <gmock/gmock.h>
#include <plist/plist.h>
#include <sys/stat.h>

#include <cmath>
#include <fstream>

#include "platform/property_list.h"
#include "tests/support/cases.h"
#include "tests/support/raised.h"
#include "tests/support/test_process.h"

namespace {

using namespace std::string_literals;
using platform::dictionaryWithContentsOfFile;
using platform::Value;
using services::parsePropertyList;
using services::PropertyListError;
using services::readPropertyList;
using services::writePropertyList;

std::string document(std::string_view content) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist>\n<plist version=\"1.0\">\n" +
         std::string(content) + "\n</plist>\n";
}

std::string binary(const std::string& xml) {
  plist_t root = nullptr;
  plist_from_xml(xml.data(), static_cast<std::uint32_t>(xml.size()), &root);
  char* data = nullptr;
  std::uint32_t length = 0;
  plist_to_bin(root, &data, &length);
  std::string result(data, length);
  plist_to_bin_free(data);
  plist_free(root);
  return result;
}

template <class Work>
std::string errorOf(const Work& work) {
  return test::thrown<PropertyListError>(work);
}
std::string parsingError(const std::string& text) {
  return errorOf([&] { parsePropertyList(text, "file"); });
}

const std::string everything = document(R"(<!-- <array> --> <dict>
  <key>text</key><string>a &amp; é &#x1F600;<![CDATA[<dict>]]></string>
  <key>empty</key><string/>
  <key>integers</key><array><integer>-5</integer><integer>+7</integer><integer>9223372036854775807</integer>
    <integer>-9223372036854775808</integer><integer>18446744073709551615</integer></array>
  <key>real</key><real>0.1</real>
  <key>flags</key><array><true/><false/></array>
  <key>data</key><data> AAEC
    /w== </data>
  <key>dates</key><array><date>2026-01-31T12:00:00Z</date><date>0001-01-01T00:00:00Z</date></array>
  <key>nothing</key><array><dict/><array></array></array>
</dict>)");

TEST(PropertyList, ReadsEveryKindFromXMLAndBinary) {
  const Value expected = Value::dictionary({
      {"text", "a & é 😀<dict>"},
      {"empty", ""},
      {"integers", Value::list({-5, 7, INT64_MAX, INT64_MIN, UINT64_MAX})},
      {"real", 0.1},
      {"flags", Value::list({true, false})},
      {"data", Value::bytes("\0\1\2\xff"s)},
      {"dates", Value::list({"2026-01-31T12:00:00Z", "0001-01-01T00:00:00Z"})},
      {"nothing", Value::list({Value::dictionary({}), Value::list({})})},
  });
  for (const std::string& contents : {everything, "\xEF\xBB\xBF" + everything, binary(everything)}) {
    const Value value = parsePropertyList(contents, "file");
    EXPECT_EQ(value, expected) << value.description();
    EXPECT_EQ(value.find("flags")->elements()[0].kind(), Value::Kind::boolean);
  }
}

TEST(PropertyList, ReadsNumbersInEveryFormThatXMLHas) {
  const std::pair<const char*, Value> cases[] = {
      {"<integer>0041</integer>", 41},
      {"<integer> \n-08\t</integer>", -8},
      {"<integer>-0</integer>", 0},
      {"<integer>0x1f</integer>", 31},
      {"<integer>-0X8000000000000000</integer>", INT64_MIN},
      {"<integer>+0xFFFFFFFFFFFFFFFF</integer>", UINT64_MAX},
      {"<real>+1.5</real>", 1.5},
      {"<real> -Inf</real>", -HUGE_VAL},
      {"<real>+INFINITY</real>", HUGE_VAL},
      {"<real>-NaN</real>", std::nan("")},
  };
  for (const auto& [xml, value] : cases) {
    for (const std::string& text : {document(xml), std::string(xml)}) {  // with and without <plist>
      const Value read = parsePropertyList(text, "file");
      EXPECT_EQ(read.kind(), value.kind()) << xml;
      EXPECT_EQ(read.description(), value.description()) << xml;
    }
  }
}

TEST(PropertyList, ReportsTheLineOfBrokenXML) {
  const Value cases = test::caseJSON("services/cases/broken_property_lists.json");
  for (const Value& row : test::elements(test::at(cases, "documents"))) {
    const std::string text = row.find("text") ? test::textAt(row, "text") : document(test::textAt(row, "content"));
    EXPECT_EQ(parsingError(text), test::textAt(row, "error")) << text;
  }
  for (const Value& row : test::elements(test::at(cases, "scalars"))) {
    const std::string element = test::textAt(row, "element");
    for (const std::string& content : test::textsAt(row, "contents")) {
      const std::string text = document("<array>\n<" + element + ">" + content + "</" + element + "></array>");
      EXPECT_EQ(parsingError(text),
                "file:5: <" + element + "> contains \"" + content + "\", expected " + test::textAt(row, "expected"));
    }
  }
  EXPECT_EQ(parsingError(document("<dict><key>a\nb</key><array><string>\xFF</string></array></dict>")),
            "file: key path a\\u000ab.0: a string is not valid Unicode");
  std::string deep;
  for (int i = 0; i != 1'000'000; ++i) deep += "<array>";
  for (const char* root : {"<plist>", ""}) {
    EXPECT_EQ(parsingError(root + deep.substr(0, 4'000'000)), "file:1: more than 512 levels");
  }
  std::string marks;
  for (int i = 0; i != 1'000'000; ++i) marks += "\xEF\xBB\xBF";
  EXPECT_EQ(parsingError(marks), "file:1: not a property list, neither XML nor binary");
  EXPECT_EQ(parsingError(deep), "file: larger than the 4 MiB that a property list may have");
}

/// A binary property list of one-byte offsets and references.
std::string binaryOf(const std::vector<std::string>& objects) {
  std::string data = "bplist00";
  std::string table;
  for (const std::string& object : objects) {
    table += static_cast<char>(data.size());
    data += object;
  }
  const char tableOffset = static_cast<char>(data.size());
  return data + table + std::string(6, '\0') + "\1\1" + std::string(7, '\0') + static_cast<char>(objects.size()) +
         std::string(15, '\0') + tableOffset;
}

TEST(PropertyList, ReadsOnlyTheContentsOfEachBinaryObject) {
  const std::string ones(8, '\xFF');
  const std::string zeros(8, '\0');
  const std::pair<std::string, Value> cases[] = {
      {"\x10\xFF", 255},
      {"\x13" + ones, -1},
      {"\x14" + ones + ones, -1},
      {"\x14" + zeros + ones, UINT64_MAX},
      {"\x22\x3F\xC0\0\0"s, 1.5},
      {"\x33\xBF\xE0"s + zeros.substr(2), "2000-12-31T23:59:59Z"},
      {"\x53"
       "a\0b"s,
       "a\0b"s},
      {"\x62\xD8\x3D\xDE\0"s, "😀"},
      {"\x81\1\2", Value::dictionary({{"CF$UID", 258}})},
  };
  for (const auto& [object, value] : cases) {
    const Value read = parsePropertyList(binaryOf({object}), "file");
    EXPECT_EQ(read.description(), value.description());
    EXPECT_EQ(read.kind(), value.kind());
  }
}

TEST(PropertyList, ReportsWhatIsWrongWithABinaryFile) {
  std::vector<std::string> doubling;
  for (char level = 1; level != 40; ++level) doubling.push_back("\xA2"s + level + level);
  doubling.push_back("\x51x");
  const std::pair<std::string, std::string_view> cases[] = {
      {binaryOf(doubling), "its references repeat too many objects"},
      {binaryOf({"\xA1\0"s}), "a container contains itself"},
      {binaryOf({"\xA1\1", "\xD1\2\0"s, "\x51k"}), "a container contains itself"},
      {binaryOf({"\xD1\1\1", "\x09"}), "a key is not a string"},
      {binaryOf({"\xA1\7"}), "a reference has no target"},
      {binaryOf({"\x5F\x13\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF"}), "an object is longer than the file"},
      {binaryOf({"\xAF\x10\xFF"}), "an object is longer than the file"},
      {binaryOf({"\x5F\x51"}), "a length is not a number"},
      {binaryOf({"\x14" + std::string(7, '\0') + "\1" + std::string(8, '\0')}), "an integer does not fit 64 bits"},
      {binaryOf({"\x14" + std::string(8, '\xFF') + std::string(8, '\0')}), "an integer does not fit 64 bits"},
      {binaryOf({"\x15" + std::string(32, '\0')}), "the size of a number is wrong"},
      {binaryOf({"\x21\0\0"s}), "the size of a number is wrong"},
      {binaryOf({"\x32" + std::string(4, '\0')}), "the size of a date is wrong"},
      {binaryOf({"\x33\x7F\xF0" + std::string(6, '\0')}), "a date lies outside the years 0 to 9999"},
      {binaryOf({"\x51\xFF"}), "a string is not valid Unicode"},
      {binaryOf({"\x61\xD8\0"s}), "a string is not valid Unicode"},
      {binaryOf({"\0"s}), "it contains a value that is not a property list value"},
      {binaryOf({"\xC0"}), "it contains a value that is not a property list value"},
      {binaryOf({}), "its trailer does not match its size"},
      {"bplist00", "it is truncated"},
  };
  for (const auto& [data, problem] : cases) {
    EXPECT_EQ(parsingError(data), "file: broken binary property list: " + std::string(problem));
  }
  EXPECT_EQ(parsePropertyList(binaryOf({"\xA2\1\1", "\x51x"}), "file"), Value::list({"x", "x"}));
}

class PropertyListFile : public testing::Test {
 protected:
  void write(std::string_view text) { std::ofstream(path, std::ios::binary) << text; }

  const test::TestProcess process;
  const test::TemporaryDirectory directory;
  const std::string path = directory.path() / "a.plist";
};

TEST_F(PropertyListFile, ReportsWhyAFileCannotBeRead) {
  EXPECT_EQ(errorOf([&] { readPropertyList(path); }), path + ": No such file or directory");
  EXPECT_EQ(errorOf([&] { readPropertyList(directory.path()); }), directory.path().string() + ": not a file");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(errorOf([&] { readPropertyList(path); }), path + ": not a file");
}

TEST_F(PropertyListFile, WrittenValuesReadBackTheSame) {
  const Value value = Value::dictionary({
      {"text", "a < b & \"c\"\n\té😀"},
      {"a\0\1"s, "\x7F\0 é\x1B"s},
      {"numbers", Value::list({-1, 255, 256, 65536, INT64_MAX, INT64_MIN, UINT64_MAX, 0.1 + 0.2, 1e-300, true, 3.0})},
      {"infinite", -HUGE_VAL},
      {"data", Value::bytes(std::string(300, '\xff'))},
      {"many", Value::list(std::vector<Value>(70'000, false))},
      {"", Value::dictionary({{"nested", Value::list({})}})},
  });
  write("older");
  writePropertyList(path, value);
  EXPECT_EQ(readPropertyList(path), value) << readPropertyList(path).description();
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory.path()), {}), 1);
}

TEST_F(PropertyListFile, ReportsWhyAValueCannotBeWrittenAndKeepsTheOldFile) {
  write(everything);
  Value deep = 1;
  for (int i = 0; i != 100'000; ++i) deep = Value::list({deep});
  const std::pair<Value, std::string_view> cases[] = {
      {nullptr, "a property list cannot hold NSNull"},
      {Value::dictionary({{"a", Value::list({1, nullptr})}}), "key path a.1: a property list cannot hold NSNull"},
      {Value::dictionary({{1, 2}}), "a key must be a string, not __NSCFNumber"},
      {Value::dictionary({{"a", 1}, {"b", "\xFF"}}), "key path b: a string is not valid Unicode"},
      {Value::bytes(std::string(4 << 20, 'x')), "larger than the 4 MiB that a property list may have"},
  };
  for (const auto& [value, problem] : cases) {
    EXPECT_EQ(errorOf([&, &unwritable = value] { writePropertyList(path, unwritable); }),
              path + ": " + std::string(problem));
  }
  EXPECT_THAT(errorOf([&] { writePropertyList(path, deep); }), testing::EndsWith("more than 512 levels"));
  EXPECT_NE(readPropertyList(path).find("text"), nullptr);
  EXPECT_THAT(test::thrown<std::filesystem::filesystem_error>([&] { writePropertyList(path + "/b", 1); }),
              testing::HasSubstr("cannot be written: Not a directory [" + path + "/b]"));
}

TEST_F(PropertyListFile, ReturnsADictionaryOrNothing) {
  EXPECT_FALSE(dictionaryWithContentsOfFile(std::nullopt));
  EXPECT_FALSE(dictionaryWithContentsOfFile(path));
  for (const std::string& useless : {document("<array/>"), "garbage"s}) {
    write(useless);
    EXPECT_FALSE(dictionaryWithContentsOfFile(path));
  }
  write(everything);
  EXPECT_EQ(dictionaryWithContentsOfFile(path), parsePropertyList(everything, path));
}

TEST_F(PropertyListFile, IsReadAgainOnlyWhenItHasChanged) {
  // Always the same size and, written so fast, often the same time.
  for (int i = 100; i != 400; ++i) {
    write(document("<dict><key>n</key><integer>" + std::to_string(i) + "</integer></dict>"));
    ASSERT_EQ(dictionaryWithContentsOfFile(path)->find("n")->integer(), i);
  }
  const Value* kept = nullptr;
  std::optional<Value> first;
  while (kept == nullptr || first->find("n") != kept) {  // until the file's time is in the past
    kept = dictionaryWithContentsOfFile(path)->find("n");
    first = dictionaryWithContentsOfFile(path);
  }
  EXPECT_EQ(first->find("n")->integer(), 399);
}

}  // namespace
