/// \file
/// Internal: the notifications that are being delivered at this moment.
///
/// A delivery holds a record that is no longer in the queue. When a worker is deleted, every record that names the
/// worker must forget the worker, and this list is where the records under delivery are found.
#pragma once

#include <kiv/dispatcher/itcAsyncFuncReady.h>

namespace kiv {

/// Marks a record as being delivered while this object exists.
///
/// A receiver may run a dispatch cycle of its own inside ready(). Deliveries therefore nest: `innermost` is the latest
/// one, and `outer` leads to the delivery around it. REQUIRES: the lock of the notifications is held.
class Delivery {
public:
    explicit Delivery(itcAsyncFuncReady& delivered) : record(delivered), outer(innermost) { innermost = this; }
    ~Delivery() { innermost = outer; }
    Delivery(const Delivery&) = delete;
    Delivery& operator=(const Delivery&) = delete;

    /// Takes this worker out of every record under delivery: the worker is about to be deleted.
    static void forget(const QThread* worker)
    {
        for (Delivery* delivery = innermost; delivery != nullptr; delivery = delivery->outer) {
            if (delivery->record.thread == worker)
                delivery->record.thread = nullptr;
        }
    }

private:
    static inline Delivery* innermost = nullptr;

    itcAsyncFuncReady& record;
    Delivery* outer;
};

} // namespace kiv
