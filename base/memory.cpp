// Memory blocks. Every block begins on a 64-byte boundary of a somewhat larger piece of memory that an
// allocator gave. A small record right before the block says where that piece starts and how to give it
// back, so that a block returns to its own allocator whichever is installed by then.
//
// The allocator is read and replaced without a lock: a child of a fork would find a lock as some thread of
// its parent held it, and no thread to release it.
#include <qbase/memory.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <thread>

namespace
{

struct allocatorRecord {
    qsys_memory_allocFunction alloc; // null: malloc and free
    qsys_memory_freeFunction release;
    void* context;
};

struct blockHeader {
    qsys_memory_freeFunction release;
    void* context;
    void* piece;
};

constexpr size_t alignment = 64;
// A piece may start anywhere, so the header and up to alignment - 1 bytes precede the block.
constexpr size_t overhead = sizeof(blockHeader) + alignment - 1;

// A place where an allocator is written down before it is installed. The fields are stored with release and
// loaded with acquire, so that who sees a field of a later allocator sees that `installed` has moved on.
struct allocatorPlace {
    std::atomic<bool> taken; // by the installed allocator, or by a thread that is about to install one
    std::atomic<qsys_memory_allocFunction> alloc;
    std::atomic<qsys_memory_freeFunction> release;
    std::atomic<void*> context;
};

// A thread that a fork leaves behind while it installs an allocator costs the child one place.
constexpr uint64_t placeCount = 64;

// All of it is usable before the first constructor and after the last destructor of the process. The
// installed allocator stands at places[installed % placeCount]; no two installations have the same number.
constinit std::atomic<uint64_t> installed = 0;
constinit allocatorPlace places[placeCount] = {{true, nullptr, nullptr, nullptr}};
static_assert(std::atomic<uint64_t>::is_always_lock_free && std::atomic<void*>::is_always_lock_free);

allocatorRecord currentAllocator()
{
    for (;;) {
        const uint64_t number = installed.load();
        const allocatorPlace& place = places[number % placeCount];
        const allocatorRecord record = {place.alloc.load(std::memory_order_acquire),
                                        place.release.load(std::memory_order_acquire),
                                        place.context.load(std::memory_order_acquire)};
        // The place may have been given away and written anew meanwhile.
        if (installed.load() == number)
            return record;
    }
}

uint64_t takePlace()
{
    for (uint64_t index = 0;; index = (index + 1) % placeCount) {
        if (!places[index].taken.exchange(true))
            return index;
        if (index == placeCount - 1)
            std::this_thread::yield();
    }
}

void install(const allocatorRecord& record)
{
    const uint64_t index = takePlace();
    places[index].alloc.store(record.alloc, std::memory_order_release);
    places[index].release.store(record.release, std::memory_order_release);
    places[index].context.store(record.context, std::memory_order_release);
    uint64_t before = installed.load();
    while (!installed.compare_exchange_weak(before, (before / placeCount + 1) * placeCount + index))
        continue;
    places[before % placeCount].taken.store(false);
}

void freePiece(void*, void* piece)
{
    std::free(piece);
}

qsys_status takeBlock(int64_t size, bool clear, void** block)
{
    if (!block)
        return QSYS_E_ARGUMENT;
    *block = nullptr;
    if (size < 0 || size > int64_t{PTRDIFF_MAX} - int64_t{overhead})
        return QSYS_E_RANGE;

    const allocatorRecord allocator = currentAllocator();
    const size_t pieceSize = static_cast<size_t>(size) + overhead;
    void* piece = nullptr;
    if (allocator.alloc)
        piece = allocator.alloc(allocator.context, pieceSize);
    else
        // calloc hands out fresh pages without touching them, which a fill of a large image would.
        piece = clear ? std::calloc(1, pieceSize) : std::malloc(pieceSize);
    if (!piece)
        return QSYS_E_MEMORY;

    const uintptr_t address = reinterpret_cast<uintptr_t>(piece);
    const uintptr_t start = (address + overhead) / alignment * alignment;
    char* const bytes = static_cast<char*>(piece) + (start - address);
    const blockHeader header = {allocator.alloc ? allocator.release : freePiece, allocator.context, piece};
    std::memcpy(bytes - sizeof header, &header, sizeof header);
    if (clear && allocator.alloc)
        std::memset(bytes, 0, static_cast<size_t>(size));
    *block = bytes;
    return QSYS_OK;
}

} // namespace

qsys_status qsys_memory_alloc_internal(int64_t size, void** block)
{
    return takeBlock(size, false, block);
}

qsys_status qsys_memory_allocClear_internal(int64_t size, void** block)
{
    return takeBlock(size, true, block);
}

qsys_status qsys_memory_alloc64_internal(int64_t size, void** block)
{
    return takeBlock(size, false, block);
}

qsys_status qsys_memory_free_internal(void** block)
{
    if (!block)
        return QSYS_E_ARGUMENT;
    if (!*block)
        return QSYS_OK;
    blockHeader header;
    std::memcpy(&header, static_cast<char*>(*block) - sizeof header, sizeof header);
    *block = nullptr;
    header.release(header.context, header.piece);
    return QSYS_OK;
}

qsys_status qsys_memory_copy(const void* source, void* destination, int64_t size)
{
    if (size < 0)
        return QSYS_E_RANGE;
    if (size == 0)
        return QSYS_OK;
    if (!source || !destination)
        return QSYS_E_ARGUMENT;
    std::memcpy(destination, source, static_cast<size_t>(size));
    return QSYS_OK;
}

qsys_status qsys_memory_fill(void* destination, int64_t size, int32_t value)
{
    if (size < 0)
        return QSYS_E_RANGE;
    if (size == 0)
        return QSYS_OK;
    if (!destination)
        return QSYS_E_ARGUMENT;
    std::memset(destination, value, static_cast<size_t>(size));
    return QSYS_OK;
}

qsys_status qsys_memory_copyRect(int64_t widthBytes, int64_t rows, int64_t sourceStride,
                                 int64_t destinationStride, const void* source, void* destination)
{
    if (widthBytes <= 0 || rows <= 0)
        return QSYS_OK;
    if (!source || !destination)
        return QSYS_E_ARGUMENT;
    const char* from = static_cast<const char*>(source);
    char* to = static_cast<char*>(destination);
    std::memcpy(to, from, static_cast<size_t>(widthBytes));
    // Stepping, not multiplying: no product can overflow, and no address behind the last row is formed.
    for (int64_t y = 1; y < rows; ++y) {
        from += sourceStride;
        to += destinationStride;
        std::memcpy(to, from, static_cast<size_t>(widthBytes));
    }
    return QSYS_OK;
}

qsys_status qsys_memory_setAllocator(qsys_memory_allocFunction alloc, qsys_memory_freeFunction release,
                                     void* context)
{
    if (!alloc != !release)
        return QSYS_E_ARGUMENT;
    install({alloc, release, context});
    return QSYS_OK;
}

void* qxfMalloc(int64_t size)
{
    void* block = nullptr;
    takeBlock(size, false, &block);
    return block;
}

void qxfFree(void* block)
{
    qsys_memory_free_internal(&block);
}
