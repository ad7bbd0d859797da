#include "tools/OstrandTools/Bench/BenchExportWriter.h"

#include <cmath>
#include <cstdio>
#include <memory>

#include "Foundation/NSCalendar.h"
#include "Foundation/NSTimeZone.h"

namespace ostrand_tools {

namespace {

constexpr double kFirstDay = 1451602800;  // 2016-01-01 00:00 in Berlin
constexpr char kZone[] = "Europe/Berlin";
constexpr char kPhone[] =
    "sourceName=\"Anna&#8217;s iPhone\" sourceVersion=\"17.2\" device=\"&lt;&lt;HKDevice: 0x, "
    "name:iPhone, manufacturer:Apple Inc., model:iPhone, hardware:iPhone15,2, software:17.2&gt;\"";
constexpr char kWatch[] =
    "sourceName=\"Anna&#8217;s Apple Watch\" sourceVersion=\"10.2\" device=\"&lt;&lt;HKDevice: "
    "0x, name:Apple Watch, manufacturer:Apple Inc., model:Watch, hardware:Watch6,1, "
    "software:10.2&gt;\"";
constexpr char kScale[] = "sourceName=\"Scale\" sourceVersion=\"3.1\"";
constexpr char kCuff[] = "sourceName=\"Blood Pressure\" sourceVersion=\"2.0\"";

class ExportFile {
 public:
  explicit ExportFile(const std::string& path)
      : file_(std::fopen(path.c_str(), "w"), &std::fclose) {
    if (file_) std::setvbuf(file_.get(), nullptr, _IOFBF, 1 << 20);
    calendar_->setTimeZone(NSTimeZone::timeZoneWithName(kZone));
  }
  bool ok() const { return file_ && !std::ferror(file_.get()); }
  std::uint64_t bytes() const {
    return file_ ? static_cast<std::uint64_t>(std::ftell(file_.get())) : 0;
  }
  std::uint64_t objects() const { return objects_; }

  template <class... Args>
  void print(const char* format, Args... args) {
    std::fprintf(file_.get(), format, args...);
  }
  // "2016-03-27 03:10:00 +0200": the moment in Berlin, with its offset.
  const char* date(double unixSeconds, char (&text)[64]) const {
    const NSDate moment = NSDate::dateWithTimeIntervalSince1970(unixSeconds);
    const auto c =
        calendar_->components(NSCalendarUnitYear | NSCalendarUnitMonth | NSCalendarUnitDay |
                                  NSCalendarUnitHour | NSCalendarUnitMinute | NSCalendarUnitSecond,
                              moment);
    const long offset = calendar_->timeZone()->secondsFromGMTForDate(moment);
    std::snprintf(text, sizeof text, "%04ld-%02ld-%02ld %02ld:%02ld:%02ld +%02ld00", c.year(),
                  c.month(), c.day(), c.hour(), c.minute(), c.second(), offset / 3600);
    return text;
  }
  // One top-level <Record>; `inner` goes between its tags (nullptr: an empty element).
  void record(const char* type, const char* source, const char* unit, double value, double start,
              double end, const char* inner = nullptr) {
    char from[64], to[64], made[64];
    print(
        " <Record type=\"%s\" %s unit=\"%s\" creationDate=\"%s\" startDate=\"%s\" "
        "endDate=\"%s\" value=\"%g\"",
        type, source, unit, date(end + 60, made), date(start, from), date(end, to), value);
    if (inner == nullptr) {
      print("/>\n");
    } else {
      print(">\n%s </Record>\n", inner);
    }
    ++objects_;
  }
  void counted() { ++objects_; }

 private:
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_;
  std::shared_ptr<NSCalendar> calendar_ =
      NSCalendar::calendarWithIdentifier(NSCalendarIdentifierGregorian);
  std::uint64_t objects_ = 0;
};

constexpr char kZoneEntry[] = "  <MetadataEntry key=\"HKTimeZone\" value=\"Europe/Berlin\"/>\n";
constexpr char kResting[] =
    "  <MetadataEntry key=\"HKMetadataKeyHeartRateMotionContext\" value=\"1\"/>\n";

// A pseudo-random but fixed value in [0, 1) for (day, slot).
double noise(int day, int slot) {
  std::uint32_t x =
      static_cast<std::uint32_t>(day) * 2654435761u ^ static_cast<std::uint32_t>(slot) * 40503u;
  x ^= x >> 13;
  x *= 0x5bd1e995u;
  x ^= x >> 15;
  return (x % 10000) / 10000.0;
}

void writeActivity(ExportFile& file, int day, double midnight) {
  for (int slot = 7 * 6; slot < 23 * 6; ++slot) {
    const double start = midnight + slot * 600.0, end = start + 540;
    const double steps = std::floor(40 + 400 * noise(day, slot));
    file.record("HKQuantityTypeIdentifierStepCount", kPhone, "count", steps, start, end,
                kZoneEntry);
    file.record("HKQuantityTypeIdentifierStepCount", kWatch, "count", steps + 7, start, end);
    file.record("HKQuantityTypeIdentifierDistanceWalkingRunning", kPhone, "km", steps * 0.00072,
                start, end, kZoneEntry);
    file.record("HKQuantityTypeIdentifierActiveEnergyBurned", kWatch, "Cal", steps * 0.041, start,
                end);
  }
  for (int slot = 0; slot < 24 * 12; ++slot) {
    const double at = midnight + slot * 300.0;
    file.record("HKQuantityTypeIdentifierHeartRate", kWatch, "count/min",
                std::floor(55 + 50 * noise(day, slot + 1000)), at, at,
                slot % 4 == 0 ? kResting : nullptr);
  }
  for (int hour = 0; hour < 24; ++hour) {
    file.record("HKQuantityTypeIdentifierBasalEnergyBurned", kWatch, "Cal", 68.5,
                midnight + hour * 3600.0, midnight + hour * 3600.0 + 3599);
  }
}

void writeWorkout(ExportFile& file, double midnight) {
  char from[64], to[64], made[64], pause[64], resume[64];
  const double start = midnight + 18 * 3600.0, end = start + 2400;
  file.print(
      " <Workout workoutActivityType=\"HKWorkoutActivityTypeRunning\" duration=\"40\" "
      "durationUnit=\"min\" totalDistance=\"6.2\" totalDistanceUnit=\"km\" "
      "totalEnergyBurned=\"410\" totalEnergyBurnedUnit=\"Cal\" %s creationDate=\"%s\" "
      "startDate=\"%s\" endDate=\"%s\">\n"
      "  <MetadataEntry key=\"HKIndoorWorkout\" value=\"0\"/>\n"
      "  <WorkoutEvent type=\"HKWorkoutEventTypePause\" date=\"%s\"/>\n"
      "  <WorkoutEvent type=\"HKWorkoutEventTypeResume\" date=\"%s\"/>\n"
      " </Workout>\n",
      kWatch, file.date(end + 60, made), file.date(start, from), file.date(end, to),
      file.date(start + 1200, pause), file.date(start + 1260, resume));
  file.counted();
}

void writeBloodPressure(ExportFile& file, int day, double midnight) {
  char at[64];
  const double moment = midnight + 21.5 * 3600;
  const double systolic = std::floor(115 + 20 * noise(day, 7)),
               diastolic = std::floor(70 + 15 * noise(day, 8));
  file.date(moment, at);
  file.print(
      " <Correlation type=\"HKCorrelationTypeIdentifierBloodPressure\" %s creationDate=\"%s\" "
      "startDate=\"%s\" endDate=\"%s\">\n",
      kCuff, at, at, at);
  for (const auto& [type, value] :
       {std::pair{"HKQuantityTypeIdentifierBloodPressureSystolic", systolic},
        std::pair{"HKQuantityTypeIdentifierBloodPressureDiastolic", diastolic}}) {
    file.print(
        "  <Record type=\"%s\" %s unit=\"mmHg\" creationDate=\"%s\" startDate=\"%s\" "
        "endDate=\"%s\" value=\"%g\"/>\n",
        type, kCuff, at, at, at, value);
  }
  file.print(" </Correlation>\n");
  file.counted();
}

void writeDay(ExportFile& file, int day, double midnight) {
  writeActivity(file, day, midnight);
  file.record("HKCategoryTypeIdentifierSleepAnalysis", kWatch, "", 1, midnight - 1.5 * 3600,
              midnight + 6.5 * 3600);
  file.record("HKQuantityTypeIdentifierBodyMass", kScale, "kg", 68 + 3 * noise(day, 9),
              midnight + 7.25 * 3600, midnight + 7.25 * 3600);
  if (day % 2 == 0) writeWorkout(file, midnight);
  if (day % 7 == 3) writeBloodPressure(file, day, midnight);
}

}  // namespace

std::optional<BenchExportWriter::Written> BenchExportWriter::write(const std::string& path,
                                                                   std::uint64_t bytes) {
  return write(path, [bytes](std::uint64_t written, int) { return written < bytes; });
}

std::optional<BenchExportWriter::Written> BenchExportWriter::writeDays(const std::string& path,
                                                                       int days) {
  return write(path, [days](std::uint64_t, int written) { return written < days; });
}

std::optional<BenchExportWriter::Written> BenchExportWriter::write(
    const std::string& path, const std::function<bool(std::uint64_t, int)>& more) {
  ExportFile file(path);
  if (!file.ok()) return std::nullopt;
  file.print("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<HealthData locale=\"en_DE\">\n");
  const auto calendar = NSCalendar::calendarWithIdentifier(NSCalendarIdentifierGregorian);
  calendar->setTimeZone(NSTimeZone::timeZoneWithName(kZone));
  NSDate midnight = NSDate::dateWithTimeIntervalSince1970(kFirstDay);
  int day = 0;
  for (; file.ok() && more(file.bytes(), day); ++day) {
    writeDay(file, day, midnight.timeIntervalSince1970());
    midnight = *calendar->dateByAddingUnit(NSCalendarUnitDay, 1, midnight, NSCalendarOptions{});
  }
  char exported[64];
  file.print(" <ExportDate value=\"%s\"/>\n</HealthData>\n",
             file.date(midnight.timeIntervalSince1970() + 12 * 3600, exported));
  if (!file.ok()) return std::nullopt;
  return Written{file.bytes(), file.objects(), day};
}

}  // namespace ostrand_tools
