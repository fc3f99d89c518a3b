// Receiving, from a connection that is never waited for.
#pragma once

#include <kiv/kiv.h>

/// Reads one message after the other, each in as many pieces as it comes in.
///
/// The other side decides when its bytes come and how many it announces, so this side neither waits for them nor makes
/// room for more than a message of ours can have.
class MessageReader : public itcNdrUbReceive {
public:
    MessageReader();

    /// Reads what is there; after a complete message, of the next one. \return true when a message is complete: take
    /// the header, then the record. Otherwise more is to come, unless the severity is Error: then nothing will.
    bool read(itcConnection& connection);

    /// After a failed read: the peer has closed between two messages, as one does that has nothing more to say.
    bool hasPeerLeft() const;
    /// A message has begun and is not complete.
    bool isInsideMessage() const;

    void extend_buffer(unsigned int pages) override;
};
