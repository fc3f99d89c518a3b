/// \file
/// A place for socket files.
#pragma once

#include "SocketFiles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

/// A folder of the test's own. It is removed in the end, with whatever is left in it. A socket file that the library has
/// made must not be among that.
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

    /// A path in the folder that is so many characters long.
    std::string pathOfLength(std::size_t length) const
    {
        const std::string start = folder + "/";
        return start + std::string(length - start.size(), 'p');
    }

private:
    std::string folder;
};
