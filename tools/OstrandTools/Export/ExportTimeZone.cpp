#include "tools/OstrandTools/Export/ExportTimeZone.h"

#include <algorithm>
#include <cstdio>
#include <utility>
#include <vector>

namespace ostrand_tools {

namespace {

struct WrittenDate {
  NSDate date;
  int offset;
};

// The dates that tell zones apart: the first and last of the export, and the two on either side
// of every change of offset. A zone that agrees with these agrees with the rest, unless its
// rules changed in a stretch where the offsets did not.
std::vector<WrittenDate> telling(const AppleHealthExportSummary& summary) {
  std::vector<WrittenDate> all;
  for (const auto& [offset, dates] : summary.writtenOffsets) {
    for (const auto& date : dates) all.push_back({date, offset});
  }
  std::sort(all.begin(), all.end(),
            [](const WrittenDate& a, const WrittenDate& b) { return a.date < b.date; });
  std::vector<WrittenDate> kept;
  for (std::size_t i = 0; i < all.size(); ++i) {
    const bool edge = i == 0 || i + 1 == all.size() || all[i - 1].offset != all[i].offset ||
                      all[i + 1].offset != all[i].offset;
    if (edge) kept.push_back(all[i]);
  }
  return kept;
}

std::size_t agreements(const NSTimeZone& zone, const std::vector<WrittenDate>& dates) {
  std::size_t agreed = 0;
  for (const auto& written : dates)
    agreed += zone.secondsFromGMTForDate(written.date) == written.offset;
  return agreed;
}

std::string offsetText(int seconds) {
  char text[16];
  const int magnitude = seconds < 0 ? -seconds : seconds;
  std::snprintf(text, sizeof text, "%c%02d%02d", seconds < 0 ? '-' : '+', magnitude / 3600,
                magnitude % 3600 / 60);
  return text;
}

ChosenTimeZone fromMetadata(const AppleHealthExportSummary& summary,
                            const std::vector<WrittenDate>& dates) {
  ChosenTimeZone best;
  std::size_t bestAgreed = 0;
  std::size_t bestCount = 0;
  for (const auto& [name, count] : summary.timeZoneNames) {
    auto zone = NSTimeZone::timeZoneWithName(name);
    if (!zone) continue;
    const std::size_t agreed = agreements(*zone, dates);
    if (best.zone && (agreed < bestAgreed || (agreed == bestAgreed && count <= bestCount))) {
      continue;
    }
    best = {zone, "from the export's HKTimeZone metadata", {}};
    bestAgreed = agreed;
    bestCount = count;
  }
  return best;
}

ChosenTimeZone fromOffsets(const AppleHealthExportSummary& summary,
                           const std::vector<WrittenDate>& dates) {
  if (summary.writtenOffsets.size() == 1) {
    const int offset = summary.writtenOffsets.begin()->first;
    return {NSTimeZone::timeZoneForSecondsFromGMT(offset),
            "a fixed offset: every date in the export was written with " + offsetText(offset),
            {}};
  }
  for (const auto& name : NSTimeZone::knownTimeZoneNames()) {
    auto zone = NSTimeZone::timeZoneWithName(name);
    if (zone && agreements(*zone, dates) == dates.size()) {
      return {zone, "the first zone whose offsets agree with every date in the export", {}};
    }
  }
  return {};
}

}  // namespace

ChosenTimeZone timeZoneNamed(const std::string& name, const std::string& source) {
  if (auto zone = NSTimeZone::timeZoneWithName(name)) return {zone, source, {}};
  return {nullptr,
          {},
          "unknown time zone '" + name + "' (" + source +
              "); use a name such as "
              "Europe/Berlin or America/New_York"};
}

ChosenTimeZone chooseExportTimeZone(const AppleHealthExportSummary& summary,
                                    const std::string& option,
                                    const std::optional<std::string>& processSetting) {
  if (!option.empty()) return timeZoneNamed(option, "from --time-zone");
  if (processSetting) return timeZoneNamed(*processSetting, "from TZ");
  const auto dates = telling(summary);
  if (auto chosen = fromMetadata(summary, dates); chosen.zone) return chosen;
  if (auto chosen = fromOffsets(summary, dates); chosen.zone) return chosen;
  return {NSTimeZone::systemTimeZone(), "the machine's: the export shows no zone", {}};
}

}  // namespace ostrand_tools
