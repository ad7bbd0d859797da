// The record coder's JSON writer must write byte for byte what nlohmann::json's compact dump
// writes for the same values: rows stored before and after it must compare equal as text.

#include <gtest/gtest.h>

#include <limits>
#include <nlohmann/json.hpp>

#include "OstrandCore/internal/OSTJSONWriter.h"

namespace {

std::string nlohmannText(const nlohmann::json& value) {
  return value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string writtenNumber(double value) {
  OSTJSONWriter writer;
  writer.number(value);
  return writer.take();
}

std::string writtenString(std::string_view text) {
  OSTJSONWriter writer;
  writer.string(text);
  return writer.take();
}

TEST(JSONWriterTest, DoublesKeepTheirPointOrExponentAsTheLibraryWritesThem) {
  const double edges[] = {0.0,
                          -0.0,
                          1.0,
                          -1.0,
                          72.4,
                          0.1,
                          1e-4,
                          1e-5,
                          0.00012345,
                          123456789012345.0,
                          1e15,
                          1e16,
                          1234567890123456.7,
                          1e21,
                          1e100,
                          1e-300,
                          5e-324,
                          std::numeric_limits<double>::max(),
                          std::numeric_limits<double>::min(),
                          2.5,
                          100.0,
                          36.6,
                          1.0 / 3.0};
  for (const double value : edges) EXPECT_EQ(writtenNumber(value), nlohmannText(value)) << value;
}

TEST(JSONWriterTest, StringsAreEscapedAndRepairedAsTheLibraryDoes) {
  const std::string texts[] = {"",
                               "plain ASCII, with spaces",
                               "quote \" and backslash \\",
                               "tab\tnew line\ncarriage\rbell\x07 delete\x7f",
                               "Anna\xE2\x80\x99s iPhone",
                               "cut short \xE2\x80",
                               "lone \xFF byte and \xC0\xAF overlong",
                               "\xF0\x9F\x8F\x83 runner"};
  for (const auto& text : texts) EXPECT_EQ(writtenString(text), nlohmannText(text)) << text;
}

TEST(JSONWriterTest, NestsMembersWithCommasWhereTheyBelong) {
  OSTJSONWriter writer;
  writer.beginObject();
  writer.key("a");
  writer.integer(-9223372036854775807LL - 1);
  writer.key("b");
  writer.beginArray();
  writer.beginObject();
  writer.endObject();
  writer.boolean(true);
  writer.endArray();
  writer.key("c");
  writer.beginObject();
  writer.key("d");
  writer.boolean(false);
  writer.endObject();
  writer.endObject();
  EXPECT_EQ(writer.take(), R"({"a":-9223372036854775808,"b":[{},true],"c":{"d":false}})");
  EXPECT_EQ(writer.take(), "");
}

}  // namespace
