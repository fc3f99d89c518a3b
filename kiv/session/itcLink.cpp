// A registration that knows what belongs to it.
//
// The numbers of the descriptors are remembered, because a closed connection no longer knows them. The dispatcher is
// asked by connection only: a stand-in connection says the remembered number.
#include <kiv/session/itcLink.h>

#include <kiv/connection/itcConnection.h>

#include <utility>

namespace {

constexpr itcDispatcherMask kindAt[] = {ReadMask, WriteMask, ExceptMask};

// Says a number where the dispatcher asks a connection for its descriptor. It owns no descriptor.
class StandIn : public itcConnection {
public:
    explicit StandIn(int descriptor) : number(descriptor) {}
    int ReadDescriptor() const override { return number; }
    int WriteDescriptor() const override { return number; }
    int ExceptDescriptor() const override { return number; }

private:
    int number;
};

// The dispatcher writes its status in each operation. Here the status is put back: a link that dies or is asked must
// not hide what the host is about to read.
class SameStatus {
public:
    explicit SameStatus(itcStatus& status) : kept(status), before(status) {}
    ~SameStatus() { kept = before; }
    SameStatus(const SameStatus&) = delete;
    SameStatus& operator=(const SameStatus&) = delete;

private:
    itcStatus& kept;
    const itcStatus before;
};

} // namespace

itcLink::itcLink() noexcept = default;

itcLink::itcLink(itcConnection& connection, itcDispatcherMask mask, itcIOHandler& h, itcDispatcher& d)
    : dispatcher(&d), handler(&h)
{
    const int numbers[] = {connection.ReadDescriptor(), connection.WriteDescriptor(), connection.ExceptDescriptor()};
    d.link(&connection, nullptr, mask, &h);
    linkStatus = d;
    for (int kind = 0; kind < kinds; ++kind) {
        if (mask & kindAt[kind])
            descriptors[kind] = numbers[kind];
    }
    keepOnlyIfLinked();
}

itcLink::itcLink(int descriptor, itcDispatcherMask mask, itcIOHandler& h, itcDispatcher& d)
    : dispatcher(&d), handler(&h)
{
    for (int kind = 0; kind < kinds && linkStatus.severity == Success; ++kind) {
        if (mask & kindAt[kind]) {
            static_cast<itcStatus&>(d) = itcStatus{}; // attach() writes the status only on failure
            d.attach(descriptor, nullptr, nullptr, kindAt[kind], &h);
            linkStatus = d;
            descriptors[kind] = descriptor;
        }
    }
    keepOnlyIfLinked();
}

itcLink::itcLink(itcLink&& other) noexcept { takeOver(other); }

itcLink& itcLink::operator=(itcLink&& other) noexcept
{
    if (this != &other) {
        forget(&other);
        takeOver(other);
    }
    return *this;
}

itcLink::~itcLink() { unlink(); }

void itcLink::unlink() { forget(nullptr); }

bool itcLink::isLinked() const
{
    bool isAnyLinked = false;
    for (int kind = 0; kind < kinds; ++kind) {
        if (descriptors[kind] >= 0) {
            if (!isRegistered(kind))
                return false;
            isAnyLinked = true;
        }
    }
    return isAnyLinked;
}

bool itcLink::isRegistered(int kind) const
{
    const SameStatus same(*dispatcher);
    StandIn standIn(descriptors[kind]);
    return dispatcher->handler(&standIn, kindAt[kind]) == handler;
}

void itcLink::keepOnlyIfLinked()
{
    if (linkStatus.severity != Success)
        unlink();
}

// What the replacement has registered, too, stays: it has the same number, kind and handler.
void itcLink::forget(const itcLink* replacement)
{
    for (int kind = 0; kind < kinds; ++kind) {
        const int number = descriptors[kind];
        const bool isReplaced = replacement != nullptr && replacement->dispatcher == dispatcher &&
                                replacement->handler == handler && replacement->descriptors[kind] == number;
        if (number >= 0 && !isReplaced && isRegistered(kind)) {
            const SameStatus same(*dispatcher);
            StandIn standIn(number);
            dispatcher->unlink(&standIn, kindAt[kind]);
        }
        descriptors[kind] = -1;
    }
}

void itcLink::takeOver(itcLink& other)
{
    dispatcher = other.dispatcher;
    handler = other.handler;
    linkStatus = other.linkStatus;
    for (int kind = 0; kind < kinds; ++kind)
        descriptors[kind] = std::exchange(other.descriptors[kind], -1);
}
