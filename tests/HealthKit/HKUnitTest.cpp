#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "HealthKit/HKObjectType.h"
#include "HealthKit/HKQuantity.h"
#include "HealthKit/HKUnit.h"

namespace {

HKUnit::Pointer unit(const std::string& text) { return HKUnit::unitFromString(text); }

double convert(double value, const std::string& from, const std::string& to) {
  return HKQuantity::quantityWithUnit(unit(from), value)->doubleValueForUnit(*unit(to));
}

std::string parseError(const std::string& text) {
  try {
    HKUnit::unitFromString(text);
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
  return "no error";
}

TEST(HKUnitTest, SpellingsOfOneUnitShareItsCanonicalString) {
  const std::pair<const char*, const char*> cases[] = {
      {"count", "count"},
      {"%", "%"},
      {"count/min", "count/min"},
      {"mL/(kg.min)", "mL/min·kg"},
      {"ml/(kg*min)", "mL/min·kg"},
      {"mL/min·kg", "mL/min·kg"},
      {"mL/kg·min", "mL/min·kg"},
      {"kcal/(kg*hr)", "kcal/hr·kg"},
      {"kcal/hr·kg", "kcal/hr·kg"},
      {"mmol<180.15588000005408>/L", "mmol<180.1558800000541>/L"},
      {"mmol<180.1558800000541>/L", "mmol<180.1558800000541>/L"},
      {"kg/m.s^2", "kg/s^2·m"},
      {"kg.m^-1.s^-2", "kg/s^2·m"},
      {"mcS", "mcS"},
      {"dam", "dam"},
      {"s^-1", "s^-1"},
      {"m/m", "()"},
      {"(m^2)^-1", "m^-2"},
  };
  for (const auto& [text, canonical] : cases) {
    EXPECT_EQ(unit(text)->unitString(), canonical) << text;
    EXPECT_EQ(*unit(unit(text)->unitString()), *unit(text)) << text;
  }
  EXPECT_NE(*unit("kcal"), *unit("Cal"));  // same energy, different units
}

TEST(HKUnitTest, FactoriesAndArithmeticMakeTheParsedUnits) {
  EXPECT_EQ(*HKUnit::kilocalorieUnit(), *unit("kcal"));
  EXPECT_EQ(*HKUnit::gramUnitWithMetricPrefix(HKMetricPrefixMicro), *unit("mcg"));
  EXPECT_EQ(*HKUnit::literUnitWithMetricPrefix(HKMetricPrefixDeci), *unit("dL"));
  EXPECT_EQ(*HKUnit::moleUnitWithMetricPrefix(HKMetricPrefixMilli, HKUnitMolarMassBloodGlucose)
                 ->unitDividedByUnit(*HKUnit::literUnit()),
            *unit("mmol<180.15588000005408>/L"));
  EXPECT_EQ(*HKUnit::countUnit()->unitDividedByUnit(*HKUnit::minuteUnit()), *unit("count/min"));
  EXPECT_EQ(*HKUnit::meterUnit()->unitRaisedToPower(2)->reciprocalUnit(), *unit("m^-2"));
  EXPECT_EQ(*HKUnit::meterUnit()->unitMultipliedByUnit(*HKUnit::meterUnit()), *unit("m^2"));
  EXPECT_EQ(HKUnit::secondUnit()->unitString(), "s");
  EXPECT_EQ(HKUnit::internationalUnit()->unitString(), "IU");
  EXPECT_THROW(HKUnit::gramUnitWithMetricPrefix(static_cast<HKMetricPrefix>(14)),
               std::invalid_argument);
  EXPECT_THROW(HKUnit::moleUnitWithMolarMass(0), std::invalid_argument);
}

struct Conversion {
  double value;
  const char* from;
  const char* to;
  double expected;
};

TEST(HKUnitTest, ConvertsBetweenUnitsOfOneDimension) {
  const Conversion cases[] = {
      // Blood glucose, mass <-> moles through the molar mass of glucose.
      {1, "mmol<180.15588000005408>/L", "mg/dL", 18.015588},
      {100, "mg/dL", "mmol<180.1558800000541>/L", 5.55074860726},
      // Weight.
      {1, "lb", "kg", 0.45359237},
      {1, "st", "lb", 14},
      {1, "oz", "g", 28.349523125},
      {70, "kg", "lb", 154.32358352941},
      // Temperature, affine.
      {98.6, "degF", "degC", 37},
      {0, "degC", "K", 273.15},
      {-40, "degC", "degF", -40},
      {310.15, "K", "degF", 98.6},
      // Pressure.
      {120, "mmHg", "Pa", 15998.688},
      {120, "mmHg", "kPa", 15.998688},
      // VO2 max in another unit of its dimension.
      {45, "mL/(kg.min)", "L/(kg*hr)", 2.7},
      // Energy, volume, rates, percent.
      {1, "kcal", "kJ", 4.184},
      {1, "Cal", "kcal", 1},
      {1000, "cal", "kcal", 1},
      {1, "fl_oz_us", "mL", 29.5735295625},
      {1, "cup_us", "fl_oz_us", 8},
      {1, "count/s", "count/min", 60},
      {0.97, "%", "%", 0.97},
      {1, "mi", "km", 1.609344},
      {90, "min", "hr", 1.5},
      // A temperature inside a product is a difference: no offset.
      {1, "degC/hr", "degF/hr", 1.8},
      {1, "Hz", "s^-1", 1},
      {6, "kcal/(kg*hr)", "cal/(g*min)", 0.1},
      // Near the ends of the double range: no overflow or underflow on the way.
      {1e308, "lb", "kg", 4.5359237e307},
      {1e308, "Cal", "kcal", 1e308},
      {1e-320, "mL", "fl_oz_us", 1e-320 / 29.5735295625},
  };
  for (const auto& c : cases) {
    EXPECT_NEAR(convert(c.value, c.from, c.to), c.expected, 1e-9 * std::max(1.0, c.expected))
        << c.value << " " << c.from << " -> " << c.to;
  }
}

// Between prefixed forms of one unit the result is the double nearest the exact one, not the
// product of two rounded scales (0.5 L was 500.00000000000006 mL that way).
TEST(HKUnitTest, PrefixedFormsOfOneUnitConvertExactly) {
  const Conversion cases[] = {
      {0.5, "L", "mL", 500},
      {500, "mL", "L", 0.5},
      {0.1, "kg", "g", 100},
      {7, "mcg", "g", 7e-6},
      {3, "mg/dL", "g/L", 0.03},
      {0.07, "km", "m", 70},
      {1, "mmol<180.15588000005408>/L", "mol<180.15588000005408>/L", 0.001},
      {0.3, "kg^2", "g^2", 300000},
      {11, "mg/g", "()", 0.011},
      // Past the largest double: infinite, as any overflowing conversion.
      {1e307, "L", "mL", HUGE_VAL},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(convert(c.value, c.from, c.to), c.expected)
        << c.value << " " << c.from << " -> " << c.to;
  }
}

TEST(HKUnitTest, IncompatibleUnitsFailLoudly) {
  auto heartRate = HKQuantity::quantityWithUnit(unit("count/min"), 72);
  EXPECT_FALSE(heartRate->isCompatibleWithUnit(*unit("kg")));
  try {
    heartRate->doubleValueForUnit(*unit("kg"));
    FAIL() << "converted count/min to kg";
  } catch (const std::invalid_argument& error) {
    EXPECT_STREQ(error.what(), "HKQuantity: cannot convert 72 count/min to kg: incompatible units");
  }
  auto mass = HKQuantity::quantityWithUnit(unit("kg"), 1);
  EXPECT_THROW(heartRate->compare(*mass), std::invalid_argument);
  EXPECT_FALSE(heartRate->isEqual(*mass));
  // Fractions in percent are not counts, and a pressure level in decibels is not a pressure.
  EXPECT_THROW(convert(0.5, "%", "count"), std::invalid_argument);
  EXPECT_THROW(convert(60, "dBASPL", "Pa"), std::invalid_argument);
  EXPECT_THROW(convert(1, "count/min", "Hz"), std::invalid_argument);
  EXPECT_THROW(HKQuantity::quantityWithUnit(nullptr, 1), std::invalid_argument);
}

TEST(HKUnitTest, QuantitiesCompareAcrossUnitsAndDescribeThemselves) {
  auto pound = HKQuantity::quantityWithUnit(HKUnit::poundUnit(), 1);
  auto halfKilo = HKQuantity::quantityWithUnit(unit("kg"), 0.5);
  EXPECT_EQ(pound->compare(*halfKilo), NSOrderedAscending);
  EXPECT_EQ(halfKilo->compare(*pound), NSOrderedDescending);
  EXPECT_TRUE(HKQuantity::quantityWithUnit(unit("g"), 1000)
                  ->isEqual(*HKQuantity::quantityWithUnit(unit("kg"), 1)));
  EXPECT_EQ(HKQuantity::quantityWithUnit(unit("%"), 0.97)->description(), "97 %");
  EXPECT_EQ(HKQuantity::quantityWithUnit(unit("degF"), 47.6418)->description(), "47.6418 degF");
}

TEST(HKUnitTest, MalformedUnitStringsNameTheStringAndPosition) {
  const std::pair<const char*, const char*> cases[] = {
      {"", "Invalid unit string \"\": empty unit string at position 0"},
      {"kg/m/s", "Invalid unit string \"kg/m/s\": only one '/' is allowed at position 4"},
      {"kg/", "Invalid unit string \"kg/\": expected a unit at position 3"},
      {"/s", "Invalid unit string \"/s\": unexpected '/' at position 0"},
      {"kg..m", "Invalid unit string \"kg..m\": unexpected '.' at position 3"},
      {"furlong", "Invalid unit string \"furlong\": unknown unit \"furlong\" at position 0"},
      {"count/mins", "Invalid unit string \"count/mins\": unknown unit \"mins\" at position 6"},
      {"kmin", "Invalid unit string \"kmin\": unknown unit \"kmin\" at position 0"},
      {"m^", "Invalid unit string \"m^\": expected an integer exponent after '^' at position 1"},
      {"m^0", "Invalid unit string \"m^0\": exponent must not be zero at position 2"},
      {"ml/(kg*min", "Invalid unit string \"ml/(kg*min\": expected ')' at position 10"},
      {"(kg/min)",
       "Invalid unit string \"(kg/min)\": '/' is not allowed inside parentheses at position 3"},
      {"mmol/L",
       "Invalid unit string \"mmol/L\": a mole unit needs its molar mass, as in mol<180.16> at "
       "position 4"},
      {"mmol<abc>/L",
       "Invalid unit string \"mmol<abc>/L\": invalid molar mass \"abc\" at position 5"},
      {"mmol<180",
       "Invalid unit string \"mmol<180\": expected '>' after the molar mass at position 4"},
      {"g<180>", "Invalid unit string \"g<180>\": only moles take a molar mass at position 1"},
      {"kg m", "Invalid unit string \"kg m\": unexpected ' ' at position 2"},
      // Positions count characters, so the two-byte '·' is one.
      {"mL/min·kg·", "Invalid unit string \"mL/min·kg·\": expected a unit at position 10"},
      {"mL/min·kg)", "Invalid unit string \"mL/min·kg)\": unexpected ')' at position 9"},
  };
  for (const auto& [text, message] : cases) EXPECT_EQ(parseError(text), message) << text;
}

TEST(HKUnitTest, QuantityTypesAcceptUnitsOfTheirDimension) {
  auto type = [](const std::string& id) { return HKObjectType::quantityTypeForIdentifier(id); };
  EXPECT_TRUE(type(HKQuantityTypeIdentifierBodyMass)->isCompatibleWithUnit(*unit("lb")));
  EXPECT_FALSE(type(HKQuantityTypeIdentifierBodyMass)->isCompatibleWithUnit(*unit("count")));
  EXPECT_TRUE(type(HKQuantityTypeIdentifierBloodGlucose)
                  ->isCompatibleWithUnit(*unit("mmol<180.15588000005408>/L")));
  EXPECT_TRUE(type(HKQuantityTypeIdentifierHeartRate)->isCompatibleWithUnit(*unit("count/s")));
  EXPECT_TRUE(type(HKQuantityTypeIdentifierVO2Max)->isCompatibleWithUnit(*unit("mL/min·kg")));
  EXPECT_TRUE(type(HKQuantityTypeIdentifierOxygenSaturation)->isCompatibleWithUnit(*unit("%")));
  EXPECT_FALSE(
      type(HKQuantityTypeIdentifierOxygenSaturation)->isCompatibleWithUnit(*unit("count")));
  EXPECT_TRUE(type(HKQuantityTypeIdentifierBodyTemperature)->isCompatibleWithUnit(*unit("degF")));
  EXPECT_TRUE(
      type(HKQuantityTypeIdentifierElectrodermalActivity)->isCompatibleWithUnit(*unit("S")));
  EXPECT_EQ(type(HKQuantityTypeIdentifierVO2Max)->canonicalUnit()->unitString(), "mL/min·kg");
}

// Parsing fills a shared cache; many threads parsing the same and different strings at once
// all get equal units.
TEST(HKUnitTest, ParsingIsSafeFromManyThreads) {
  const std::vector<std::string> texts = {"mL/(kg.min)", "count/min", "mmol<180.16>/L", "degF"};
  std::vector<HKUnit::Pointer> parsed(8 * texts.size());
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < 8; ++t) {
    threads.emplace_back([&, t] {
      for (std::size_t i = 0; i < texts.size(); ++i) {
        parsed[t * texts.size() + i] = HKUnit::unitFromString(texts[(i + t) % texts.size()]);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  for (std::size_t t = 0; t < 8; ++t) {
    for (std::size_t i = 0; i < texts.size(); ++i) {
      EXPECT_EQ(*parsed[t * texts.size() + i], *unit(texts[(i + t) % texts.size()]));
    }
  }
}

}  // namespace
