// The allocation calls of the portability layer: success is always a usable pointer, also for a size of 0.
#include <kiv/foundation/OS.h>

#include <algorithm>
#include <cstdlib>

namespace {

constexpr size_t atLeastOne(size_t size)
{
    return std::max<size_t>(size, 1);
}

} // namespace

void* OS_malloc(size_t size)
{
    return std::malloc(atLeastOne(size));
}

void* OS_calloc(size_t count, size_t size)
{
    return std::calloc(atLeastOne(count), atLeastOne(size));
}

void* OS_realloc(void* pointer, size_t size)
{
    return std::realloc(pointer, atLeastOne(size));
}

void OS_free(void* pointer)
{
    if (pointer != nullptr)
        std::free(pointer);
}
