#include "AppleHealthExport/internal/ExportSources.h"

#include <cstdint>
#include <optional>
#include <regex>

#include "AppleHealthExport/internal/ContentUUID.h"
#include "AppleHealthExport/internal/ExportValues.h"

namespace apple_health_export {

namespace {

// Revisions kept at most; a hostile export naming more starts the collection afresh.
constexpr std::size_t kMaxRevisions = 4096;

// A name an Apple device gives itself ("Anna's iPhone", "Apple Watch", "Apple Watch").
bool looksLikeAppleDeviceName(std::string_view name) {
  static const std::regex kPattern("iPhone|iPad|iPod.+touch|Apple.+Watch",
                                   std::regex::icase | std::regex::optimize);
  return std::regex_search(name.begin(), name.end(), kPattern);
}

// A record of the system's own source: written by an Apple-made phone or watch whose software
// version is the source's version.
bool isAppleDeviceVersion(const ExportAttributes& attributes, const HKDevice* device) {
  return device != nullptr && device->manufacturer() == "Apple Inc." && device->softwareVersion() &&
         !attributes.value("sourceVersion").empty() &&
         *device->softwareVersion() == attributes.value("sourceVersion");
}

// "17.2.1" as an operating system version; what does not read as a number counts 0.
NSOperatingSystemVersion operatingSystemVersion(const std::string& text) {
  long parts[3] = {0, 0, 0};
  std::size_t at = 0;
  for (int i = 0; i < 3 && at < text.size(); ++i) {
    auto dot = text.find('.', at);
    auto number = parseExportNumber(text.substr(at, dot == std::string::npos ? dot : dot - at));
    parts[i] = number ? static_cast<long>(*number) : 0;
    at = dot == std::string::npos ? text.size() : dot + 1;
  }
  return NSOperatingSystemVersion{parts[0], parts[1], parts[2]};
}

// Appends `text` (or its absence) so that no two different sequences of fields read the same.
void appendField(std::string& key, std::optional<std::string_view> text) {
  const std::uint32_t size = text ? static_cast<std::uint32_t>(text->size()) + 1 : 0;
  key.append(reinterpret_cast<const char*>(&size), sizeof size);
  if (text) key.append(*text);
}

}  // namespace

HKSourceRevision::Pointer ExportSources::revisionFor(const ExportAttributes& attributes,
                                                     const HKDevice* device) {
  writeKey(attributes, device);
  if (auto known = revisions_.find(key_); known != revisions_.end()) return known->second;
  if (revisions_.size() >= kMaxRevisions) revisions_.clear();
  auto revision = makeRevision(attributes, device);
  revisions_.emplace(key_, revision);
  return revision;
}

void ExportSources::writeKey(const ExportAttributes& attributes, const HKDevice* device) {
  key_.clear();
  appendField(key_, attributes.value("sourceName"));
  appendField(key_, attributes.has("sourceVersion")
                        ? std::optional<std::string_view>(attributes.value("sourceVersion"))
                        : std::nullopt);
  if (device == nullptr) return;
  appendField(key_, device->hardwareVersion());
  appendField(key_, device->softwareVersion());
}

// Exports name sources but not their bundle identifiers, and the records' rules tell Apple's own
// sources by theirs: a workout from "com.apple.health.<device>" is the watch's, sleep from the
// Clock app is validated. So a source is given one when it is first seen and keeps it for the
// whole export (the same on every read): the Health app and the Clock app their real ones; a
// phone or watch recording for the Health app (its name says so, or its records carry an Apple
// device whose software version is the source's version, as only the system's own sources
// write) a device identifier under "com.apple.health."; any other app one that claims nothing.
const std::string& ExportSources::bundleFor(const ExportAttributes& attributes,
                                            const HKDevice* device) {
  const std::string_view name = attributes.value("sourceName");
  if (auto known = bundles_.find(name); known != bundles_.end()) return known->second;
  const std::string id = ContentUUID("source").add(name).uuid().UUIDString();
  std::string bundle = "export.app." + id;
  if (name == "Health") {
    bundle = "com.apple.Health";
  } else if (name == "Clock") {
    bundle = "com.apple.mobiletimer";
  } else if (looksLikeAppleDeviceName(name) || isAppleDeviceVersion(attributes, device)) {
    bundle = "com.apple.health." + id;
  }
  return bundles_.emplace(std::string(name), std::move(bundle)).first->second;
}

HKSourceRevision::Pointer ExportSources::makeRevision(const ExportAttributes& attributes,
                                                      const HKDevice* device) {
  const std::string name(attributes.value("sourceName"));
  const std::string bundle = bundleFor(attributes, device);
  std::optional<std::string> version;
  if (attributes.has("sourceVersion")) version = std::string(attributes.value("sourceVersion"));
  std::optional<std::string> productType;
  NSOperatingSystemVersion os{0, 0, 0};
  if (device != nullptr) {
    productType = device->hardwareVersion();
    if (device->softwareVersion()) os = operatingSystemVersion(*device->softwareVersion());
  }
  return HKSourceRevision::sourceRevisionWithSource(HKSource::sourceWithName(name, bundle), version,
                                                    productType, os);
}

}  // namespace apple_health_export
