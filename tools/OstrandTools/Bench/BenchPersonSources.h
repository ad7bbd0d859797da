#pragma once

// BenchPersonSources: the apps and devices that write the generated person's data, as the
// attributes of an export element (sourceName, sourceVersion, device): an iPhone and an Apple
// Watch whose software is updated every year, AirPods measured through the phone, a scale's
// app, a food diary, a glucose sensor's app and a blood pressure app.
//
// Immutable after construction; any thread.
//
//   BenchPersonSources sources(years);
//   out.text(sources.watch(day.year));

#include <string>
#include <string_view>
#include <vector>

namespace ostrand_tools {

class BenchPersonSources {
 public:
  // Sources for `years` years (later years keep the last year's versions).
  explicit BenchPersonSources(int years);

  std::string_view phone(int year) const { return phone_[index(year)]; }
  std::string_view watch(int year) const { return watch_[index(year)]; }
  std::string_view headphones(int year) const { return headphones_[index(year)]; }
  std::string_view scale() const { return scale_; }
  std::string_view foodDiary() const { return foodDiary_; }
  std::string_view glucoseSensor() const { return glucoseSensor_; }
  std::string_view cuff() const { return cuff_; }

 private:
  std::size_t index(int year) const;

  std::vector<std::string> phone_, watch_, headphones_;
  std::string scale_, foodDiary_, glucoseSensor_, cuff_;
};

}  // namespace ostrand_tools
