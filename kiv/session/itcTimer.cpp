// A timer is a handler of its own: the dispatcher tells timers apart by their handlers.
//
// The time at which a call is due is measured with the steady clock. The dispatcher's clock can run ahead of it, when
// the wall clock is set forward. A call that comes too early only starts the rest of the delay.
#include <kiv/session/itcTimer.h>

#include <kiv/dispatcher/itcIOHandler.h>
#include <kiv/session/detail/MakeShared.h>

#include <algorithm>
#include <utility>

using namespace kiv;

using Clock = std::chrono::steady_clock;
using Duration = itcTimer::Duration;

namespace {

constexpr Duration longestDelay = std::chrono::hours(24 * 365 * 50); // in seconds it fits a long of 32 bits
constexpr Duration shortestPeriod = std::chrono::milliseconds(1);

} // namespace

class itcTimer::Core : public itcIOHandler, public std::enable_shared_from_this<Core> {
public:
    Core(std::function<void()> toCall, itcDispatcher& loop) : function(std::move(toCall)), dispatcher(loop) {}

    void start(Duration untilCall, Duration between)
    {
        stop();
        delay = std::clamp(untilCall, Duration::zero(), longestDelay);
        period = between;
        hasStarted = true;
        due = Clock::now() + delay;
        arm(delay);
    }
    void restart()
    {
        if (hasStarted)
            start(delay, period);
    }
    void stop()
    {
        if (isArmed)
            dispatcher.stopTimer(this);
        isArmed = false;
    }
    bool isRunning() const { return isArmed; }

    void timerExpired(long, long) override
    {
        const auto self = shared_from_this(); // the function may destroy the timer
        isArmed = false;
        const Clock::time_point now = Clock::now();
        if (now < due) {
            arm(due - now);
            return;
        }
        if (period > Duration::zero()) { // armed before the call: the function may stop or start the timer
            const auto passed = (now - due) / period + 1;
            due += passed * period;
            arm(due - now);
        }
        if (function)
            function();
    }

private:
    // Rounded up: the dispatcher must not fire early.
    void arm(Duration left)
    {
        using std::chrono::microseconds;
        using std::chrono::seconds;
        const auto whole = std::chrono::duration_cast<seconds>(left);
        const auto rest = std::chrono::ceil<microseconds>(left - whole); // a full second is carried by the dispatcher
        dispatcher.startTimer(static_cast<long>(whole.count()), static_cast<long>(rest.count()), this);
        isArmed = dispatcher.severity == Success;
    }

    const std::function<void()> function;
    itcDispatcher& dispatcher;
    Duration delay{};
    Duration period{}; ///< 0 for a single call.
    Clock::time_point due;
    bool hasStarted = false;
    bool isArmed = false; ///< The dispatcher has a timer of this handler.
};

itcTimer::itcTimer(std::function<void()> function, itcDispatcher& dispatcher)
    : core(makeSharedOrNull<Core>(std::move(function), dispatcher))
{}

itcTimer::itcTimer(itcTimer&&) noexcept = default;

itcTimer& itcTimer::operator=(itcTimer&& other) noexcept
{
    if (this != &other) {
        stop();
        core = std::move(other.core);
    }
    return *this;
}

itcTimer::~itcTimer() { stop(); }

void itcTimer::startOnce(Duration delay)
{
    if (core != nullptr)
        core->start(delay, Duration::zero());
}

void itcTimer::startEvery(Duration period)
{
    const Duration sane = std::clamp(period, shortestPeriod, longestDelay);
    if (core != nullptr)
        core->start(sane, sane);
}

void itcTimer::restart()
{
    if (core != nullptr)
        core->restart();
}

void itcTimer::stop()
{
    if (core != nullptr)
        core->stop();
}

bool itcTimer::isRunning() const { return core != nullptr && core->isRunning(); }
