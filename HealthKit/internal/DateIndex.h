#pragma once

// DateIndex: a type's stored objects and deletions ordered by start date (then anchor), for the
// database's date-bounded reads (HealthDatabase gives it only those its rows do not already
// keep in start order). An entry holds the start and the anchor only; the caller finds the end
// where the anchor leads. Kept as a list of sorted runs of at most a few hundred entries rather
// than a tree: an entry costs its 16 bytes and little more, where a tree node would cost three
// times that, and saves in date order (the usual case) append to the last run. Insert and erase are
// O(log n + run length); a walk from a date is O(log n + what it visits).
//
// Not thread-safe: HealthDatabase guards it with its own lock.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace platform::healthkit {

class DateIndex {
 public:
  struct Entry {
    double start = 0;
    std::uint64_t anchor = 0;
    bool operator<(const Entry& other) const {
      return start != other.start ? start < other.start : anchor < other.anchor;
    }
  };

  void insert(const Entry& entry);
  // Removes the entry with the same start and anchor; it must be there.
  void erase(const Entry& entry);

  // Calls visit(entry) for every entry with from <= start <= to, in order.
  template <class Visit>
  void forEachStartingWithin(double from, double to, Visit visit) const {
    auto run = std::lower_bound(runs_.begin(), runs_.end(), from, [](const Run& one, double value) {
      return one.back().start < value;
    });
    for (; run != runs_.end(); ++run) {
      auto entry =
          std::lower_bound(run->begin(), run->end(), from,
                           [](const Entry& one, double value) { return one.start < value; });
      for (; entry != run->end(); ++entry) {
        if (entry->start > to) return;
        visit(*entry);
      }
    }
  }

 private:
  using Run = std::vector<Entry>;  // sorted, never empty
  static constexpr std::size_t kLongestRun = 512;

  // The run that holds, or would hold, the entry.
  std::vector<Run>::iterator runFor(const Entry& entry);

  std::vector<Run> runs_;  // each run's entries all come before the next run's
};

}  // namespace platform::healthkit
