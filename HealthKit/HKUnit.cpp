#include "HealthKit/HKUnit.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <stdexcept>
#include <tuple>
#include <unordered_map>

#include "HealthKit/internal/HKBaseUnits.h"
#include "HealthKit/internal/HKUnitParser.h"

namespace {

std::string molarMassText(double gramsPerMole) {
  char text[32];
  std::snprintf(text, sizeof text, "%.16g", gramsPerMole);
  return text;
}

// Molar masses are kept to the 16 significant digits unit strings print, so that a unit read
// back from its string equals the unit it was printed from.
double canonicalMolarMass(double gramsPerMole) {
  return std::strtod(molarMassText(gramsPerMole).c_str(), nullptr);
}

std::string factorText(const HKUnit::Factor& factor, long exponent) {
  std::string text(hkPrefixSymbol(factor.prefix));
  text += hkBaseUnit(factor.base).symbol;
  if (factor.base == hkMoleBaseUnit()) text += "<" + molarMassText(factor.molarMass) + ">";
  if (exponent != 1) text += "^" + std::to_string(exponent);
  return text;
}

// The powers of ten a double holds exactly.
constexpr std::array<double, 23> kExactPowersOfTen = {
    1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
    1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22,
};

// The factors' spelling with their prefixes taken out, exponents of one base (and molar mass)
// merged: "g^2/L" for mg·g/dL. Factors come sorted by base first.
std::string stemOf(const std::vector<HKUnit::Factor>& factors) {
  std::vector<HKUnit::Factor> merged;
  for (HKUnit::Factor factor : factors) {
    factor.prefix = HKMetricPrefixNone;
    auto same = std::find_if(merged.begin(), merged.end(), [&](const HKUnit::Factor& other) {
      return other.base == factor.base && other.molarMass == factor.molarMass;
    });
    if (same == merged.end()) {
      merged.push_back(factor);
    } else {
      same->exponent += factor.exponent;
    }
  }
  std::string stem;
  for (const HKUnit::Factor& factor : merged) {
    if (factor.exponent != 0) stem += factorText(factor, factor.exponent) + " ";
  }
  return stem;
}

// Parsed units are cached by their spelling: the same few unit strings come back for every
// sample of an import. The cache is bounded so that odd input cannot grow it without end.
constexpr std::size_t kParseCacheLimit = 1024;
struct ParseCache {
  std::mutex mutex;  // guards units
  std::unordered_map<std::string, HKUnit::Pointer> units;
};

ParseCache& parseCache() {
  static ParseCache* const cache = new ParseCache();  // never destroyed
  return *cache;
}

}  // namespace

HKUnit::HKUnit(std::vector<Factor> factors) {
  for (Factor& factor : factors) {
    if (factor.base == hkMoleBaseUnit()) factor.molarMass = canonicalMolarMass(factor.molarMass);
  }
  auto key = [](const Factor& f) { return std::tie(f.base, f.prefix, f.molarMass); };
  std::sort(factors.begin(), factors.end(),
            [&](const Factor& a, const Factor& b) { return key(a) < key(b); });
  for (const Factor& factor : factors) {
    if (!factors_.empty() && key(factors_.back()) == key(factor)) {
      factors_.back().exponent += factor.exponent;
    } else {
      factors_.push_back(factor);
    }
  }
  std::erase_if(factors_, [](const Factor& f) { return f.exponent == 0; });

  std::string numerator, denominator;
  for (const Factor& factor : factors_) {
    const HKBaseUnit& base = hkBaseUnit(factor.base);
    double one = base.scale * hkPrefixFactor(factor.prefix);
    if (factor.base == hkMoleBaseUnit()) one *= factor.molarMass;
    scale_ *= std::pow(one, static_cast<double>(factor.exponent));
    for (std::size_t i = 0; i < kDimensionCount; ++i) {
      dimension_[i] += base.dimension[i] * factor.exponent;
    }
    std::string& side = factor.exponent > 0 ? numerator : denominator;
    if (!side.empty()) side += "·";
    side += factorText(factor, std::labs(factor.exponent));
  }
  // An offset applies only to a temperature on its own: in degC/hr, degC is a difference.
  if (factors_.size() == 1 && factors_[0].exponent == 1) {
    offset_ = hkBaseUnit(factors_[0].base).offset;
  }
  stem_ = stemOf(factors_);
  for (const Factor& factor : factors_)
    prefixPower_ += hkPrefixPower(factor.prefix) * factor.exponent;
  if (factors_.empty()) {
    unitString_ = "()";
  } else if (numerator.empty()) {
    for (const Factor& factor : factors_) {
      if (!unitString_.empty()) unitString_ += "·";
      unitString_ += factorText(factor, factor.exponent);
    }
  } else {
    unitString_ = denominator.empty() ? numerator : numerator + "/" + denominator;
  }
}

HKUnit::Pointer HKUnit::make(std::vector<Factor> factors) {
  return Pointer(new HKUnit(std::move(factors)));
}

HKUnit::Pointer HKUnit::base(std::string_view symbol, HKMetricPrefix prefix) {
  if (!hkIsValidPrefix(prefix)) {
    throw std::invalid_argument("HKUnit: invalid metric prefix " + std::to_string(prefix));
  }
  return make({Factor{*hkFindBaseUnit(symbol), prefix, 0, 1}});
}

HKUnit::Pointer HKUnit::unitFromString(std::string_view string) {
  ParseCache& cache = parseCache();
  {
    std::lock_guard lock(cache.mutex);
    auto found = cache.units.find(std::string(string));
    if (found != cache.units.end()) return found->second;
  }
  Pointer unit = HKUnitParser::parse(string);
  std::lock_guard lock(cache.mutex);
  if (cache.units.size() < kParseCacheLimit) cache.units.emplace(string, unit);
  return unit;
}

HKUnit::Pointer HKUnit::moleUnitWithMetricPrefix(HKMetricPrefix prefix, double gramsPerMole) {
  if (!std::isfinite(gramsPerMole) || gramsPerMole <= 0) {
    throw std::invalid_argument("HKUnit: a molar mass must be a positive number of grams per mole");
  }
  if (!hkIsValidPrefix(prefix)) {
    throw std::invalid_argument("HKUnit: invalid metric prefix " + std::to_string(prefix));
  }
  return make({Factor{hkMoleBaseUnit(), prefix, gramsPerMole, 1}});
}

HKUnit::Pointer HKUnit::moleUnitWithMolarMass(double gramsPerMole) {
  return moleUnitWithMetricPrefix(HKMetricPrefixNone, gramsPerMole);
}

HKUnit::Pointer HKUnit::countUnit() { return base("count"); }
HKUnit::Pointer HKUnit::percentUnit() { return base("%"); }
HKUnit::Pointer HKUnit::internationalUnit() { return base("IU"); }
HKUnit::Pointer HKUnit::gramUnit() { return base("g"); }
HKUnit::Pointer HKUnit::gramUnitWithMetricPrefix(HKMetricPrefix prefix) {
  return base("g", prefix);
}
HKUnit::Pointer HKUnit::ounceUnit() { return base("oz"); }
HKUnit::Pointer HKUnit::poundUnit() { return base("lb"); }
HKUnit::Pointer HKUnit::stoneUnit() { return base("st"); }
HKUnit::Pointer HKUnit::meterUnit() { return base("m"); }
HKUnit::Pointer HKUnit::meterUnitWithMetricPrefix(HKMetricPrefix prefix) {
  return base("m", prefix);
}
HKUnit::Pointer HKUnit::inchUnit() { return base("in"); }
HKUnit::Pointer HKUnit::footUnit() { return base("ft"); }
HKUnit::Pointer HKUnit::yardUnit() { return base("yd"); }
HKUnit::Pointer HKUnit::mileUnit() { return base("mi"); }
HKUnit::Pointer HKUnit::literUnit() { return base("L"); }
HKUnit::Pointer HKUnit::literUnitWithMetricPrefix(HKMetricPrefix prefix) {
  return base("L", prefix);
}
HKUnit::Pointer HKUnit::fluidOunceUSUnit() { return base("fl_oz_us"); }
HKUnit::Pointer HKUnit::fluidOunceImperialUnit() { return base("fl_oz_imp"); }
HKUnit::Pointer HKUnit::pintUSUnit() { return base("pt_us"); }
HKUnit::Pointer HKUnit::pintImperialUnit() { return base("pt_imp"); }
HKUnit::Pointer HKUnit::cupUSUnit() { return base("cup_us"); }
HKUnit::Pointer HKUnit::cupImperialUnit() { return base("cup_imp"); }
HKUnit::Pointer HKUnit::secondUnit() { return base("s"); }
HKUnit::Pointer HKUnit::secondUnitWithMetricPrefix(HKMetricPrefix prefix) {
  return base("s", prefix);
}
HKUnit::Pointer HKUnit::minuteUnit() { return base("min"); }
HKUnit::Pointer HKUnit::hourUnit() { return base("hr"); }
HKUnit::Pointer HKUnit::dayUnit() { return base("d"); }
HKUnit::Pointer HKUnit::hertzUnit() { return base("Hz"); }
HKUnit::Pointer HKUnit::jouleUnit() { return base("J"); }
HKUnit::Pointer HKUnit::jouleUnitWithMetricPrefix(HKMetricPrefix prefix) {
  return base("J", prefix);
}
HKUnit::Pointer HKUnit::smallCalorieUnit() { return base("cal"); }
HKUnit::Pointer HKUnit::largeCalorieUnit() { return base("Cal"); }
HKUnit::Pointer HKUnit::kilocalorieUnit() { return base("cal", HKMetricPrefixKilo); }
HKUnit::Pointer HKUnit::wattUnit() { return base("W"); }
HKUnit::Pointer HKUnit::degreeCelsiusUnit() { return base("degC"); }
HKUnit::Pointer HKUnit::degreeFahrenheitUnit() { return base("degF"); }
HKUnit::Pointer HKUnit::kelvinUnit() { return base("K"); }
HKUnit::Pointer HKUnit::pascalUnit() { return base("Pa"); }
HKUnit::Pointer HKUnit::pascalUnitWithMetricPrefix(HKMetricPrefix prefix) {
  return base("Pa", prefix);
}
HKUnit::Pointer HKUnit::millimeterOfMercuryUnit() { return base("mmHg"); }
HKUnit::Pointer HKUnit::centimeterOfWaterUnit() { return base("cmAq"); }
HKUnit::Pointer HKUnit::atmosphereUnit() { return base("atm"); }
HKUnit::Pointer HKUnit::inchesOfMercuryUnit() { return base("inHg"); }
HKUnit::Pointer HKUnit::decibelAWeightedSoundPressureLevelUnit() { return base("dBASPL"); }
HKUnit::Pointer HKUnit::decibelHearingLevelUnit() { return base("dBHL"); }
HKUnit::Pointer HKUnit::siemenUnit() { return base("S"); }
HKUnit::Pointer HKUnit::siemenUnitWithMetricPrefix(HKMetricPrefix prefix) {
  return base("S", prefix);
}
HKUnit::Pointer HKUnit::voltUnit() { return base("V"); }
HKUnit::Pointer HKUnit::luxUnit() { return base("lx"); }
HKUnit::Pointer HKUnit::radianAngleUnit() { return base("rad"); }
HKUnit::Pointer HKUnit::degreeAngleUnit() { return base("deg"); }
HKUnit::Pointer HKUnit::diopterUnit() { return base("D"); }
HKUnit::Pointer HKUnit::prismDiopterUnit() { return base("pD"); }
HKUnit::Pointer HKUnit::appleEffortScoreUnit() { return base("appleEffortScore"); }

HKUnit::Pointer HKUnit::unitMultipliedByUnit(const HKUnit& unit) const {
  std::vector<Factor> factors = factors_;
  factors.insert(factors.end(), unit.factors_.begin(), unit.factors_.end());
  return make(std::move(factors));
}

HKUnit::Pointer HKUnit::unitDividedByUnit(const HKUnit& unit) const {
  return unitMultipliedByUnit(*unit.reciprocalUnit());
}

HKUnit::Pointer HKUnit::unitRaisedToPower(long power) const {
  std::vector<Factor> factors = factors_;
  for (Factor& factor : factors) factor.exponent *= power;
  return make(std::move(factors));
}

HKUnit::Pointer HKUnit::reciprocalUnit() const { return unitRaisedToPower(-1); }

bool HKUnit::isEqual(const NSObject& other) const {
  const auto* unit = dynamic_cast<const HKUnit*>(&other);
  return unit != nullptr && unit->unitString_ == unitString_;
}

double HKUnit::convertedValue(double value, const HKUnit& unit) const {
  if (offset_ == 0 && unit.offset_ == 0 && stem_ == unit.stem_) {
    // One multiplication or division by an exact power of ten: the nearest double to the result.
    const long power = prefixPower_ - unit.prefixPower_;
    const auto steps = static_cast<std::size_t>(std::labs(power));
    if (steps < kExactPowersOfTen.size()) {
      return power >= 0 ? value * kExactPowersOfTen[steps] : value / kExactPowersOfTen[steps];
    }
  }
  const double shifted = value + offset_;
  const double coherent = shifted * scale_;
  // A value near the ends of the double range can overflow (or vanish) in coherent units although
  // its result in `unit` is an ordinary number (1e308 lb is 4.5e307 kg): then the two scales are
  // divided first. Kept for those only, so every other result stays as it always was.
  if ((std::isinf(coherent) || coherent == 0) && std::isfinite(shifted) && shifted != 0) {
    return shifted * (scale_ / unit.scale_) - unit.offset_;
  }
  return coherent / unit.scale_ - unit.offset_;
}
