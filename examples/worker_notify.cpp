// A worker thread computes a result and gives the result to the dispatching thread.   worker_notify
// The worker takes two steps. First, addAsyncReadyNotify() queues the result; any thread may call this operation.
// Second, the worker writes a byte to a connection that the dispatcher waits for. The second step is needed because a
// result in the queue does not end a wait of the dispatcher that is under way.
#include <kiv/kiv.h>

#include <QThread>

#include <sys/socket.h>

#include <iostream>

// Receives the result. ready() runs on the dispatching thread, so no lock is needed. If this object were destroyed
// before the delivery, the result would be dropped.
class Result : public ICBKivReady {
public:
    bool hasCome = false;

    void ready(int result, void* userData) override
    {
        std::cout << static_cast<const char*>(userData) << ": " << result << '\n';
        hasCome = true;
    }
};

// Ends the wait: a byte has come for a linked connection. The byte itself has no meaning.
class WakeUp : public itcIOHandler {
public:
    int inputReady(itcConnection* connection, char*) override
    {
        char byte = 0;
        return connection->Read(&byte, 1) == 1 ? 0 : -1;
    }
};

static int findOut()
{
    QThread::msleep(500);
    return 42;
}

int main()
{
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0)
        return 1;
    itcConnection here(ends[0], itcConnection::ItcBlocking);
    itcConnection there(ends[1], itcConnection::ItcBlocking); // used by the worker alone: one connection, one thread
    itcDispatcher& dispatcher = *itcDispatcher::instance();
    WakeUp wakeUp;
    dispatcher.link(&here, nullptr, ReadMask, &wakeUp);

    Result result;
    static char question[] = "the answer";
    QThread* const worker = QThread::create([&] {
        const int answer = findOut();
        // The notification names this thread, and the dispatcher waits for the thread to end and deletes the QThread.
        // So these two calls are the last of the thread.
        dispatcher.addAsyncReadyNotify(answer, &result, question, QThread::currentThread());
        there.Write("!", 1);
    });
    worker->start();

    while (!result.hasCome)
        dispatcher.dispatch();
    delete &dispatcher;
}
