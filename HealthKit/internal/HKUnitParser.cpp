#include "HealthKit/internal/HKUnitParser.h"

#include <charconv>
#include <cmath>
#include <stdexcept>

#include "HealthKit/internal/HKBaseUnits.h"

namespace {

constexpr std::string_view kMiddleDot = "\xC2\xB7";  // '·', as the Health app writes units
constexpr std::size_t kMaxExponentDigits = 3;

bool isSymbolCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == '%';
}

bool isContinuationByte(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

}  // namespace

HKUnit::Pointer HKUnitParser::parse(std::string_view text) {
  HKUnitParser parser(text);
  if (text.empty()) parser.fail("empty unit string", 0);
  std::vector<HKUnit::Factor> factors = parser.parseProduct();
  if (!parser.atEnd() && parser.text_[parser.position_] == '/') {
    ++parser.position_;
    for (HKUnit::Factor factor : parser.parseProduct()) {
      factor.exponent = -factor.exponent;
      factors.push_back(factor);
    }
    if (!parser.atEnd() && parser.text_[parser.position_] == '/') {
      parser.fail("only one '/' is allowed", parser.position_);
    }
  }
  if (!parser.atEnd()) parser.failUnexpected();
  return HKUnit::make(std::move(factors));
}

bool HKUnitParser::atMultiplication() const {
  if (atEnd()) return false;
  const char c = text_[position_];
  return c == '.' || c == '*' || text_.substr(position_).starts_with(kMiddleDot);
}

std::vector<HKUnit::Factor> HKUnitParser::parseProduct() {
  std::vector<HKUnit::Factor> factors;
  parseFactor(factors);
  while (atMultiplication()) {
    position_ += text_[position_] == '.' || text_[position_] == '*' ? 1 : kMiddleDot.size();
    parseFactor(factors);
  }
  return factors;
}

void HKUnitParser::parseFactor(std::vector<HKUnit::Factor>& into) {
  if (atEnd()) fail("expected a unit", position_);
  std::vector<HKUnit::Factor> factors;
  if (text_[position_] == '(') {
    ++position_;
    if (atEnd() || text_[position_] != ')') factors = parseProduct();
    if (!atEnd() && text_[position_] == '/') {
      fail("'/' is not allowed inside parentheses", position_);
    }
    if (atEnd() || text_[position_] != ')') fail("expected ')'", position_);
    ++position_;
  } else {
    const std::size_t start = position_;
    while (!atEnd() && isSymbolCharacter(text_[position_])) ++position_;
    if (position_ == start) {
      if (atEnd()) fail("expected a unit", start);
      failUnexpected();
    }
    const std::string_view symbol = text_.substr(start, position_ - start);
    auto resolved = hkResolveUnitSymbol(symbol);
    if (!resolved) fail("unknown unit \"" + std::string(symbol) + "\"", start);
    HKUnit::Factor factor{resolved->base, resolved->prefix, 0, 1};
    const bool isMole = resolved->base == hkMoleBaseUnit();
    if (!atEnd() && text_[position_] == '<') {
      if (!isMole) fail("only moles take a molar mass", position_);
      factor.molarMass = parseMolarMass();
    } else if (isMole) {
      fail("a mole unit needs its molar mass, as in mol<180.16>", position_);
    }
    factors.push_back(factor);
  }
  const long exponent = parseExponent();
  for (HKUnit::Factor& factor : factors) {
    factor.exponent *= exponent;
    into.push_back(factor);
  }
}

long HKUnitParser::parseExponent() {
  if (atEnd() || text_[position_] != '^') return 1;
  const std::size_t caret = position_++;
  const bool negative = !atEnd() && text_[position_] == '-';
  if (negative) ++position_;
  const std::size_t start = position_;
  while (!atEnd() && text_[position_] >= '0' && text_[position_] <= '9') ++position_;
  if (position_ == start) fail("expected an integer exponent after '^'", caret);
  if (position_ - start > kMaxExponentDigits) fail("exponent out of range", start);
  long value = 0;
  std::from_chars(text_.data() + start, text_.data() + position_, value);
  if (value == 0) fail("exponent must not be zero", start);
  return negative ? -value : value;
}

double HKUnitParser::parseMolarMass() {
  const std::size_t open = position_++;
  const std::size_t close = text_.find('>', position_);
  if (close == std::string_view::npos) fail("expected '>' after the molar mass", open);
  const std::string_view number = text_.substr(position_, close - position_);
  double value = 0;
  auto [stop, error] = std::from_chars(number.data(), number.data() + number.size(), value);
  if (number.empty() || error != std::errc() || stop != number.data() + number.size() ||
      !std::isfinite(value) || value <= 0) {
    fail("invalid molar mass \"" + std::string(number) + "\"", position_);
  }
  position_ = close + 1;
  return value;
}

void HKUnitParser::failUnexpected() const {
  std::size_t end = position_ + 1;
  while (end < text_.size() && isContinuationByte(text_[end])) ++end;
  fail("unexpected '" + std::string(text_.substr(position_, end - position_)) + "'", position_);
}

void HKUnitParser::fail(const std::string& problem, std::size_t bytePosition) const {
  std::size_t characters = 0;
  for (std::size_t i = 0; i < bytePosition && i < text_.size(); ++i) {
    if (!isContinuationByte(text_[i])) ++characters;
  }
  throw std::invalid_argument("Invalid unit string \"" + std::string(text_) + "\": " + problem +
                              " at position " + std::to_string(characters));
}
