// A link registers a handler for its own life, and removes only what is its own.
#include "Loop.h"
#include "StreamPair.h"

#include <kiv/connection/itcConnection.h>
#include <kiv/dispatcher/itcIOHandler.h>
#include <kiv/session/itcLink.h>

#include <utility>

namespace {

struct Counting : itcIOHandler {
    int inputs = 0;
    int answer = 0;
    int inputReady(itcConnection*, char*) override
    {
        inputs += 1;
        return answer;
    }
};

class ALink : public Loop {
protected:
    StreamPair pair{itcConnection::ItcNonBlocking};
    Counting handler;
};

} // namespace

TEST_F(ALink, CallsTheHandlerWhileItLives)
{
    pair.farSends("x");
    {
        const itcLink link(pair.near(), ReadMask, handler);
        EXPECT_TRUE(link.isLinked());
        dispatcher.dispatch(0.0);
        EXPECT_EQ(handler.inputs, 1);
    }
    dispatcher.dispatch(0.0);
    EXPECT_EQ(handler.inputs, 1);
}

TEST_F(ALink, KnowsThatTheDispatcherHasDroppedTheDescriptor)
{
    handler.answer = -1;
    pair.farSends("x");
    const itcLink link(pair.near(), ReadMask, handler);
    dispatcher.dispatch(0.0);
    EXPECT_FALSE(link.isLinked());
}
