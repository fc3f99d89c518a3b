// Asking streams for their two names: what all kinds of streams do. InetSockStreamNamesTest.cpp and
// UnixSockStreamNamesTest.cpp test how each kind shows a name.
#include "StreamKinds.h"

#include <cstring>
#include <tuple>
#include <utility>

namespace {

using testing::IsEmpty;

struct Name {
    const char* operation;
    End end;
    std::string (itcConnection::*text)() const;
    OsCall<int(int, sockaddr*, socklen_t*)>& (*call)();
    ItcStatusCode failure;
};

const Name names[] = {
    {"GetPeername", End::peer, &itcConnection::GetPeername, OsFaults::getpeername, Itc_Tp_Getpeername_Call_Failed},
    {"GetSockname", End::own, &itcConnection::GetSockname, OsFaults::getsockname, Itc_Tp_Getsockname_Call_Failed},
};

void PrintTo(const Name& name, std::ostream* out) { *out << name.operation; }

class StreamNames : public testing::TestWithParam<std::tuple<Name, NamedKind>> {
protected:
    StreamNames()
    {
        kind->createEndpoint(listener);
        kind->connect(stream, listener);
        kind->markAddress();
        OsFaults::clearAll();
    }

    static const Name& name() { return std::get<Name>(GetParam()); }

    int get(const AnyStream& from) { return kind->askForName(from, name().end); }
    static std::string text(const AnyStream& of) { return ((*of).*name().text)(); }
    Texts traces(const std::string& text) const { return kind->traces(name().operation + text); }

    const std::unique_ptr<StreamKind> kind = std::get<NamedKind>(GetParam()).make();
    const AnyStream listener = kind->closedStream();
    const AnyStream stream = kind->closedStream();
    const AnyStream closed = kind->closedStream();
};
INSTANTIATE_TEST_SUITE_P(, StreamNames, testing::Combine(testing::ValuesIn(names), testing::ValuesIn(streamKinds)),
                         [](const auto& instance) {
                             return std::string(std::get<Name>(instance.param).operation) +
                                    std::get<NamedKind>(instance.param).name;
                         });

TEST_P(StreamNames, FillTheAddressAndClearTheStatus)
{
    leaveMark(*stream);
    EXPECT_EQ(get(stream), 1);
    EXPECT_THAT(*stream, HasClearStatus());
    EXPECT_FALSE(kind->addressIsMarked());
}

TEST_P(StreamNames, OfferTheSystemAZeroedStorage)
{
    name().call().instead = [&](int, sockaddr* storage, socklen_t* length) {
        const sockaddr_storage zero = {};
        EXPECT_EQ(*length, kind->roomForName());
        EXPECT_EQ(std::memcmp(storage, &zero, *length), 0);
        return 0;
    };
    EXPECT_EQ(get(stream), 1);
}

TEST_P(StreamNames, NeedADescriptor)
{
    const HookRecorder hooks;
    errno = EXDEV;
    EXPECT_EQ(get(closed), 0);
    EXPECT_THAT(*closed, HasStatus(Itc_Tp_Descriptor_Not_Yet_Set, Error, EXDEV));
    EXPECT_EQ(hooks.texts(), traces("() wrong socket descriptor"));
    EXPECT_THAT(hooks.errorReports(), IsEmpty());
    EXPECT_EQ(name().call().calls(), 0);
    EXPECT_TRUE(kind->addressIsMarked());
}

TEST_P(StreamNames, FailWhenTheSystemRefuses)
{
    name().call().failNext(1, ENOBUFS);
    EXPECT_EQ(get(stream), 0);
    EXPECT_THAT(*stream, HasStatus(name().failure, Error, ENOBUFS));
}

TEST_P(StreamNames, ClearTheStatusAsTextsToo)
{
    leaveMark(*stream);
    text(stream);
    EXPECT_THAT(*stream, HasClearStatus());
}

TEST_P(StreamNames, AreEmptyTextsWithoutADescriptor)
{
    EXPECT_EQ(text(closed), "");
    EXPECT_THAT(*closed, HasStatus(Itc_Tp_Descriptor_Not_Yet_Set, Error));
}

TEST_P(StreamNames, AreEmptyTextsWhenTheSystemRefuses)
{
    name().call().failNext(1, ENOBUFS);
    EXPECT_EQ(text(stream), "");
    EXPECT_THAT(*stream, HasStatus(name().failure, Error, ENOBUFS));
}

class StreamPeername : public testing::TestWithParam<NamedKind> {
protected:
    const std::unique_ptr<StreamKind> kind = GetParam().make();
    const AnyStream listener = kind->closedStream();
};
INSTANTIATE_TEST_SUITE_P(, StreamPeername, testing::ValuesIn(streamKinds), kindName);

TEST_P(StreamPeername, FailsWhereNobodyIsConnected)
{
    kind->createEndpoint(listener);
    EXPECT_EQ(kind->askForName(listener, End::peer), 0);
    EXPECT_THAT(*listener, HasStatus(Itc_Tp_Getpeername_Call_Failed, Error, ENOTCONN));
    EXPECT_EQ(std::as_const(*listener).GetPeername(), "");
}

} // namespace
