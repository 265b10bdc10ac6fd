#pragma once

#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <rapidjson/schema.h>
#include <rapidjson/stringbuffer.h>

#include <string>

#include "tests/support/temporary_directory.h"

namespace test {

/// Every document of the protocol must fit its definition.
class Protocol {
 public:
  Protocol() { schema_.Parse(fileText(PELLION_SOURCE_DIR "/docs/lab.schema.json").c_str()); }
  void expectFits(const std::string& kind, const std::string& text) {
    rapidjson::Document document;
    document.Parse(("{\"" + kind + "\":" + text + "}").c_str());
    const rapidjson::SchemaDocument schema(schema_);
    rapidjson::SchemaValidator validator(schema);
    rapidjson::StringBuffer place;
    document.Accept(validator);
    validator.GetInvalidDocumentPointer().StringifyUriFragment(place);
    EXPECT_TRUE(validator.IsValid()) << kind << " at " << place.GetString() << ": " << text.substr(0, 2000);
  }

 private:
  rapidjson::Document schema_;
};

}  // namespace test
