/// \file
/// Fails any test that leaves something behind.
#pragma once

#include <gtest/gtest.h>

#include <memory>

/// Compares the resources of the process before and after each test. Before the second look, the listener clears every
/// script of OsFaults.h and deletes the dispatcher that the test has created.
///
/// The resources are: open descriptors, counted connections, installed hooks of the host, registered receivers, and
/// files of sockets that the library has bound. LeakListenerTest.cpp shows for each of them that the listener notices a
/// leak.
class LeakListener : public testing::EmptyTestEventListener {
public:
    LeakListener();
    ~LeakListener() override;

    void OnTestStart(const testing::TestInfo&) override;
    void OnTestEnd(const testing::TestInfo&) override;

private:
    struct Belongings;
    std::unique_ptr<Belongings> before;
};

/// The number of descriptors that the process has open.
int openDescriptors();
