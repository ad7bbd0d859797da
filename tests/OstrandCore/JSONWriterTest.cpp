// The record coder's JSON writer copies plain ASCII itself and leaves everything else to the JSON
// library: either way a string must come out byte for byte as the library's compact dump writes
// it, so rows stored before and after compare equal as text. (Numbers and nesting are checked
// through the coder's own tests.)

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "OstrandCore/internal/OSTJSONWriter.h"

namespace {

TEST(JSONWriterTest, StringsAreEscapedAndRepairedAsTheLibraryDoes) {
  const std::string texts[] = {"",
                               "plain ASCII, with spaces",
                               "quote \" and backslash \\",
                               "tab\tnew line\ncarriage\rbell\x07 delete\x7f",
                               "Anna\xE2\x80\x99s iPhone",
                               "cut short \xE2\x80",
                               "lone \xFF byte and \xC0\xAF overlong",
                               "\xF0\x9F\x8F\x83 runner"};
  for (const auto& text : texts) {
    OSTJSONWriter writer;
    writer.string(text);
    EXPECT_EQ(writer.take(),
              nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace))
        << text;
  }
}

}  // namespace
