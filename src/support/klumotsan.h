#pragma once

// Qt 5 is not built with ThreadSanitizer, so the hand-overs that go through Qt's
// own futex-based locks (QReadWriteLock, posted events, QThread::wait) are
// invisible to it. These annotations tell it about the ones the library relies
// on; in other builds they are empty. GCC says it instruments with
// __SANITIZE_THREAD__, clang with __has_feature(thread_sanitizer).

#if defined(__SANITIZE_THREAD__)
#define LUMO_TSAN 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define LUMO_TSAN 1
#endif
#endif

#ifdef LUMO_TSAN
#include <sanitizer/tsan_interface.h>
#endif

#include <QReadWriteLock>

namespace ofx::lumo::tsan {

// Everything this thread did before release(p) happens before what a thread
// does after a later acquire(p). Give each hand-over an address of its own
// (the object handed over), so that unrelated hand-overs stay unordered and
// the sanitizer still sees races between them.
#ifdef LUMO_TSAN
inline void release(const void *p)
{
    __tsan_release(const_cast<void *>(p));
}
inline void acquire(const void *p)
{
    __tsan_acquire(const_cast<void *>(p));
}
#else
inline void release(const void *) { }
inline void acquire(const void *) { }
#endif

// QReadLocker / QWriteLocker that ThreadSanitizer can follow.
template<bool Write> class Locker
{
public:
    explicit Locker(QReadWriteLock *lock)
        : m_pLock(lock)
    {
        if (Write)
            m_pLock->lockForWrite();
        else
            m_pLock->lockForRead();
        acquire(m_pLock);
    }
    ~Locker()
    {
        release(m_pLock);
        m_pLock->unlock();
    }
    Locker(const Locker &) = delete;
    Locker &operator=(const Locker &) = delete;

private:
    QReadWriteLock *const m_pLock;
};
using ReadLocker = Locker<false>;
using WriteLocker = Locker<true>;

} // namespace ofx::lumo::tsan
