// Every use of operator new in the test program: counted, and made to fail where a test wants it.
//
// Thread   the count is everybody's, what fails is the calling thread's.
#pragma once

#include <cstddef>
#include <cstdint>

namespace torval {

/// Since the program started.
std::uint64_t AllocationCount();

/// How operator new tells that there is no memory.
enum class Refusal { Throws, IsNull };

/// While it lives, memory of exactly so many bytes cannot be had on this thread by that operator;
/// with 0 bytes all can.
class FailingAllocation {
public:
    explicit FailingAllocation(std::size_t bytes, Refusal refusal);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
};

}  // namespace torval
