// A lock file belongs to one living process.
#include "BareSocket.h"
#include "DescriptorLimit.h"
#include "TemporaryFolder.h"

#include <kiv/connection/itcConnection.h>
#include <kiv/session/detail/LockFile.h>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>

using kiv::LockFile;

namespace {

class ALockFile : public testing::Test {
protected:
    bool fileExists() const { return std::filesystem::exists(path); }

    TemporaryFolder folder;
    const std::string path = folder.path("server.lock");
};

/// A process that holds the lock until it is killed.
class Holder {
public:
    explicit Holder(const std::string& path)
    {
        int ends[2];
        mustWork(::pipe(ends), "pipe");
        child = mustWork(::fork(), "fork");
        if (child == 0) {
            LockFile lock;
            const char isLocked = lock.lock(path) == 0 ? 'y' : 'n';
            if (::write(ends[1], &isLocked, 1) == 1)
                ::pause();
            ::_exit(1);
        }
        ::close(ends[1]);
        char isLocked = 'n';
        EXPECT_EQ(::read(ends[0], &isLocked, 1), 1);
        EXPECT_EQ(isLocked, 'y');
        ::close(ends[0]);
    }
    ~Holder() { kill(); }
    Holder(const Holder&) = delete;
    Holder& operator=(const Holder&) = delete;

    void kill()
    {
        if (child <= 0)
            return;
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
        child = 0;
    }

private:
    pid_t child = 0;
};

} // namespace

TEST_F(ALockFile, IsMadeByTheLock)
{
    LockFile lock;
    EXPECT_EQ(lock.lock(path), 0);
    struct stat file = {};
    ASSERT_EQ(::stat(path.c_str(), &file), 0);
    EXPECT_TRUE(S_ISREG(file.st_mode));
    EXPECT_EQ(file.st_mode & 0077, 0U) << "nobody but the owner may open the file";
}

TEST_F(ALockFile, IsRemovedByTheDestructor)
{
    {
        LockFile lock;
        ASSERT_EQ(lock.lock(path), 0);
    }
    EXPECT_FALSE(fileExists());
}

TEST_F(ALockFile, IsNotMadeWithoutALock)
{
    {
        const LockFile lock;
    }
    EXPECT_FALSE(fileExists());
}

TEST_F(ALockFile, RefusesASecondObject)
{
    LockFile first;
    LockFile second;
    ASSERT_EQ(first.lock(path), 0);
    EXPECT_EQ(second.lock(path), EADDRINUSE);
    EXPECT_EQ(second.lock(path), EADDRINUSE);
}

TEST_F(ALockFile, IsKeptWhenARefusedObjectDies)
{
    LockFile first;
    ASSERT_EQ(first.lock(path), 0);
    {
        LockFile second;
        EXPECT_EQ(second.lock(path), EADDRINUSE);
    }
    EXPECT_TRUE(fileExists());
    LockFile third;
    EXPECT_EQ(third.lock(path), EADDRINUSE);
}

TEST_F(ALockFile, IsFreeAfterTheDestructor)
{
    std::optional<LockFile> first(std::in_place);
    LockFile second;
    ASSERT_EQ(first->lock(path), 0);
    first.reset();
    EXPECT_EQ(second.lock(path), 0);
    EXPECT_TRUE(fileExists());
}

TEST_F(ALockFile, RefusesWhileAnotherProcessLives)
{
    const Holder holder(path);
    LockFile lock;
    EXPECT_EQ(lock.lock(path), EADDRINUSE);
}

TEST_F(ALockFile, IsTakenOverFromADeadProcess)
{
    Holder holder(path);
    holder.kill();
    ASSERT_TRUE(fileExists()) << "the process could not remove the file";
    {
        LockFile lock;
        EXPECT_EQ(lock.lock(path), 0);
        LockFile second;
        EXPECT_EQ(second.lock(path), EADDRINUSE);
    }
    EXPECT_FALSE(fileExists());
}

TEST_F(ALockFile, TakesOverAFileThatNobodyHasLocked)
{
    std::ofstream(path) << "stale";
    LockFile lock;
    EXPECT_EQ(lock.lock(path), 0);
}

TEST_F(ALockFile, IsLockedByItsNameNotByAnOldFile)
{
    LockFile first;
    ASSERT_EQ(first.lock(path), 0);
    std::filesystem::remove(path); // somebody tidies up
    LockFile second;
    EXPECT_EQ(second.lock(path), 0);
    LockFile third;
    EXPECT_EQ(third.lock(path), EADDRINUSE);
}

TEST_F(ALockFile, TellsWhyTheFileCannotBeMade)
{
    LockFile lock;
    EXPECT_EQ(lock.lock(folder.path("none/server.lock")), ENOENT);
    EXPECT_EQ(lock.lock(folder.path("")), EISDIR);
}

TEST_F(ALockFile, FollowsNoSymbolicLink)
{
    std::filesystem::create_symlink(folder.path("target"), path);
    LockFile lock;
    EXPECT_EQ(lock.lock(path), ELOOP);
    EXPECT_FALSE(std::filesystem::exists(folder.path("target")));
}

TEST_F(ALockFile, TellsThatThereIsNoDescriptor)
{
    LockFile lock;
    int result = 0;
    {
        const DescriptorLimit none;
        result = lock.lock(path);
    }
    EXPECT_EQ(result, EMFILE);
}

TEST_F(ALockFile, CanBeTriedAgain)
{
    LockFile lock;
    EXPECT_EQ(lock.lock(folder.path("none/server.lock")), ENOENT);
    EXPECT_EQ(lock.lock(path), 0);
}

TEST_F(ALockFile, IsNotCountedAsAConnection)
{
    const int before = itcConnection::getConnectionCount();
    LockFile lock;
    ASSERT_EQ(lock.lock(path), 0);
    EXPECT_EQ(itcConnection::getConnectionCount(), before);
}
