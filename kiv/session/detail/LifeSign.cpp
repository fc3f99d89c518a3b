// The word is read through a pipe: the system copies it, and answers EFAULT where nothing is mapped any more. The call
// is made without the C library's function, which tools that watch memory replace: they would stop at memory that was
// freed, and here it is meant.
#include <kiv/session/detail/LifeSign.h>

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace kiv {

MemoryReader::MemoryReader()
{
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0)
        ends[0] = ends[1] = -1;
}

MemoryReader::~MemoryReader()
{
    for (const int end : ends) {
        if (end >= 0)
            ::close(end);
    }
}

bool MemoryReader::readWord(const void* place, std::uintptr_t& word) const
{
    if (ends[0] < 0)
        return true;
    return syscall(SYS_write, ends[1], place, sizeof word) == static_cast<long>(sizeof word) &&
           ::read(ends[0], &word, sizeof word) == static_cast<ssize_t>(sizeof word);
}

bool LifeSign::isStill(const void* object, const MemoryReader& reader)
{
    std::uintptr_t now = 0;
    if (!reader.readWord(object, now))
        return false;
    if (!isKnown) {
        isKnown = true;
        word = now;
    }
    return now == word;
}

} // namespace kiv
