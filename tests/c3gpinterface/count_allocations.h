// Counts operator new in the test that is linked with count_allocations.cpp.
#pragma once

namespace qlip_test {

extern unsigned long allocations;

}  // namespace qlip_test
