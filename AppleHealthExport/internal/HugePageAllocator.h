#pragma once

// HugePageAllocator: a standard allocator for large tables read at random (UUIDSet). An
// allocation of 2 MiB or more is aligned to 2 MiB and, on Linux, marked for transparent huge
// pages, so lookups spread over a table of many megabytes miss the TLB far less; smaller ones
// come from operator new.
//
// Stateless; safe from any thread.
//
//   std::vector<Slot, HugePageAllocator<Slot>> slots(1 << 22);

#include <cstddef>
#include <cstdlib>
#include <new>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace apple_health_export {

template <class T>
class HugePageAllocator {
 public:
  using value_type = T;

  HugePageAllocator() = default;
  template <class U>
  explicit HugePageAllocator(const HugePageAllocator<U>&) {}

  T* allocate(std::size_t count) {
    const std::size_t bytes = count * sizeof(T);
    if (bytes < kHugePage) return static_cast<T*>(::operator new(bytes));
    const std::size_t rounded = (bytes + kHugePage - 1) / kHugePage * kHugePage;
    void* memory = std::aligned_alloc(kHugePage, rounded);
    if (memory == nullptr) throw std::bad_alloc();
#if defined(__linux__)
    madvise(memory, rounded, MADV_HUGEPAGE);  // a hint: without huge pages all still works
#endif
    return static_cast<T*>(memory);
  }

  void deallocate(T* memory, std::size_t count) {
    if (count * sizeof(T) < kHugePage) {
      ::operator delete(memory);
    } else {
      std::free(memory);
    }
  }

  template <class U>
  bool operator==(const HugePageAllocator<U>&) const {
    return true;
  }

 private:
  static constexpr std::size_t kHugePage = std::size_t{2} << 20;
};

}  // namespace apple_health_export
