// The checked variants of read() and others would be defined in the headers, and again here.
#undef _FORTIFY_SOURCE

#include "tools/realtimecheck/RealtimeCheck.h"

#include <dlfcn.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/uio.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    #define TESSIVAR_COUNTS_BREACHES 0
#elif defined(__has_feature)
    #if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
        #define TESSIVAR_COUNTS_BREACHES 0
    #endif
#endif

#ifndef TESSIVAR_COUNTS_BREACHES
    #define TESSIVAR_COUNTS_BREACHES 1
#endif

namespace
{
// With the initial-exec model the first access of a thread allocates nothing.
[[gnu::tls_model ("initial-exec")]] thread_local int depth = 0;

std::atomic<std::uint64_t> allocations{ 0 }, locks{ 0 }, fileAccesses{ 0 }, sleeps{ 0 };

#if TESSIVAR_COUNTS_BREACHES
void count (std::atomic<std::uint64_t>& counter)
{
    if (depth > 0)
        counter.fetch_add (1, std::memory_order_relaxed);
}

/** The function of this name that would have been called without this file. */
template <typename Function>
Function next (std::atomic<void*>& cache, const char* name)
{
    auto* found = cache.load (std::memory_order_relaxed);

    if (found == nullptr)
    {
        found = ::dlsym (RTLD_NEXT, name);
        cache.store (found, std::memory_order_relaxed);
    }

    return reinterpret_cast<Function> (found);
}
#endif
} // namespace

#if TESSIVAR_COUNTS_BREACHES

    // NOLINTBEGIN(bugprone-reserved-identifier, bugprone-macro-parentheses): as the C library has them

    // Stands in for the C library's functions in the whole test program. The declarations are the library's
    // own.
    #define TESSIVAR_STAND_IN(counter, result, name, parameters, arguments) \
        extern "C" result name parameters                                   \
        {                                                                   \
            static std::atomic<void*> cache{ nullptr };                     \
            count (counter);                                                \
            return next<result (*) parameters> (cache, #name) arguments;    \
        }

extern "C"
{
    void* __libc_malloc (std::size_t);
    void __libc_free (void*);
    void* __libc_calloc (std::size_t, std::size_t);
    void* __libc_realloc (void*, std::size_t);
    void* __libc_memalign (std::size_t, std::size_t);

    void* malloc (std::size_t size)
    {
        count (allocations);
        return __libc_malloc (size);
    }

    void free (void* memory)
    {
        count (allocations);
        __libc_free (memory);
    }

    void* calloc (std::size_t number, std::size_t size)
    {
        count (allocations);
        return __libc_calloc (number, size);
    }

    void* realloc (void* memory, std::size_t size)
    {
        count (allocations);
        return __libc_realloc (memory, size);
    }

    void* aligned_alloc (std::size_t alignment, std::size_t size)
    {
        count (allocations);
        return __libc_memalign (alignment, size);
    }
}

TESSIVAR_STAND_IN (locks, int, pthread_mutex_lock, (pthread_mutex_t * mutex), (mutex))
TESSIVAR_STAND_IN (locks, int, pthread_rwlock_rdlock, (pthread_rwlock_t * lock), (lock))
TESSIVAR_STAND_IN (locks, int, pthread_rwlock_wrlock, (pthread_rwlock_t * lock), (lock))
TESSIVAR_STAND_IN (locks, int, sem_wait, (sem_t * semaphore), (semaphore))
TESSIVAR_STAND_IN (
    locks, int, pthread_cond_wait, (pthread_cond_t * condition, pthread_mutex_t* mutex), (condition, mutex))
TESSIVAR_STAND_IN (locks, int, pthread_cond_signal, (pthread_cond_t * condition), (condition))
TESSIVAR_STAND_IN (locks, int, pthread_cond_broadcast, (pthread_cond_t * condition), (condition))
TESSIVAR_STAND_IN (
    fileAccesses, ssize_t, read, (int file, void* bytes, std::size_t size), (file, bytes, size))
TESSIVAR_STAND_IN (fileAccesses,
                   ssize_t,
                   pread,
                   (int file, void* bytes, std::size_t size, off_t offset),
                   (file, bytes, size, offset))
TESSIVAR_STAND_IN (
    fileAccesses, ssize_t, write, (int file, const void* bytes, std::size_t size), (file, bytes, size))
TESSIVAR_STAND_IN (sleeps, int, nanosleep, (const timespec* time, timespec* left), (time, left))
TESSIVAR_STAND_IN (sleeps,
                   int,
                   clock_nanosleep,
                   (clockid_t clock, int flags, const timespec* time, timespec* left),
                   (clock, flags, time, left))
TESSIVAR_STAND_IN (sleeps, int, usleep, (useconds_t time), (time))
TESSIVAR_STAND_IN (sleeps, int, sched_yield, (), ())

// NOLINTEND(bugprone-reserved-identifier, bugprone-macro-parentheses)

#endif

namespace tessivar::test
{

RealtimeScope::RealtimeScope()
{
    ++depth;
}

RealtimeScope::~RealtimeScope()
{
    --depth;
}

RealtimeBreaches realtimeBreaches()
{
    return { allocations.load(), locks.load(), fileAccesses.load(), sleeps.load() };
}

bool countsRealtimeBreaches()
{
    return TESSIVAR_COUNTS_BREACHES != 0;
}

std::string RealtimeBreaches::text() const
{
    return std::to_string (allocations) + " allocations, " + std::to_string (locks) + " locks, "
           + std::to_string (fileAccesses) + " file accesses, " + std::to_string (sleeps) + " sleeps";
}

} // namespace tessivar::test
