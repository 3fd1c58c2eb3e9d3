// Every use of operator new in the test program: counted, and made to fail where a test wants that.
//
// Thread   the count is for all threads, failures are for the calling thread.
#pragma once

#include <cstddef>
#include <cstdint>

namespace torval {

/// Since the program started.
std::uint64_t AllocationCount();

/// How operator new reports that there is no memory.
enum class Refusal { Throws, IsNull };

/// While it lives, allocations of exactly this many bytes fail on this thread with that operator;
/// with 0 bytes none fail.
class FailingAllocation {
public:
    explicit FailingAllocation(std::size_t bytes, Refusal refusal);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
};

}  // namespace torval
