#pragma once

#include <cstddef>

// Which allocation from now on fails, once; 0: none.
extern std::size_t failingAllocation;
