#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "Foundation/NSArray.h"
#include "Foundation/NSComparisonPredicate.h"
#include "Foundation/NSCompoundPredicate.h"
#include "Foundation/NSDictionary.h"
#include "Foundation/NSPredicate.h"

namespace {

// A sample-like object: dates, an optional correlation, metadata and a value.
class TestSample : public NSObject {
 public:
  TestSample(NSDate start, NSDate end, std::shared_ptr<const NSObject> correlation = nullptr,
             std::shared_ptr<const NSDictionary> metadata = nullptr, NSAny value = {})
      : start_(start),
        end_(end),
        correlation_(std::move(correlation)),
        metadata_(std::move(metadata)),
        value_(std::move(value)) {}

  NSAny valueForKey(const std::string& key) const override {
    if (key == "startDate") return start_;
    if (key == "endDate") return end_;
    if (key == "correlation") return correlation_;
    if (key == "metadata") return metadata_;
    if (key == "value") return value_;
    return NSObject::valueForKey(key);
  }
  std::string className() const override { return "TestSample"; }

 private:
  NSDate start_, end_;
  std::shared_ptr<const NSObject> correlation_;
  std::shared_ptr<const NSDictionary> metadata_;
  NSAny value_;
};

const NSDate kFrom = NSDate::dateWithTimeIntervalSinceReferenceDate(700000000);
const NSDate kTo = kFrom.dateByAddingTimeInterval(86400);

TestSample endingAt(NSDate end) { return TestSample(end.dateByAddingTimeInterval(-60), end); }

TestSample withValue(NSAny value) {
  return TestSample(kFrom, kFrom, nullptr, nullptr, std::move(value));
}

TEST(NSPredicateTest, DateWindowIncludesItsStartAndExcludesItsEnd) {
  const std::vector<NSAny> arguments{"endDate", kFrom, "endDate", kTo};
  for (std::string format :
       {"%K >= %@ AND %K < %@", "%K >= %@ AND %K < %@ ", "  %K>=%@ and %K<%@"}) {
    auto predicate = NSPredicate::predicateWithFormat(format, arguments);
    EXPECT_EQ(predicate->format(), format);
    EXPECT_FALSE(predicate->evaluateWithObject(endingAt(kFrom.dateByAddingTimeInterval(-0.001))));
    EXPECT_TRUE(predicate->evaluateWithObject(endingAt(kFrom))) << format;
    EXPECT_TRUE(predicate->evaluateWithObject(endingAt(kTo.dateByAddingTimeInterval(-0.001))));
    EXPECT_FALSE(predicate->evaluateWithObject(endingAt(kTo))) << format;
  }
}

struct Comparison {
  NSAny stored;
  const char* format;
  NSAny argument;
  bool expected;
};

class NSPredicateComparisonTest : public ::testing::TestWithParam<Comparison> {};

TEST_P(NSPredicateComparisonTest, FollowsFoundationRules) {
  const Comparison& c = GetParam();
  std::vector<NSAny> arguments;
  if (std::string(c.format).find("%@") != std::string::npos) arguments.push_back(c.argument);
  auto predicate = NSPredicate::predicateWithFormat(c.format, arguments);
  EXPECT_EQ(predicate->evaluateWithObject(withValue(c.stored)), c.expected)
      << c.stored << " / " << predicate->predicateFormat();
}

INSTANTIATE_TEST_SUITE_P(
    Values, NSPredicateComparisonTest,
    ::testing::Values(
        // Numbers compare numerically whatever their kind.
        Comparison{true, "value == %@", 1, true}, Comparison{1, "value == YES", {}, true},
        Comparison{2, "value == %@", 2.0, true}, Comparison{2, "value < %@", 2.5, true},
        Comparison{-3, "value > -3.5", {}, true}, Comparison{1e3, "value = 1000", {}, true},
        Comparison{false, "value <> %@", 0, false},
        // nil: equal only to nil; never ordered.
        Comparison{{}, "value == %@", {}, true}, Comparison{{}, "value == NULL", {}, true},
        Comparison{{}, "value != %@", 0, true}, Comparison{{}, "value <= %@", 0, false},
        Comparison{0, "value >= %@", {}, false}, Comparison{0, "value == nil", {}, false},
        Comparison{{}, "value != NIL", {}, false},
        Comparison{NSDictionary::dictionary(), "value != NIL", {}, true},
        // Strings: exact and byte-wise.
        Comparison{"abc", "value == 'abc'", {}, true},
        Comparison{"abc", "value == %@", "ABC", false},
        Comparison{"abc", "value < \"abd\"", {}, true},
        Comparison{"a\"b", "value == \"a\\\"b\"", {}, true},
        // Different kinds: unequal and unordered.
        Comparison{"1", "value == 1", {}, false}, Comparison{"1", "value != 1", {}, true},
        Comparison{"1", "value >= %@", 0, false}, Comparison{kFrom, "value > %@", 0, false},
        // Dates as instants.
        Comparison{kTo, "value => %@", kFrom, true}, Comparison{kFrom, "value =< %@", kFrom, true},
        // IN an array.
        Comparison{2, "value IN %@", NSArray::arrayWithArray({1, 2.0, "x"}), true},
        Comparison{"y", "value in %@", NSArray::arrayWithArray({1, "x"}), false},
        Comparison{{}, "value IN %@", NSArray::arrayWithArray({}), false},
        // AND binds tighter than OR, parentheses regroup: true OR (false AND false) is true,
        // (true OR false) AND false is false.
        Comparison{5, "value == 5 OR value == 6 AND value == 7", {}, true},
        Comparison{5, "(value == 5 || value == 6) && value == 7", {}, false},
        Comparison{5, "NOT value == 6 and not (value < 0)", {}, true},
        Comparison{5, "!TRUEPREDICATE", {}, false}));

TEST(NSPredicateTest, KeyPathsWalkThroughDictionariesAndStopAtNil) {
  auto metadata = NSDictionary::dictionaryWithDictionary({{"HKWasUserEntered", true}});
  TestSample entered(kFrom, kTo, nullptr, metadata);
  TestSample bare(kFrom, kTo);
  auto userEntered = NSComparisonPredicate::predicateWithKeyPath(
      "metadata.HKWasUserEntered", NSEqualToPredicateOperatorType, true);
  EXPECT_EQ(userEntered->format(), "metadata.HKWasUserEntered == %@");
  EXPECT_EQ(userEntered->predicateFormat(), "metadata.HKWasUserEntered == 1");
  // A key no format name could spell still makes a format that parses back.
  for (const char* key : {"in", " value "}) {
    EXPECT_EQ(NSComparisonPredicate::predicateWithKeyPath(key, NSEqualToPredicateOperatorType, 3)
                  ->format(),
              "%K == %@")
        << key;
  }
  auto custom = NSComparisonPredicate::predicateWithKeyPath("metadata.my key-2",
                                                            NSEqualToPredicateOperatorType, 3);
  auto reparsed = NSPredicate::predicateWithFormat(custom->format(), custom->arguments());
  EXPECT_TRUE(reparsed->evaluateWithObject(
      TestSample(kFrom, kTo, nullptr, NSDictionary::dictionaryWithDictionary({{"my key-2", 3}}))));
  EXPECT_TRUE(userEntered->evaluateWithObject(entered));
  EXPECT_FALSE(userEntered->evaluateWithObject(bare));
  EXPECT_TRUE(entered.valueForKeyPath("metadata.missing").isNil());
  EXPECT_TRUE(bare.valueForKeyPath("metadata.HKWasUserEntered.deeper").isNil());

  // An unknown key is a programming error and fails loudly, as does walking into a value.
  try {
    NSPredicate::predicateWithFormat("sourceName == 'x'")->evaluateWithObject(bare);
    FAIL();
  } catch (const std::invalid_argument& error) {
    EXPECT_STREQ(error.what(), "valueForUndefinedKey: TestSample has no key 'sourceName'");
  }
  EXPECT_THROW(entered.valueForKeyPath("endDate.year"), std::invalid_argument);
  EXPECT_THROW(entered.valueForKeyPath("metadata..x"), std::invalid_argument);
}

TEST(NSPredicateTest, CompoundsOfNoneAreNeutralAndEvaluateInOrder) {
  auto sample = withValue(5);
  EXPECT_TRUE(NSCompoundPredicate::andPredicateWithSubpredicates({})->evaluateWithObject(sample));
  EXPECT_FALSE(NSCompoundPredicate::orPredicateWithSubpredicates({})->evaluateWithObject(sample));

  auto five = NSPredicate::predicateWithFormat("%K == %@", {"value", 5});
  auto small = NSPredicate::predicateWithFormat("value < 3");
  auto both = NSCompoundPredicate::andPredicateWithSubpredicates({five, small});
  auto either = NSCompoundPredicate::orPredicateWithSubpredicates({small, five});
  auto neither = NSCompoundPredicate::notPredicateWithSubpredicate(either);
  EXPECT_FALSE(both->evaluateWithObject(sample));
  EXPECT_TRUE(either->evaluateWithObject(sample));
  EXPECT_FALSE(neither->evaluateWithObject(sample));

  // The compound's format and arguments parse back to the same predicate.
  EXPECT_EQ(neither->format(), "NOT ((value < 3) OR (%K == %@))");
  EXPECT_EQ(neither->predicateFormat(), "NOT ((value < 3) OR (value == 5))");
  auto reparsed = NSPredicate::predicateWithFormat(neither->format(), neither->arguments());
  EXPECT_FALSE(reparsed->evaluateWithObject(sample));
  EXPECT_TRUE(reparsed->evaluateWithObject(withValue(4)));
  EXPECT_THROW(NSCompoundPredicate::andPredicateWithSubpredicates({nullptr}),
               std::invalid_argument);
}

TEST(NSPredicateTest, PredicateFormatWritesArgumentsIn) {
  auto predicate = NSPredicate::predicateWithFormat(
      "%K >= %@ AND %K IN %@ AND value != \"%@\" ",
      {"endDate", NSDate::dateWithTimeIntervalSinceReferenceDate(731696400.5), "value",
       NSArray::arrayWithArray({"a", 2})});
  EXPECT_EQ(
      predicate->predicateFormat(),
      "endDate >= CAST(731696400.500000, \"NSDate\") AND value IN {\"a\", 2} AND value != \"%@\"");
  EXPECT_EQ(NSPredicate::predicateWithValue(false)->format(), "FALSEPREDICATE");
}

TEST(NSPredicateTest, BadFormatsAreRejectedWithTheirPosition) {
  struct Case {
    std::string format;
    std::string message;
    std::vector<NSAny> arguments = {};
  };
  const auto none = NSArray::arrayWithArray({});
  const std::string endOfFormat = "found the end of the format at offset ";
  const std::vector<Case> cases{
      {"%K >= %@ AND %K < %@",
       "'%@' has no argument: only 3 given at offset 18",
       {"endDate", kFrom, "endDate"}},
      {"%K >= %@", "3 arguments given but the format uses 2 at offset 8", {"endDate", kFrom, "x"}},
      {"%K == nil", "%K needs a string argument (a key path), got a number at offset 0", {42}},
      {"%K == nil", "%K argument is an empty key path at offset 0", {""}},
      {"value == %d", "unsupported placeholder '%d' (only %K and %@ are supported) at offset 9"},
      {"value BETWEEN %@", "expected a comparison operator, found 'BETWEEN' at offset 6", {none}},
      {"value ==",
       "expected a value (%@, nil, YES, NO, a number or a quoted string), " + endOfFormat + "8"},
      {"value == 'abc", "unterminated string at offset 9"},
      {"(value == 1", "expected ')', " + endOfFormat + "11"},
      {"value == 1 value == 2", "unexpected 'value' after a complete predicate at offset 11"},
      {"value == 1 AND", "expected a key path (%K or a name), " + endOfFormat + "14"},
      {"", "expected a key path (%K or a name), " + endOfFormat + "0"},
      {"value IN %@", "IN needs an array argument, got a string at offset 9", {"abc"}},
      {"value IN %@",
       "IN needs an array argument, got an object of class NSDictionary at offset 9",
       {NSDictionary::dictionary()}},
      {"value == 12abc", "malformed number '12a' at offset 9"},
      {"value == 99999999999999999999", "number out of range '99999999999999999999' at offset 9"},
      {"metadata. == 1", "expected a name after '.' at offset 9"},
      {"value == 1 & value == 2", "unexpected character '&' at offset 11"},
  };
  for (const Case& c : cases) {
    try {
      NSPredicate::predicateWithFormat(c.format, c.arguments);
      ADD_FAILURE() << "accepted: " << c.format;
    } catch (const std::invalid_argument& error) {
      EXPECT_EQ(error.what(), "predicateWithFormat: " + c.message + " in \"" + c.format + "\"");
    }
  }
  EXPECT_THROW(NSComparisonPredicate::predicateWithKeyPath("value", NSLikePredicateOperatorType, 1),
               std::invalid_argument);
}

}  // namespace
