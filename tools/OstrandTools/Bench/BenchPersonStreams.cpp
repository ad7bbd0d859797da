#include "tools/OstrandTools/Bench/BenchPersonStreams.h"

#include <cmath>

namespace ostrand_tools {

void BenchPersonStreams::write(BenchRecord record, Saver saver, bool counted) {
  const auto seed = static_cast<std::uint64_t>(record.start) * 31 + record.type.size();
  record.created = created_.of(saver, record.end, seed);
  out_.record(record);
  if (counted) out_.countObject();
}

double BenchPersonStreams::rounded(double value, int decimals) {
  const double scale = std::pow(10.0, decimals);
  return std::round(value * scale) / scale;
}

}  // namespace ostrand_tools
