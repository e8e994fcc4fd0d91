#include "support/allocationcounter.h"

#include <cerrno>
#include <cstddef>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define VELA_SANITIZER_OWNS_THE_HEAP
#endif

namespace {

// A thread of its own, such as a device's, must not disturb who counts.
thread_local qint64 allocations = 0;

} // namespace

#ifdef VELA_SANITIZER_OWNS_THE_HEAP

// Not every compiler comes with the header that declares it.
extern "C" int __sanitizer_install_malloc_and_free_hooks(
    void (*onMalloc)(const volatile void* block, std::size_t size),
    void (*onFree)(const volatile void* block));

namespace {

void countAllocation(const volatile void* /*block*/, std::size_t /*size*/)
{
    ++allocations;
}

void ignoreRelease(const volatile void* /*block*/) {}

[[maybe_unused]] const int hooked =
    __sanitizer_install_malloc_and_free_hooks(countAllocation, ignoreRelease);

} // namespace

#else

// The program's symbols come before the C library's, for every library too. The
// names, of functions and parameters, are that library's.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-inconsistent-declaration-parameter-name)
extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);

void* malloc(std::size_t size)
{
    ++allocations;
    return __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size)
{
    ++allocations;
    return __libc_calloc(count, size);
}

void* realloc(void* block, std::size_t size)
{
    ++allocations;
    return __libc_realloc(block, size);
}

void* memalign(std::size_t alignment, std::size_t size)
{
    ++allocations;
    return __libc_memalign(alignment, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size)
{
    return memalign(alignment, size);
}

int posix_memalign(void** block, std::size_t alignment, std::size_t size)
{
    void* const memory = memalign(alignment, size);
    if (memory == nullptr)
        return ENOMEM;
    *block = memory;
    return 0;
}
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-inconsistent-declaration-parameter-name)

#endif

AllocationCounter::AllocationCounter()
    : m_before(allocations)
{
}

qint64 AllocationCounter::count() const
{
    return allocations - m_before;
}
