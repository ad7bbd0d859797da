#pragma once

// HKUnitParser: reads a unit string of HealthKit's grammar into the factors of an HKUnit.
// Stateless apart from one parse; internal to HealthKit/.
//
//   unit    := product [ '/' product ]
//   product := factor { ('.' | '*' | '·') factor }
//   factor  := ( symbol [ '<' molar-mass '>' ] | '(' [ product ] ')' ) [ '^' ['-'] digits ]

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "HealthKit/HKUnit.h"

class HKUnitParser {
 public:
  // Throws std::invalid_argument: Invalid unit string "<text>": <problem> at position <n>, the
  // position counting characters from 0.
  static HKUnit::Pointer parse(std::string_view text);

 private:
  explicit HKUnitParser(std::string_view text) : text_(text) {}

  std::vector<HKUnit::Factor> parseProduct();
  void parseFactor(std::vector<HKUnit::Factor>& into);
  long parseExponent();
  double parseMolarMass();

  bool atEnd() const { return position_ >= text_.size(); }
  bool atMultiplication() const;
  [[noreturn]] void fail(const std::string& problem, std::size_t bytePosition) const;
  [[noreturn]] void failUnexpected() const;

  std::string_view text_;
  std::size_t position_ = 0;  // in bytes
};
