#pragma once

// The base units of HealthKit's unit grammar and the metric prefixes, with what each is worth in
// coherent base units (grams, metres, seconds, kelvin, amperes, and dimensions of their own for
// counts, percent, international units and the rest). Internal to HealthKit/.

#include <optional>
#include <string_view>

#include "HealthKit/HKUnit.h"

struct HKBaseUnit {
  std::string_view symbol;
  bool takesPrefix;  // SI units take metric prefixes ("kg", "mL", "mcS")
  double scale;      // value of one unit in coherent base units...
  double offset;     // ...after adding this (degC, degF)
  HKUnit::Dimension dimension;
};

// Indexes into HKUnit::Dimension.
enum HKDimensionIndex : int {
  kHKMass,
  kHKLength,
  kHKTime,
  kHKTemperature,
  kHKCurrent,
  kHKCount,
  kHKPercent,
  kHKInternationalUnit,
  kHKAngle,
  kHKIlluminance,
  kHKSoundPressureLevel,
  kHKHearingLevel,
  kHKEffort,
  kHKDiopter,
  kHKPrismDiopter,
};

// Every base unit, in the order a unit string lists its factors.
const HKBaseUnit& hkBaseUnit(int index);
// The index of the base unit spelt `symbol` ("L" and "l" are one unit), if any.
std::optional<int> hkFindBaseUnit(std::string_view symbol);
int hkMoleBaseUnit();

std::string_view hkPrefixSymbol(HKMetricPrefix prefix);
double hkPrefixFactor(HKMetricPrefix prefix);
// The prefix's power of ten: -3 for milli, 3 for kilo, 0 for none.
int hkPrefixPower(HKMetricPrefix prefix);
bool hkIsValidPrefix(HKMetricPrefix prefix);

// What a unit symbol of the grammar names: a base unit ("min", "mmHg"), else a prefix followed
// by a base unit that takes prefixes ("kg", "mcS", "dL").
struct HKResolvedSymbol {
  int base;
  HKMetricPrefix prefix;
};
std::optional<HKResolvedSymbol> hkResolveUnitSymbol(std::string_view symbol);
