// Counts what a thread takes from the C library's memory. The program's own definitions of these functions
// come before the C library's, for every library that it loads as well; they count and pass the call on.
#include "bench/support.h"

#include <cerrno>
#include <cstddef>

// The C library's own functions, under the names that it keeps for this purpose.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}

namespace
{

thread_local int64_t count = 0;

} // namespace

extern "C" {

void* malloc(std::size_t size)
{
    ++count;
    return __libc_malloc(size);
}

void* calloc(std::size_t items, std::size_t size)
{
    ++count;
    return __libc_calloc(items, size);
}

void* realloc(void* block, std::size_t size)
{
    ++count;
    return __libc_realloc(block, size);
}

void* memalign(std::size_t alignment, std::size_t size)
{
    ++count;
    return __libc_memalign(alignment, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size)
{
    return memalign(alignment, size);
}

int posix_memalign(void** block, std::size_t alignment, std::size_t size)
{
    void* const taken = memalign(alignment, size);
    if (!taken)
        return ENOMEM;
    *block = taken;
    return 0;
}
}

int64_t bench_allocations()
{
    return count;
}
