// The random part needs no secrecy and no quality. It must differ between machines and between objects: the clock, the
// process and the address of the object do that.
#include <kiv/session/detail/Backoff.h>

#include <unistd.h>

#include <algorithm>

namespace kiv {

Backoff::Backoff()
    : random(static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count()) ^
             (static_cast<std::uint64_t>(getpid()) << 32) ^ reinterpret_cast<std::uintptr_t>(this) ^ 1)
{}

void Backoff::setRange(Duration first, Duration longest)
{
    constexpr Duration shortest = std::chrono::milliseconds(1); // without a pause the loop would spin
    constexpr Duration aDay = std::chrono::hours(24);
    least = std::clamp(first, shortest, aDay);
    most = std::clamp(longest, least, aDay);
    next = least;
}

Backoff::Duration Backoff::pause()
{
    const Duration whole = next;
    next = std::min(whole * 2, most);
    // A step of a linear congruential generator; its high bits are the good ones.
    random = random * 6364136223846793005U + 1442695040888963407U;
    const auto half = static_cast<std::uint64_t>(whole.count() / 2 + 1);
    return whole - Duration(static_cast<std::int64_t>((random >> 33) % half));
}

} // namespace kiv
