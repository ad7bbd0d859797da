#include "HealthKit/internal/SourceMerge.h"

#include <algorithm>
#include <map>

namespace platform::healthkit {

namespace {

struct Edge {
  double time;
  bool opens;
  int rank;
  double rate;  // amount per second of the piece that opens or closes here
};

// The sources covering the current stretch of time: rank -> (open pieces, summed rate).
struct Coverage {
  int count = 0;
  double rate = 0;
};

}  // namespace

std::vector<TimedAmount> mergeBySourcePriority(const std::vector<RankedAmount>& pieces) {
  std::vector<Edge> edges;
  std::vector<RankedAmount> points;
  for (const RankedAmount& ranked : pieces) {
    const TimedAmount& piece = ranked.piece;
    if (piece.end > piece.start) {
      const double rate = piece.amount / (piece.end - piece.start);
      edges.push_back({piece.start, true, ranked.rank, rate});
      edges.push_back({piece.end, false, ranked.rank, rate});
    } else {
      points.push_back(ranked);
    }
  }
  std::sort(edges.begin(), edges.end(),
            [](const Edge& a, const Edge& b) { return a.time < b.time; });
  std::sort(points.begin(), points.end(), [](const RankedAmount& a, const RankedAmount& b) {
    return a.piece.start < b.piece.start;
  });

  std::vector<TimedAmount> merged;
  std::map<int, Coverage> open;
  std::size_t nextPoint = 0;
  // Emits the points before `time` (or at it, when inclusive) that no better source covers.
  auto emitPointsBefore = [&](double time, bool inclusive) {
    while (nextPoint < points.size() && (points[nextPoint].piece.start < time ||
                                         (inclusive && points[nextPoint].piece.start == time))) {
      const RankedAmount& point = points[nextPoint++];
      const bool covered = !open.empty() && open.begin()->first < point.rank;
      if (!covered) merged.push_back(point.piece);
    }
  };

  for (std::size_t i = 0; i < edges.size();) {
    const double time = edges[i].time;
    // Points strictly before this edge see the coverage of the stretch that ends here.
    emitPointsBefore(time, false);
    for (; i < edges.size() && edges[i].time == time; ++i) {
      const Edge& edge = edges[i];
      Coverage& coverage = open[edge.rank];
      if (edge.opens) {
        ++coverage.count;
        coverage.rate += edge.rate;
      } else if (--coverage.count == 0) {
        open.erase(edge.rank);
      } else {
        coverage.rate -= edge.rate;
      }
    }
    // Points at this instant see the pieces that start here, not those that end here.
    emitPointsBefore(time, true);
    if (i < edges.size() && !open.empty()) {
      const double next = edges[i].time;
      const double rate = open.begin()->second.rate;
      merged.push_back({time, next, rate * (next - time)});
    }
  }
  while (nextPoint < points.size()) merged.push_back(points[nextPoint++].piece);
  return merged;
}

double amountWithin(const TimedAmount& piece, double from, double to) {
  if (piece.end == piece.start) {
    return piece.start >= from && piece.start < to ? piece.amount : 0.0;
  }
  const double overlap = std::min(piece.end, to) - std::max(piece.start, from);
  if (overlap <= 0) return 0.0;
  return piece.amount * (overlap / (piece.end - piece.start));
}

}  // namespace platform::healthkit
