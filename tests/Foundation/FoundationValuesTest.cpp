#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>
#include <unordered_set>

#include "Foundation/NSArray.h"
#include "Foundation/NSError.h"
#include "Foundation/NSUUID.h"

namespace {

enum class SampleKind : short { First = 0, Seventh = 7 };
enum PlainKind { kPlainTwelve = 12 };

TEST(NSAnyTest, NumbersFollowNSNumberAndAccessorsNameTheKind) {
  // Enumerations box as their raw value.
  EXPECT_EQ(NSAny(SampleKind::Seventh).integerValue(), 7);
  EXPECT_TRUE(NSAny(kPlainTwelve).isEqual(12));
  EXPECT_TRUE(NSAny(true).isEqual(1));
  EXPECT_TRUE(NSAny(2).isEqual(2.0));
  EXPECT_EQ(NSAny(2).hash(), NSAny(2.0).hash());
  EXPECT_EQ(NSAny(1).compare(1.5), NSOrderedAscending);
  EXPECT_EQ(NSAny(9007199254740993LL).compare(9007199254740992LL), NSOrderedDescending);
  EXPECT_EQ(NSAny(std::nan("")).compare(1.0), std::nullopt);
  EXPECT_FALSE(NSAny("1").isEqual(1));
  EXPECT_TRUE(NSAny(std::optional<NSDate>{}).isNil());
  EXPECT_TRUE(NSAny(std::shared_ptr<const NSArray>()).isNil());
  EXPECT_EQ(NSAny(2.9).integerValue(), 2);
  EXPECT_EQ(NSAny(-2.9).integerValue(), -2);
  EXPECT_THROW((void)NSAny(1e300).integerValue(), std::invalid_argument);
  EXPECT_EQ(NSAny(true).hash(), NSAny(1.0).hash());
  EXPECT_EQ(NSAny(true).description(), "1");
  EXPECT_EQ(NSAny(0.1).description(), "0.1");

  try {
    (void)NSAny("text").integerValue();
    FAIL();
  } catch (const std::invalid_argument& error) {
    EXPECT_STREQ(error.what(), "NSAny: integerValue of a string");
  }
  EXPECT_THROW((void)NSAny(3).stringValue(), std::invalid_argument);
  EXPECT_THROW((void)NSAny().dateValue(), std::invalid_argument);
  EXPECT_EQ(NSAny(NSArray::arrayWithArray({1})).objectAs<NSDictionary>(), nullptr);
}

TEST(NSDictionaryTest, EqualityIsByContents) {
  auto a = NSDictionary::dictionaryWithDictionary({{"b", 2}, {"a", "x"}});
  auto b = NSDictionary::dictionaryWithDictionary({{"a", "x"}, {"b", 2.0}});
  EXPECT_TRUE(NSAny(a).isEqual(b));
  EXPECT_FALSE(a->isEqual(*NSDictionary::dictionaryWithDictionary({{"a", "x"}})));
  EXPECT_EQ(a->allKeys(), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(a->description(), "{a = x; b = 2;}");
  EXPECT_TRUE(a->objectForKey("missing").isNil());
}

TEST(NSErrorTest, LocalizedDescriptionFromUserInfoOrDefault) {
  auto plain = NSError::errorWithDomain("com.apple.healthkit", 5);
  EXPECT_EQ(plain->localizedDescription(),
            "The operation couldn\u2019t be completed. (com.apple.healthkit error 5.)");
  auto described =
      NSError::errorWithDomain("OSTHealthKit", -2,
                               NSDictionary::dictionaryWithDictionary(
                                   {{NSLocalizedDescriptionKey, "Authorization denied"}}));
  EXPECT_EQ(described->localizedDescription(), "Authorization denied");
  EXPECT_EQ(described->description(),
            "Error Domain=OSTHealthKit Code=-2 \"Authorization denied\" "
            "UserInfo={NSLocalizedDescription = Authorization denied;}");
  // A description that is not a string is not shown.
  auto odd = NSError::errorWithDomain(
      "D", 1, NSDictionary::dictionaryWithDictionary({{NSLocalizedDescriptionKey, 7}}));
  EXPECT_EQ(odd->localizedDescription(), "The operation couldn\u2019t be completed. (D error 1.)");
  EXPECT_TRUE(plain->isEqual(
      *NSError::errorWithDomain("com.apple.healthkit", 5, NSDictionary::dictionary())));
}

TEST(NSUUIDTest, RandomVersion4RoundTripsThroughItsString) {
  std::unordered_set<NSUUID> seen;
  for (int i = 0; i < 100; ++i) {
    NSUUID uuid;
    std::string text = uuid.UUIDString();
    ASSERT_EQ(text.size(), 36u);
    EXPECT_EQ(text[14], '4');
    EXPECT_NE(std::string("89AB").find(text[19]), std::string::npos) << text;
    EXPECT_EQ(NSUUID::fromString(text), uuid);
    seen.insert(uuid);
  }
  EXPECT_EQ(seen.size(), 100u);

  auto lower = NSUUID::fromString("e621e1f8-c36c-495a-93fc-0c247a3e6e5f");
  ASSERT_TRUE(lower);
  EXPECT_EQ(lower->UUIDString(), "E621E1F8-C36C-495A-93FC-0C247A3E6E5F");
  EXPECT_LT(*NSUUID::fromString("00000000-0000-0000-0000-000000000001"), *lower);
  for (const char* bad :
       {"", "E621E1F8C36C495A93FC0C247A3E6E5F", "E621E1F8-C36C-495A-93FC-0C247A3E6E5G",
        "E621E1F8-C36C-495A-93FC-0C247A3E6E5F0", "E621E1F-8C36C-495A-93FC-0C247A3E6E5F"}) {
    EXPECT_EQ(NSUUID::fromString(bad), std::nullopt) << bad;
  }
}

}  // namespace
