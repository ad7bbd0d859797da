#pragma once

// PackedMetadata: an object's metadata as HKObject keeps it. Each key is a pointer to one
// process-wide copy of that key, and the entries sit in one array, so an object's metadata costs
// its values and little more; a health export holds millions of objects whose metadata repeats
// the same few keys. HKObject::metadata() turns it back into the NSDictionary it was made from.
//
// Immutable after construction; thread-safe (the key pool has its own lock). Keys live as long
// as the process.

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "Foundation/NSAny.h"
#include "Foundation/NSDictionary.h"

namespace platform::healthkit {

class PackedMetadata {
 public:
  explicit PackedMetadata(const NSDictionary& dictionary);

  // A new dictionary with the same entries.
  std::shared_ptr<const NSDictionary> dictionary() const;

  // For sharing one copy between objects (SharedParts): `isSame` holds only for entries a reader
  // cannot tell apart: the same keys, values of the same kind and boxing (YES, 1 and 1.0 differ)
  // with the same strings, bits and instants, and the very same objects.
  std::size_t hash() const;
  bool isSame(const PackedMetadata& other) const;

 private:
  struct Entry {
    const std::string* key;  // into the process-wide pool of keys
    NSAny value;
  };
  std::vector<Entry> entries_;  // in the dictionary's (key) order
};

}  // namespace platform::healthkit
