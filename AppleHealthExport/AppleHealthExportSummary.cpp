#include "AppleHealthExport/AppleHealthExportSummary.h"

namespace {

std::size_t sum(const std::map<std::string, std::size_t>& counts) {
  std::size_t total = 0;
  for (const auto& [name, count] : counts) total += count;
  return total;
}

}  // namespace

std::string AppleHealthExportError::description() const {
  std::string text = file;
  if (line > 0) text += ":" + std::to_string(line);
  if (line > 0 && column > 0) text += ":" + std::to_string(column);
  text += ": ";
  if (!element.empty()) text += "<" + element + ">: ";
  return text + message;
}

std::size_t AppleHealthExportSummary::totalSamples() const { return sum(samplesByType); }
std::size_t AppleHealthExportSummary::totalCorrelations() const { return sum(correlationsByType); }
std::size_t AppleHealthExportSummary::totalWorkouts() const { return sum(workoutsByActivityType); }
std::size_t AppleHealthExportSummary::totalSkipped() const { return sum(skipped); }
