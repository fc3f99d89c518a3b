// The allocation calls of the portability layer.
// For a size of 0 the C library may return null or a pointer, and realloc() may free the block.
// Here a size of 0 counts as 1. Callers can therefore take null as "no memory" without a look at the size.
#include <kiv/foundation/OS.h>

#include <algorithm>
#include <cstdlib>

namespace {

constexpr size_t atLeastOne(size_t size) { return std::max<size_t>(size, 1); }

} // namespace

void* OS_malloc(size_t size) { return std::malloc(atLeastOne(size)); }

void* OS_calloc(size_t count, size_t size) { return std::calloc(atLeastOne(count), atLeastOne(size)); }

void* OS_realloc(void* pointer, size_t size) { return std::realloc(pointer, atLeastOne(size)); }

void OS_free(void* pointer)
{
    if (pointer != nullptr)
        std::free(pointer);
}
