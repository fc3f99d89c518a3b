// The eventfd of Linux: a counter in the kernel that can be waited for. Both operations ignore their results. A counter
// that is full is readable, and one that is empty is not: nothing is left to do.
#include <kiv/session/detail/EventDescriptor.h>

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

namespace kiv {

EventDescriptor::EventDescriptor() : descriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

EventDescriptor::~EventDescriptor()
{
    if (descriptor >= 0)
        ::close(descriptor);
}

void EventDescriptor::raise(int descriptor) noexcept
{
    const int error = errno;
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(descriptor, &one, sizeof one);
    errno = error;
}

void EventDescriptor::lower() const noexcept
{
    std::uint64_t count = 0;
    [[maybe_unused]] const auto taken = ::read(descriptor, &count, sizeof count);
}

} // namespace kiv
