// Receives messages without waiting.
#pragma once

#include <kiv/kiv.h>

/// Reads one message after the other. A message may arrive in several pieces.
///
/// The peer decides when its bytes come, and how many bytes it announces. This side does not wait for bytes. This side
/// also does not make room for more bytes than a message of these programs can have.
class MessageReader : public itcNdrUbReceive {
public:
    MessageReader();

    /// Reads the bytes that have arrived. After a complete message the next call begins the next message.
    /// \return true:  a message is complete; take the header, then the record.
    ///         false, severity below Error: the message is not complete; call again when more bytes have come.
    ///         false, severity Error: the connection has ended or failed; nothing more can be read.
    bool read(itcConnection& connection);

    /// After a failed read: true if the peer has closed between two messages, which is the regular end.
    bool hasPeerLeft() const;
    /// True if a message has begun and is not complete.
    bool isInsideMessage() const;

    /// Called by the base class to make room for a message. Refuses more than a message can need.
    void extend_buffer(unsigned int pages) override;
};
