// Described values behind the interface itcXNDR.
#include "ValueProbe.h"

namespace {

struct Sample {
    int number = 0;
    std::string text;
    KIV_FIELDS(number, text)
};

TEST(AsXNDR, PutsTheValue)
{
    Sample sample{7, "abc"};
    const auto record = itcAsXNDR(sample);
    const itcXNDR& xndr = record;
    OpenSend b;
    b << 'c' << xndr;
    EXPECT_EQ(b.values(), bytesOfPuts('c', 7, "abc"));
}

TEST(AsXNDR, TakesTheValue)
{
    Sample sample;
    auto record = itcAsXNDR(sample);
    itcXNDR& xndr = record;
    OpenReceive r(packet(bytesOfPuts(7, "abc")));
    r >> xndr;
    EXPECT_THAT(r, HasClearStatus());
    EXPECT_EQ(sample, (Sample{7, "abc"}));
}

TEST(AsXNDR, ReturnsTheBuffer)
{
    Sample sample;
    auto record = itcAsXNDR(sample);
    OpenSend b;
    EXPECT_EQ(&record.to_external(b), &b);
    OpenReceive r(b.data());
    EXPECT_EQ(&record.to_internal(r), &r);
}

TEST(AsXNDR, LeavesTheStatusOfAFailedTake)
{
    Sample sample{7, "abc"};
    auto record = itcAsXNDR(sample);
    OpenReceive r(packet(bytesOfPuts(7)));
    record.to_internal(r);
    EXPECT_THAT(r, HasStatus(Itc_Ndr_End_Of_Data, Warning));
    EXPECT_EQ(sample, Sample());
}

TEST(AsXNDR, PutsAConstValueAndTakesNone)
{
    const Sample sample{7, "abc"};
    auto record = itcAsXNDR(sample);
    OpenSend b;
    record.to_external(b);
    EXPECT_EQ(b.values(), bytesOfPuts(7, "abc"));

    OpenReceive r(packet(bytesOfPuts(8, "xyz")));
    record.to_internal(r);
    EXPECT_THAT(r, HasStatus(Itc_Ndr_No_Buffer_Provided, Error));
    EXPECT_EQ(r.position(), 2);
    EXPECT_EQ(sample, (Sample{7, "abc"}));
}

TEST(AsXNDR, ServesContainersToo)
{
    std::vector<int> values{1, 2};
    auto record = itcAsXNDR(values);
    OpenSend b;
    b << record;
    EXPECT_EQ(b.values(), bytesOfPuts(2u, 1, 2));
}

TEST(AsXNDR, WorksWithTheResumableBuffers)
{
    Sample sample{7, "abc"};
    auto record = itcAsXNDR(sample);
    OpenUbSend b(1);
    b << record;
    EXPECT_EQ(b.data().substr(2), bytesOfPuts(7, "abc"));
    const std::string data = b.data();
    OpenUbReceive r(1, data.data(), static_cast<unsigned int>(data.size()));
    sample = {};
    r >> record;
    EXPECT_THAT(r, HasClearStatus());
    EXPECT_EQ(sample, (Sample{7, "abc"}));
}

} // namespace
