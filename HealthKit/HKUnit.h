#pragma once

// HKUnit: a unit of measure for HealthKit quantities, made from a unit string in HealthKit's
// grammar ("count/min", "mg/dL", "mL/(kg.min)", "mmol<180.15588000005408>/L") or by the
// factories below.
//
// Units are immutable and shared; safe to use from any thread. Two units are equal when they
// mean the same unit, however they were spelt: "mL/(kg.min)", "ml/(kg*min)" and "mL/min·kg" are
// one unit, whose canonical spelling unitString() gives back ("mL/min·kg"). A malformed unit
// string is a programming error: unitFromString throws std::invalid_argument naming the string
// and the position of the problem.
//
// Grammar: base units with optional SI prefixes (p n mc m c d da h k M G T f; micro is "mc"),
// products with '.', '*' or '·', at most one '/' (everything after it is the denominator, so
// "kg/m.s^2" is kg/(m.s^2)), integral powers with '^', and parentheses. Moles carry their molar
// mass in grams per mole: "mol<180.16>". Conversions between units go through HKQuantity.
//
// Units that differ only in their metric prefixes ("mL" and "L", "mg/dL" and "g/L") convert by
// their power of ten in one step, multiplying or dividing by an exact power of ten, so the result
// is the double nearest the exact one: 0.5 L is 500 mL, and 500 mL is 0.5 L. Other conversions go
// through coherent base units and may be off in the last digit; a result beyond the largest
// double is infinite, but one within it never overflows on the way (1e308 lb is 4.5e307 kg).
//
//   auto glucose = HKUnit::unitFromString("mg/dL");
//   auto molar = HKUnit::moleUnitWithMetricPrefix(HKMetricPrefixMilli, HKUnitMolarMassBloodGlucose)
//                    ->unitDividedByUnit(*HKUnit::literUnit());

#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Foundation/NSObject.h"

enum HKMetricPrefix : long {
  HKMetricPrefixNone = 0,
  HKMetricPrefixPico = 1,
  HKMetricPrefixNano = 2,
  HKMetricPrefixMicro = 3,
  HKMetricPrefixMilli = 4,
  HKMetricPrefixCenti = 5,
  HKMetricPrefixDeci = 6,
  HKMetricPrefixDeca = 7,
  HKMetricPrefixHecto = 8,
  HKMetricPrefixKilo = 9,
  HKMetricPrefixMega = 10,
  HKMetricPrefixGiga = 11,
  HKMetricPrefixTera = 12,
  HKMetricPrefixFemto = 13,
};

// The molar mass of glucose, grams per mole, for blood glucose in moles.
inline constexpr double HKUnitMolarMassBloodGlucose = 180.15588000005408;

class HKUnit : public NSObject {
 public:
  using Pointer = std::shared_ptr<const HKUnit>;

  // Parses a unit string; throws std::invalid_argument when it is malformed.
  static Pointer unitFromString(std::string_view string);

  // The canonical spelling: accepted by unitFromString, equal for equal units.
  const std::string& unitString() const { return unitString_; }

  // Counts and fractions. percentUnit holds fractions: 0.97 in "%" is 97 %.
  static Pointer countUnit();
  static Pointer percentUnit();
  static Pointer internationalUnit();
  // Mass
  static Pointer gramUnit();
  static Pointer gramUnitWithMetricPrefix(HKMetricPrefix prefix);
  static Pointer ounceUnit();
  static Pointer poundUnit();
  static Pointer stoneUnit();
  static Pointer moleUnitWithMetricPrefix(HKMetricPrefix prefix, double gramsPerMole);
  static Pointer moleUnitWithMolarMass(double gramsPerMole);
  // Length
  static Pointer meterUnit();
  static Pointer meterUnitWithMetricPrefix(HKMetricPrefix prefix);
  static Pointer inchUnit();
  static Pointer footUnit();
  static Pointer yardUnit();
  static Pointer mileUnit();
  // Volume
  static Pointer literUnit();
  static Pointer literUnitWithMetricPrefix(HKMetricPrefix prefix);
  static Pointer fluidOunceUSUnit();
  static Pointer fluidOunceImperialUnit();
  static Pointer pintUSUnit();
  static Pointer pintImperialUnit();
  static Pointer cupUSUnit();
  static Pointer cupImperialUnit();
  // Time and frequency
  static Pointer secondUnit();
  static Pointer secondUnitWithMetricPrefix(HKMetricPrefix prefix);
  static Pointer minuteUnit();
  static Pointer hourUnit();
  static Pointer dayUnit();
  static Pointer hertzUnit();
  // Energy and power
  static Pointer jouleUnit();
  static Pointer jouleUnitWithMetricPrefix(HKMetricPrefix prefix);
  static Pointer smallCalorieUnit();
  static Pointer largeCalorieUnit();
  static Pointer kilocalorieUnit();
  static Pointer wattUnit();
  // Temperature
  static Pointer degreeCelsiusUnit();
  static Pointer degreeFahrenheitUnit();
  static Pointer kelvinUnit();
  // Pressure
  static Pointer pascalUnit();
  static Pointer pascalUnitWithMetricPrefix(HKMetricPrefix prefix);
  static Pointer millimeterOfMercuryUnit();
  static Pointer centimeterOfWaterUnit();
  static Pointer atmosphereUnit();
  static Pointer inchesOfMercuryUnit();
  static Pointer decibelAWeightedSoundPressureLevelUnit();
  static Pointer decibelHearingLevelUnit();
  // Electricity, light, angle, vision, effort
  static Pointer siemenUnit();
  static Pointer siemenUnitWithMetricPrefix(HKMetricPrefix prefix);
  static Pointer voltUnit();
  static Pointer luxUnit();
  static Pointer radianAngleUnit();
  static Pointer degreeAngleUnit();
  static Pointer diopterUnit();
  static Pointer prismDiopterUnit();
  static Pointer appleEffortScoreUnit();

  // Arithmetic on units: kg * m, m / s, m^2, 1/s.
  Pointer unitMultipliedByUnit(const HKUnit& unit) const;
  Pointer unitDividedByUnit(const HKUnit& unit) const;
  Pointer unitRaisedToPower(long power) const;
  Pointer reciprocalUnit() const;

  bool isEqual(const NSObject& other) const override;
  bool operator==(const HKUnit& other) const { return unitString_ == other.unitString_; }
  std::size_t hash() const override { return std::hash<std::string>{}(unitString_); }
  std::string description() const override { return unitString_; }
  std::string className() const override { return "HKUnit"; }

  // One base unit with its prefix raised to a power; a unit is a product of these. Public only
  // so that the unit parser (internal) can name it.
  struct Factor {
    int base = 0;  // index into the table of base units
    HKMetricPrefix prefix = HKMetricPrefixNone;
    double molarMass = 0;  // grams per mole, for moles only
    long exponent = 1;
  };

  // Number of physical dimensions a unit may have (mass, length, time...).
  static constexpr std::size_t kDimensionCount = 15;
  using Dimension = std::array<long, kDimensionCount>;

 private:
  friend class HKQuantity;
  friend class HKQuantityType;
  friend class HKUnitParser;

  // Made by the factories and the parser only. Merges and orders the factors.
  explicit HKUnit(std::vector<Factor> factors);
  static Pointer make(std::vector<Factor> factors);
  static Pointer base(std::string_view symbol, HKMetricPrefix prefix = HKMetricPrefixNone);

  // `value` in this unit, read in `unit` of the same dimension (HKQuantity checks that).
  double convertedValue(double value, const HKUnit& unit) const;

  // The unit's value in coherent base units is (x + offset_) * scale_. The offset is non-zero
  // for degC and degF on their own; in products they count as temperature differences.
  double scale_ = 1;
  double offset_ = 0;
  Dimension dimension_{};
  std::vector<Factor> factors_;  // sorted canonically, one per base, prefix and molar mass
  std::string unitString_;
  // The unit spelt without its metric prefixes ("g/L" for mg/dL), and the power of ten the
  // prefixes stand for (-2 for mg/dL): units with equal stems differ by a power of ten only.
  std::string stem_;
  long prefixPower_ = 0;
};
