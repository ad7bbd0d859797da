#include "tools/OstrandTools/Bench/BenchPersonSources.h"

#include <algorithm>

namespace ostrand_tools {

namespace {

std::string source(const std::string& name, const std::string& version, const std::string& device) {
  std::string text = "sourceName=\"" + name + "\" sourceVersion=\"" + version + "\"";
  if (!device.empty()) {
    text += " device=\"&lt;&lt;HKDevice: 0x&gt;, " + device + "&gt;\"";
  }
  return text;
}

}  // namespace

BenchPersonSources::BenchPersonSources(int years)
    : scale_(source("Body Scale", "5.4.1",
                    "name:Body Scale, manufacturer:Scales Co., model:S2, firmware:1.12")),
      foodDiary_(source("Food Diary", "2024.3", "")),
      glucoseSensor_(source("Glucose Sensor", "1.8.2",
                            "name:CGM, manufacturer:Sensor Labs, model:G2, software:1.4")),
      cuff_(source("Blood Pressure", "2.0", "")) {
  for (int year = 0; year < std::max(years, 1); ++year) {
    const std::string phone = std::to_string(14 + year) + ".4";
    const std::string watch = std::to_string(7 + year) + ".3";
    phone_.push_back(source("Anna&#8217;s iPhone", phone,
                            "name:iPhone, manufacturer:Apple Inc., model:iPhone, "
                            "hardware:iPhone13,2, software:" +
                                phone));
    watch_.push_back(source("Anna&#8217;s Apple&#160;Watch", watch,
                            "name:Apple Watch, manufacturer:Apple Inc., model:Watch, "
                            "hardware:Watch6,1, software:" +
                                watch));
    headphones_.push_back(source("Anna&#8217;s iPhone", phone,
                                 "name:AirPods, manufacturer:Apple Inc., model:0x2002, "
                                 "localIdentifier:00:00:00:00:00:00-aaaa"));
  }
}

std::size_t BenchPersonSources::index(int year) const {
  return static_cast<std::size_t>(std::clamp(year, 0, static_cast<int>(phone_.size()) - 1));
}

}  // namespace ostrand_tools
