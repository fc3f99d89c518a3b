/// \file
/// The way from other threads to the dispatching thread.
#pragma once

#include <kiv/dispatcher/itcDispatcher.h>
#include <kiv/foundation/export.h>
#include <kiv/foundation/itcStatus.h>

#include <functional>
#include <memory>

/// Lets any thread hand a function to the dispatching thread, and wakes that thread at once.
///
/// \code
/// itcPost post;
/// std::thread worker([sender = post.sender(), asker = peer.handle()] {
///     const double result = computeForAWhile();
///     (void)sender.post([asker, result] { // runs on the dispatching thread
///         if (itcSession* const peer = asker.get())
///             (void)peer->send(result);
///     });
/// });
/// \endcode
/// The functions run in the order in which they were posted. A function that is posted by a running function runs in
/// the next cycle: a function that always posts again does not hold the loop.
///
/// A Sender is a handle that threads copy. It may outlive the itcPost: what it posts then is refused. A posted function
/// that has not run when the itcPost is destroyed never runs. It is destroyed instead.
///
/// \par Threads
/// The itcPost itself: the dispatching thread only. Sender::post() and Sender::wake(): any thread, also on one object
/// at the same time. Threads may be of any kind, also std::thread.
/// \par Errors
/// Nothing throws, except the functions: an exception leaves the dispatch cycle, and the functions behind it run in the
/// next cycle.
class KIV_EXPORT itcPost {
public:
    /// A handle for other threads.
    class KIV_EXPORT Sender {
    public:
        Sender() = default;                             ///< Belongs to no itcPost: it refuses.
        Sender(const Sender&) = default;                ///< Another handle of the same itcPost.
        Sender& operator=(const Sender&) = default;     ///< Belongs to the other itcPost from now on.
        Sender(Sender&&) noexcept = default;            ///< `other` refuses afterwards.
        Sender& operator=(Sender&&) noexcept = default; ///< `other` refuses afterwards.
        ~Sender() = default;

        /// Queues a function for the dispatching thread, and wakes that thread.
        /// \return true: queued. false: the itcPost is gone or has failed, or there is no memory. The function is then
        ///         destroyed.
        [[nodiscard]] bool post(std::function<void()> function) const;

        /// Only wakes the dispatching thread, which then calls the function of itcPost::onWake(). May be called in a
        /// signal handler. Several calls before the thread wakes are one.
        /// \warning The Sender must live when the signal comes, and the handler must not destroy it.
        void wake() const noexcept;

    private:
        friend class itcPost;
        class KIV_HIDDEN Mailbox;
        KIV_HIDDEN explicit Sender(std::shared_ptr<Mailbox> sharedMailbox);
        std::shared_ptr<Mailbox> mailbox; // null: refuses
    };

    /// Makes a mailbox that this dispatcher empties. Test the status.
    explicit itcPost(itcDispatcher& dispatcher = *itcDispatcher::instance());
    itcPost(const itcPost&) = delete;
    itcPost& operator=(const itcPost&) = delete;
    ~itcPost();

    Sender sender() const; ///< A handle for another thread.
    /// Sender::post() for the dispatching thread.
    [[nodiscard]] bool post(std::function<void()> function) const;
    /// Sets what is called when a Sender has called wake().
    void onWake(std::function<void()> function);

    /// Clear, or why nothing can be posted: (`Itc_Dp_Invalid_File_Descriptor`, Error) when the process has no
    /// descriptor left, (`Itc_Tp_Malloc_Error`, Error) without memory.
    const itcStatus& status() const { return postStatus; }
    explicit operator bool() const { return postStatus.severity == Success; } ///< The status is clear.

private:
    class KIV_HIDDEN Core;
    std::shared_ptr<Core> core; // null only without memory
    itcStatus postStatus;
};
