/// \file
/// Fails any test that leaves something behind.
#pragma once

#include <gtest/gtest.h>

/// Compares what is there before a test and after it: open descriptors, counted connections, installed hooks. A
/// dispatcher that the test has created is deleted, and every script of OsFaults.h is cleared, in between.
class LeakListener : public testing::EmptyTestEventListener {
public:
    void OnTestStart(const testing::TestInfo&) override;
    void OnTestEnd(const testing::TestInfo&) override;

private:
    int descriptors = 0;
    int connections = 0;
    bool hooksInstalled = false;
};

/// The number of descriptors that the process has open.
int openDescriptors();
