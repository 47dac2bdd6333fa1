#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

namespace tessivar
{

/** The system calls through which files are written, one virtual function each, so that a test can make any of them
    fail. Results and errno are those of the call of the same name.
*/
class FileSystemCalls
{
public:
    virtual ~FileSystemCalls() = default;

    virtual int open (const char* path, int flags, mode_t mode) { return ::open (path, flags, mode); }

    virtual ssize_t pwrite (int descriptor, const void* data, std::size_t numBytes, std::int64_t offset)
    {
        return ::pwrite (descriptor, data, numBytes, offset);
    }

    virtual ssize_t pread (int descriptor, void* dest, std::size_t numBytes, std::int64_t offset)
    {
        return ::pread (descriptor, dest, numBytes, offset);
    }

    /** fallocate(2) and not posix_fallocate: where the file system can't reserve, the latter writes every block, which
        takes minutes for a large file, instead of saying so with EOPNOTSUPP.
    */
    virtual int fallocate (int descriptor, int mode, std::int64_t offset, std::int64_t length)
    {
        return ::fallocate (descriptor, mode, offset, length);
    }

    virtual int ftruncate (int descriptor, std::int64_t length) { return ::ftruncate (descriptor, length); }
    virtual int fdatasync (int descriptor) { return ::fdatasync (descriptor); }
    virtual int fsync (int descriptor) { return ::fsync (descriptor); }
    virtual int close (int descriptor) { return ::close (descriptor); }

    /** With replace false an existing target makes it fail with EEXIST. File systems that can't do both in one step
        answer EINVAL to that.
    */
    virtual int rename (const char* from, const char* to, bool replace)
    {
        return ::renameat2 (AT_FDCWD, from, AT_FDCWD, to, replace ? 0 : RENAME_NOREPLACE);
    }

    virtual int unlink (const char* path) { return ::unlink (path); }

    /** The calls of the operating system. */
    static FileSystemCalls& system()
    {
        static FileSystemCalls calls;
        return calls;
    }
};

} // namespace tessivar
