#include "HealthKit/internal/HKBaseUnits.h"

#include <array>
#include <initializer_list>
#include <numbers>
#include <utility>

namespace {

constexpr HKUnit::Dimension dim(std::initializer_list<std::pair<int, long>> exponents) {
  HKUnit::Dimension result{};
  for (auto [index, exponent] : exponents) result[static_cast<std::size_t>(index)] = exponent;
  return result;
}

// Derived dimensions, masses in grams: a joule is 1000 g·m²/s².
constexpr auto kEnergy = dim({{kHKMass, 1}, {kHKLength, 2}, {kHKTime, -2}});
constexpr auto kPower = dim({{kHKMass, 1}, {kHKLength, 2}, {kHKTime, -3}});
constexpr auto kPressure = dim({{kHKMass, 1}, {kHKLength, -1}, {kHKTime, -2}});
constexpr auto kVolume = dim({{kHKLength, 3}});
constexpr auto kMass = dim({{kHKMass, 1}});
constexpr auto kLength = dim({{kHKLength, 1}});
constexpr auto kTime = dim({{kHKTime, 1}});
constexpr auto kTemperature = dim({{kHKTemperature, 1}});
constexpr double kLiter = 1e-3;  // m³
constexpr double kPascal = 1e3;  // g/(m·s²)
constexpr double kJoule = 1e3;   // g·m²/s²
constexpr double kUSFluidOunce = 29.5735295625e-6;
constexpr double kImperialFluidOunce = 28.4130625e-6;

// The order of this table is the order in which a unit string lists its factors.
constexpr std::array kBaseUnits = {
    HKBaseUnit{"count", false, 1, 0, dim({{kHKCount, 1}})},
    HKBaseUnit{"%", false, 1, 0, dim({{kHKPercent, 1}})},
    HKBaseUnit{"IU", false, 1, 0, dim({{kHKInternationalUnit, 1}})},
    HKBaseUnit{"appleEffortScore", false, 1, 0, dim({{kHKEffort, 1}})},
    HKBaseUnit{"dBASPL", false, 1, 0, dim({{kHKSoundPressureLevel, 1}})},
    HKBaseUnit{"dBHL", false, 1, 0, dim({{kHKHearingLevel, 1}})},
    HKBaseUnit{"Cal", false, 4184 * kJoule, 0, kEnergy},
    HKBaseUnit{"cal", true, 4.184 * kJoule, 0, kEnergy},
    HKBaseUnit{"J", true, kJoule, 0, kEnergy},
    HKBaseUnit{"W", true, kJoule, 0, kPower},
    HKBaseUnit{"V", true, kJoule, 0,
               dim({{kHKMass, 1}, {kHKLength, 2}, {kHKTime, -3}, {kHKCurrent, -1}})},
    HKBaseUnit{"S", true, 1e-3, 0,
               dim({{kHKMass, -1}, {kHKLength, -2}, {kHKTime, 3}, {kHKCurrent, 2}})},
    HKBaseUnit{"Hz", true, 1, 0, dim({{kHKTime, -1}})},
    // A mole weighs its molar mass in grams; the factor carries the molar mass.
    HKBaseUnit{"mol", true, 1, 0, kMass},
    HKBaseUnit{"L", true, kLiter, 0, kVolume},
    HKBaseUnit{"fl_oz_us", false, kUSFluidOunce, 0, kVolume},
    HKBaseUnit{"fl_oz_imp", false, kImperialFluidOunce, 0, kVolume},
    HKBaseUnit{"pt_us", false, 16 * kUSFluidOunce, 0, kVolume},
    HKBaseUnit{"pt_imp", false, 20 * kImperialFluidOunce, 0, kVolume},
    HKBaseUnit{"cup_us", false, 8 * kUSFluidOunce, 0, kVolume},
    HKBaseUnit{"cup_imp", false, 10 * kImperialFluidOunce, 0, kVolume},
    HKBaseUnit{"s", true, 1, 0, kTime},
    HKBaseUnit{"min", false, 60, 0, kTime},
    HKBaseUnit{"hr", false, 3600, 0, kTime},
    HKBaseUnit{"d", false, 86400, 0, kTime},
    HKBaseUnit{"g", true, 1, 0, kMass},
    HKBaseUnit{"oz", false, 28.349523125, 0, kMass},
    HKBaseUnit{"lb", false, 453.59237, 0, kMass},
    HKBaseUnit{"st", false, 6350.29318, 0, kMass},
    HKBaseUnit{"m", true, 1, 0, kLength},
    HKBaseUnit{"in", false, 0.0254, 0, kLength},
    HKBaseUnit{"ft", false, 0.3048, 0, kLength},
    HKBaseUnit{"yd", false, 0.9144, 0, kLength},
    HKBaseUnit{"mi", false, 1609.344, 0, kLength},
    HKBaseUnit{"Pa", true, kPascal, 0, kPressure},
    HKBaseUnit{"mmHg", false, 133.3224 * kPascal, 0, kPressure},
    HKBaseUnit{"cmAq", false, 98.0665 * kPascal, 0, kPressure},
    HKBaseUnit{"atm", false, 101325 * kPascal, 0, kPressure},
    HKBaseUnit{"inHg", false, 3386.389 * kPascal, 0, kPressure},
    HKBaseUnit{"K", true, 1, 0, kTemperature},
    HKBaseUnit{"degC", false, 1, 273.15, kTemperature},
    HKBaseUnit{"degF", false, 1 / 1.8, 459.67, kTemperature},
    HKBaseUnit{"rad", true, 1, 0, dim({{kHKAngle, 1}})},
    HKBaseUnit{"deg", false, std::numbers::pi / 180, 0, dim({{kHKAngle, 1}})},
    HKBaseUnit{"lx", true, 1, 0, dim({{kHKIlluminance, 1}})},
    HKBaseUnit{"D", false, 1, 0, dim({{kHKDiopter, 1}})},
    HKBaseUnit{"pD", false, 1, 0, dim({{kHKPrismDiopter, 1}})},
};

struct Prefix {
  HKMetricPrefix prefix;
  std::string_view symbol;
  double factor;
  int power;  // factor == 10^power
};

// Two-letter prefixes first, so that "dam" is a decametre and "mcg" a microgram.
constexpr std::array kPrefixes = {
    Prefix{HKMetricPrefixDeca, "da", 1e1, 1},     Prefix{HKMetricPrefixMicro, "mc", 1e-6, -6},
    Prefix{HKMetricPrefixPico, "p", 1e-12, -12},  Prefix{HKMetricPrefixNano, "n", 1e-9, -9},
    Prefix{HKMetricPrefixMilli, "m", 1e-3, -3},   Prefix{HKMetricPrefixCenti, "c", 1e-2, -2},
    Prefix{HKMetricPrefixDeci, "d", 1e-1, -1},    Prefix{HKMetricPrefixHecto, "h", 1e2, 2},
    Prefix{HKMetricPrefixKilo, "k", 1e3, 3},      Prefix{HKMetricPrefixMega, "M", 1e6, 6},
    Prefix{HKMetricPrefixGiga, "G", 1e9, 9},      Prefix{HKMetricPrefixTera, "T", 1e12, 12},
    Prefix{HKMetricPrefixFemto, "f", 1e-15, -15},
};

const Prefix* findPrefix(HKMetricPrefix prefix) {
  for (const auto& entry : kPrefixes) {
    if (entry.prefix == prefix) return &entry;
  }
  return nullptr;
}

}  // namespace

const HKBaseUnit& hkBaseUnit(int index) { return kBaseUnits.at(static_cast<std::size_t>(index)); }

std::optional<int> hkFindBaseUnit(std::string_view symbol) {
  if (symbol == "l") symbol = "L";
  for (std::size_t i = 0; i < kBaseUnits.size(); ++i) {
    if (kBaseUnits[i].symbol == symbol) return static_cast<int>(i);
  }
  return std::nullopt;
}

int hkMoleBaseUnit() {
  static const int mole = *hkFindBaseUnit("mol");
  return mole;
}

std::string_view hkPrefixSymbol(HKMetricPrefix prefix) {
  const Prefix* entry = findPrefix(prefix);
  return entry ? entry->symbol : std::string_view();
}

double hkPrefixFactor(HKMetricPrefix prefix) {
  const Prefix* entry = findPrefix(prefix);
  return entry ? entry->factor : 1.0;
}

int hkPrefixPower(HKMetricPrefix prefix) {
  const Prefix* entry = findPrefix(prefix);
  return entry ? entry->power : 0;
}

bool hkIsValidPrefix(HKMetricPrefix prefix) {
  return prefix == HKMetricPrefixNone || findPrefix(prefix) != nullptr;
}

std::optional<HKResolvedSymbol> hkResolveUnitSymbol(std::string_view symbol) {
  if (auto base = hkFindBaseUnit(symbol)) return HKResolvedSymbol{*base, HKMetricPrefixNone};
  for (const auto& entry : kPrefixes) {
    if (symbol.size() <= entry.symbol.size() || !symbol.starts_with(entry.symbol)) continue;
    auto base = hkFindBaseUnit(symbol.substr(entry.symbol.size()));
    if (base && kBaseUnits[static_cast<std::size_t>(*base)].takesPrefix) {
      return HKResolvedSymbol{*base, entry.prefix};
    }
  }
  return std::nullopt;
}
