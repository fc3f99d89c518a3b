// A worker thread finds something out, and the dispatching thread is told.   worker_notify
#include <kiv/kiv.h>

#include <QThread>

#include <sys/socket.h>

#include <iostream>

// Called on the dispatching thread, so it needs no lock. If it were gone by then, the result would be dropped.
class Result : public ICBKivReady {
public:
    bool hasCome = false;

    void ready(int result, void* userData) override
    {
        std::cout << static_cast<const char*>(userData) << ": " << result << '\n';
        hasCome = true;
    }
};

// A notification does not end a wait that is under way. A byte for a connection that is linked does.
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
    itcConnection there(ends[1], itcConnection::ItcBlocking); // the worker's: a connection belongs to one thread
    itcDispatcher& dispatcher = *itcDispatcher::instance();
    WakeUp wakeUp;
    dispatcher.link(&here, nullptr, ReadMask, &wakeUp);

    Result result;
    static char question[] = "the answer";
    QThread* const worker = QThread::create([&] {
        const int answer = findOut();
        // Last things: the dispatcher, once awake, waits for this thread to end and deletes it.
        dispatcher.addAsyncReadyNotify(answer, &result, question, QThread::currentThread());
        there.Write("!", 1);
    });
    worker->start();

    while (!result.hasCome)
        dispatcher.dispatch();
    delete &dispatcher;
}
