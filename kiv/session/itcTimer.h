/// \file
/// A timer with an identity.
#pragma once

#include <kiv/dispatcher/itcDispatcher.h>
#include <kiv/foundation/export.h>

#include <chrono>
#include <functional>
#include <memory>

/// Calls a function once after a delay, or again and again. Each object is one timer.
///
/// \code
/// itcTimer timeout([&] { std::cout << "no answer\n"; });
/// timeout.startOnce(std::chrono::seconds(5));
/// \endcode
/// - The destructor stops the timer, also from inside the function.
/// - A start of a running timer replaces the earlier start.
/// - A periodic timer does not drift: its n-th call is due n periods after the start. One call stands for all periods
///   that were missed while the loop was busy.
/// - A timer never fires early. It measures with a clock that nobody sets: when the wall clock jumps forward the
///   dispatcher fires early, and this class waits for the rest.
/// \warning When the wall clock is set back by an hour the dispatcher of this library fires an hour late. This class
///          cannot see that: see itcDispatcher::startTimer().
///
/// Many timers, thousands too, do not disturb each other. The start of a timer takes time in proportion to the timers
/// that are due earlier.
///
/// \par Ownership
/// The dispatcher belongs to the host and must outlive the timer.
/// \par Threads
/// The dispatching thread only.
/// \par Errors
/// Nothing throws, except the function: its exception leaves the dispatch cycle. Without memory a start has no effect:
/// isRunning() is then false. A period that finds no memory ends the timer.
class KIV_EXPORT itcTimer {
public:
    using Duration = std::chrono::nanoseconds; ///< A time span.

    /// Makes a timer that does not run.
    /// \param function   is called on the dispatching thread. It may start, stop and destroy this timer.
    /// \param dispatcher the dispatcher, or the singleton.
    explicit itcTimer(std::function<void()> function, itcDispatcher& dispatcher = *itcDispatcher::instance());
    itcTimer(itcTimer&& other) noexcept;            ///< Takes the running timer over. `other` does nothing afterwards.
    itcTimer& operator=(itcTimer&& other) noexcept; ///< Stops the own timer, and takes over that of `other`.
    itcTimer(const itcTimer&) = delete;
    itcTimer& operator=(const itcTimer&) = delete;
    ~itcTimer(); ///< Stops the timer.

    void startOnce(Duration delay);   ///< One call, after the delay. A negative delay counts as 0.
    void startEvery(Duration period); ///< A call after each period. Periods below a millisecond count as one.
    void restart();                   ///< The latest start once more, from now on. Nothing before the first start.
    void stop();                      ///< No further call. Stopping twice is no error.
    /// True while a call is to come. Inside of the function: true for a periodic timer, false for a single call.
    bool isRunning() const;
    explicit operator bool() const { return core != nullptr; } ///< There was memory for this timer.

private:
    class KIV_HIDDEN Core;
    std::shared_ptr<Core> core; // null only without memory, and after a move
};
