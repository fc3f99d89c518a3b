// Descriptors and masks that the dispatcher refuses.
#include "RegistrationParts.h"
#include "StatusMatchers.h"

#include <gmock/gmock.h>

#include <climits>

namespace {

class RefusedDescriptor : public Registration, public testing::WithParamInterface<int> {
protected:
    void SetUp() override { errno = EPIPE; }
    void expectRefused()
    {
        EXPECT_THAT(dispatcher, HasStatus(Itc_Dp_Invalid_File_Descriptor, Error, EPIPE));
        expectNothingRegistered();
    }
};

TEST_P(RefusedDescriptor, IsNotAttached)
{
    dispatcher.attach(GetParam(), &conn, &data1, ReadMask, &h1);
    expectRefused();
}

TEST_P(RefusedDescriptor, IsNamedBeforeAWrongMask)
{
    dispatcher.attach(GetParam(), &conn, &data1, everyKind, &h1);
    expectRefused();
}

TEST_P(RefusedDescriptor, IsNotDetached)
{
    dispatcher.detach(GetParam(), everyKind);
    expectRefused();
}

TEST_P(RefusedDescriptor, IsNotLinked)
{
    BufferedConnection wrong(GetParam(), GetParam(), GetParam());
    EXPECT_EQ(dispatcher.link(&wrong, &data1, everyKind, &h1), 0);
    expectRefused();
}

TEST_P(RefusedDescriptor, IsNotUnlinked)
{
    BufferedConnection wrong(GetParam(), GetParam(), GetParam());
    EXPECT_EQ(dispatcher.unlink(&wrong, everyKind), 0);
    expectRefused();
}

TEST_P(RefusedDescriptor, HasNoHandler)
{
    BufferedConnection wrong(GetParam(), GetParam(), GetParam());
    for (const Kind& kind : kinds) {
        errno = EPIPE;
        EXPECT_EQ(dispatcher.handler(&wrong, kind.mask), nullptr);
        expectRefused();
    }
}

INSTANTIATE_TEST_SUITE_P(Edges, RefusedDescriptor, testing::Values(INT_MIN, -1, 1024, INT_MAX));

class RefusedMask : public Registration, public testing::WithParamInterface<int> {
protected:
    const itcDispatcherMask mask = static_cast<itcDispatcherMask>(GetParam());
};

TEST_P(RefusedMask, IsNotAttached)
{
    errno = EPIPE;
    dispatcher.attach(3, &conn, &data1, mask, &h1);
    EXPECT_THAT(dispatcher, HasStatus(Itc_Dp_Invalid_Mask, Error, EPIPE));
    expectNothingRegistered();
}

TEST_P(RefusedMask, HasNoHandler)
{
    BufferedConnection fine(3, 3, 3);
    dispatcher.link(&fine, nullptr, everyKind, &h1);
    errno = EPIPE;
    EXPECT_EQ(dispatcher.handler(&fine, mask), nullptr);
    EXPECT_THAT(dispatcher, HasStatus(Itc_Dp_Invalid_Mask, Error, EPIPE));
}

TEST_P(RefusedMask, IsNamedBeforeAWrongDescriptorOfAConnection)
{
    errno = EPIPE;
    EXPECT_EQ(dispatcher.handler(&conn, mask), nullptr);
    EXPECT_THAT(dispatcher, HasStatus(Itc_Dp_Invalid_Mask, Error, EPIPE));
}

INSTANTIATE_TEST_SUITE_P(NotExactlyOneKind, RefusedMask, testing::Values(0, 3, 5, 6, 7, 8, 9, -1));

TEST_F(Registration, ARefusalWithoutAPendingErrorCarriesNone)
{
    errno = 0;
    dispatcher.attach(-1, nullptr, nullptr, ReadMask, &h1);
    EXPECT_THAT(dispatcher, HasStatus(Itc_Dp_Invalid_File_Descriptor, Error, 0));
}

} // namespace
