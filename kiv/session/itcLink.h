/// \file
/// A registration at the dispatcher that ends by itself.
#pragma once

#include <kiv/dispatcher/itcDispatcher.h>
#include <kiv/foundation/export.h>
#include <kiv/foundation/itcStatus.h>

class itcConnection;
class itcIOHandler;

/// Links a descriptor to a handler, and unlinks it when this object dies.
///
/// \code
/// itcLink link(connection, ReadMask, handler);
/// if (!link.isLinked())
///     std::cerr << link.status().STATUS_text() << '\n';
/// \endcode
/// The link remembers the number of the descriptor. It can therefore be ended after the connection was closed, too. It
/// removes only what still belongs to its handler: if the number was used again and linked to another handler
/// meanwhile, that registration stays.
///
/// \par Ownership
/// Dispatcher, connection and handler belong to the host. The dispatcher and the handler must outlive the link. Destroy
/// the link before the connection: the dispatcher asks a linked connection for held bytes in each cycle.
/// \par Threads
/// The dispatching thread only.
/// \par Errors
/// Nothing throws. The status of the dispatcher stays as it was, except in the two constructors.
class KIV_EXPORT itcLink {
public:
    itcLink() noexcept; ///< Links nothing.
    /// Links a connection: itcDispatcher::link(), without client data. If the dispatcher refuses one kind, none stays
    /// linked. A later link of the same connection, kind and dispatcher replaces this one.
    /// \param connection must have a descriptor.
    /// \param mask       one kind of interest, or several.
    /// \param handler    is called.
    /// \param dispatcher the dispatcher, or the singleton.
    itcLink(itcConnection& connection, itcDispatcherMask mask, itcIOHandler& handler,
            itcDispatcher& dispatcher = *itcDispatcher::instance());
    /// Links a bare descriptor. The handler is called with a null connection.
    itcLink(int descriptor, itcDispatcherMask mask, itcIOHandler& handler,
            itcDispatcher& dispatcher = *itcDispatcher::instance());
    itcLink(itcLink&& other) noexcept;            ///< Takes the registration over. `other` links nothing afterwards.
    itcLink& operator=(itcLink&& other) noexcept; ///< Ends the own registration, and takes over that of `other`.
    itcLink(const itcLink&) = delete;
    itcLink& operator=(const itcLink&) = delete;
    ~itcLink(); ///< Unlinks.

    /// Asks the dispatcher whether every kind of this link is still registered for the handler. False also when the
    /// dispatcher has dropped the descriptor: the handler has returned a negative result, or the descriptor was bad.
    bool isLinked() const;
    explicit operator bool() const { return isLinked(); } ///< isLinked().

    void unlink(); ///< Ends the registration. Ending it twice is no error.

    /// Why the constructor has not linked: (`Itc_Dp_Invalid_File_Descriptor`, Error). Otherwise clear.
    const itcStatus& status() const { return linkStatus; }

private:
    static constexpr int kinds = 3; // read, write, exception

    KIV_HIDDEN bool isRegistered(int kind) const;
    KIV_HIDDEN void remember(int kind, int descriptor);
    KIV_HIDDEN void keepOnlyIfLinked();
    KIV_HIDDEN void forget(const itcLink* replacement);
    KIV_HIDDEN void takeOver(itcLink& other);

    itcDispatcher* dispatcher = nullptr;
    itcIOHandler* handler = nullptr;
    int descriptors[kinds] = {-1, -1, -1}; // -1: this kind is not linked
    itcStatus linkStatus;
};
