#include "support/allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

// Seen inlined, these operators look to the compiler like new matched with free.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif

namespace {

std::atomic<std::uint64_t> allocations = 0;

struct Failing {
    std::size_t bytes = 0;
    torval::Refusal refusal = torval::Refusal::Throws;
};
thread_local Failing failing;

void* Allocate(std::size_t size, torval::Refusal refusal) noexcept {
    allocations.fetch_add(1, std::memory_order_relaxed);
    if (size != 0 && size == failing.bytes && refusal == failing.refusal) return nullptr;
    return std::malloc(size == 0 ? 1 : size);
}

void* AllocateOrThrow(std::size_t size) {
    void* const memory = Allocate(size, torval::Refusal::Throws);
    if (!memory) throw std::bad_alloc();
    return memory;
}

void* AllocateOrNull(std::size_t size) noexcept { return Allocate(size, torval::Refusal::IsNull); }

}  // namespace

void* operator new(std::size_t size) { return AllocateOrThrow(size); }
void* operator new[](std::size_t size) { return AllocateOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return AllocateOrNull(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return AllocateOrNull(size);
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }

namespace torval {

std::uint64_t AllocationCount() { return allocations.load(); }

FailingAllocation::FailingAllocation(std::size_t bytes, Refusal refusal) {
    failing = {bytes, refusal};
}

FailingAllocation::~FailingAllocation() { failing = {}; }

}  // namespace torval
