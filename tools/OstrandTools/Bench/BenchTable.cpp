#include "tools/OstrandTools/Bench/BenchTable.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <sstream>

namespace ostrand_tools {

namespace {

using Cells = std::array<std::string, 5>;

std::string ratioText(double ratio) {
  char text[32];
  std::snprintf(text, sizeof text, ratio >= 10 ? "%.0fx" : "%.1fx", ratio);
  return text;
}

Cells cellsOf(const BenchRow& row) {
  return {row.measurement, row.measured, row.baseline, row.baselineMeasured,
          ratioText(row.costRatio)};
}

void printLine(std::ostream& out, const Cells& cells, const std::array<std::size_t, 5>& widths) {
  std::string line;
  for (std::size_t column = 0; column < cells.size(); ++column) {
    const std::string& cell = cells[column];
    const std::string padding(widths[column] - cell.size(), ' ');
    // Numbers line up on the right, words on the left.
    const bool numeric = column == 1 || column >= 3;
    line += numeric ? padding + cell : cell + padding;
    if (column + 1 < cells.size()) line += "  ";
  }
  out << line << "\n";
}

// The note in lines of at most `width` characters, broken between words; later lines indented.
void printWrapped(std::ostream& out, const std::string& note, std::size_t width) {
  std::istringstream words(note);
  std::string line;
  for (std::string word; words >> word;) {
    if (!line.empty() && line.size() + 1 + word.size() > width) {
      out << line << "\n";
      line = "  " + word;
    } else {
      line += (line.empty() ? "" : " ") + word;
    }
  }
  if (!line.empty()) out << line << "\n";
}

}  // namespace

void BenchTable::print(std::ostream& out) const {
  const Cells header = {"Measurement", "Measured", "Baseline (same run)", "Baseline", "Ratio"};
  std::array<std::size_t, 5> widths{};
  for (std::size_t column = 0; column < header.size(); ++column) {
    widths[column] = header[column].size();
  }
  for (const auto& row : rows_) {
    const Cells cells = cellsOf(row);
    for (std::size_t column = 0; column < cells.size(); ++column) {
      widths[column] = std::max(widths[column], cells[column].size());
    }
  }
  printLine(out, header, widths);
  std::size_t total = 2 * (widths.size() - 1);
  for (const std::size_t width : widths) total += width;
  out << std::string(total, '-') << "\n";
  for (const auto& row : rows_) printLine(out, cellsOf(row), widths);
  if (!notes_.empty()) out << "\n";
  for (const auto& note : notes_) printWrapped(out, note, std::max<std::size_t>(total, 80));
}

}  // namespace ostrand_tools
