#include "tests/host/Allocations.h"

#include <cstdlib>
#include <new>

std::size_t failingAllocation = 0;

void* operator new(std::size_t size) {
  void* const memory = failingAllocation != 0 && --failingAllocation == 0 ? nullptr : std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void* operator new(std::size_t size, std::nothrow_t const& /*tag*/) noexcept { return std::malloc(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }
