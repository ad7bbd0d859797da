#pragma once

// NSDictionary: an immutable map from string keys to values, ordered by key.
//
// Used for sample metadata, notification user info, error user info and the engine's summaries.
// valueForKey() answers the entry (nil when missing, never an exception), so key paths walk
// through dictionaries: "metadata.HKWasUserEntered". Immutable, so thread-safe to share.
//
//   auto info = NSDictionary::dictionaryWithDictionary({{"count", 3}, {"type", "steps"}});
//   info->objectForKey("count").integerValue();  // 3

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Foundation/NSObject.h"

class NSDictionary : public NSObject {
 public:
  using Storage = std::map<std::string, NSAny>;
  using const_iterator = Storage::const_iterator;

  NSDictionary() = default;
  explicit NSDictionary(Storage entries) : entries_(std::move(entries)) {}

  static std::shared_ptr<const NSDictionary> dictionary();
  static std::shared_ptr<const NSDictionary> dictionaryWithDictionary(Storage entries);

  // The entry for the key, nil when there is none.
  NSAny objectForKey(const std::string& key) const;
  std::size_t count() const { return entries_.size(); }
  // In key order.
  std::vector<std::string> allKeys() const;
  const Storage& entries() const { return entries_; }
  const_iterator begin() const { return entries_.begin(); }
  const_iterator end() const { return entries_.end(); }

  NSAny valueForKey(const std::string& key) const override { return objectForKey(key); }
  // Equal when both hold the same keys with equal values.
  bool isEqual(const NSObject& other) const override;
  std::size_t hash() const override { return entries_.size(); }
  // "{a = 1; b = x;}"
  std::string description() const override;
  std::string className() const override { return "NSDictionary"; }

 private:
  Storage entries_;
};
