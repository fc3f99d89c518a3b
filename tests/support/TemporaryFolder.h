/// \file
/// A folder for the socket files of one test.
#pragma once

#include "SocketFiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

/// The constructor makes the folder. The destructor removes the folder with all files in it. If one of these files is a
/// socket file that the library has made, the test fails.
class TemporaryFolder {
public:
    TemporaryFolder()
    {
        char made[] = "/tmp/kiv-test-XXXXXX";
        if (::mkdtemp(made) == nullptr)
            throw std::system_error(errno, std::generic_category(), "mkdtemp");
        folder = made;
    }
    ~TemporaryFolder()
    {
        EXPECT_THAT(socketFilesLeft(folder), testing::IsEmpty()) << "the test leaves a socket file";
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::string path(const std::string& name) const { return folder + "/" + name; }

    /// Returns a path in the folder. The path is `length` characters long.
    std::string pathOfLength(std::size_t length) const
    {
        const std::string start = folder + "/";
        return start + std::string(length - start.size(), 'p');
    }

private:
    std::string folder;
};
