/// \file
/// A descriptor that becomes readable when it is raised, from any thread and from signal handlers.
#pragma once

namespace kiv {

/// Owns an eventfd. The descriptor is not counted as a connection, and is closed in child processes that run another
/// program.
class EventDescriptor {
public:
    EventDescriptor();
    ~EventDescriptor();
    EventDescriptor(const EventDescriptor&) = delete;
    EventDescriptor& operator=(const EventDescriptor&) = delete;

    /// Negative if the system has refused one.
    int number() const { return descriptor; }
    /// Makes the descriptor readable. Any thread, and signal handlers: `errno` is kept.
    void raise() const noexcept { raise(descriptor); }
    static void raise(int descriptor) noexcept;
    /// Makes the descriptor not readable.
    void lower() const noexcept;

private:
    const int descriptor;
};

} // namespace kiv
