#include "Foundation/NSDictionary.h"

std::shared_ptr<const NSDictionary> NSDictionary::dictionary() {
  return std::make_shared<const NSDictionary>();
}

std::shared_ptr<const NSDictionary> NSDictionary::dictionaryWithDictionary(Storage entries) {
  return std::make_shared<const NSDictionary>(std::move(entries));
}

NSAny NSDictionary::objectForKey(const std::string& key) const {
  auto found = entries_.find(key);
  return found == entries_.end() ? NSAny() : found->second;
}

std::vector<std::string> NSDictionary::allKeys() const {
  std::vector<std::string> keys;
  keys.reserve(entries_.size());
  for (const auto& [key, value] : entries_) keys.push_back(key);
  return keys;
}

bool NSDictionary::isEqual(const NSObject& other) const {
  const auto* dictionary = dynamic_cast<const NSDictionary*>(&other);
  if (!dictionary || dictionary->entries_.size() != entries_.size()) return false;
  auto theirs = dictionary->entries_.begin();
  for (const auto& [key, value] : entries_) {
    if (theirs->first != key || !theirs->second.isEqual(value)) return false;
    ++theirs;
  }
  return true;
}

std::string NSDictionary::description() const {
  std::string text = "{";
  for (const auto& [key, value] : entries_) {
    if (text.size() > 1) text += ' ';
    text += key + " = " + value.description() + ";";
  }
  return text + "}";
}
