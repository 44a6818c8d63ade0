// Linked into the tests of ThreadSanitizer builds. Qt 6 starts a process with
// clone(CLONE_VM | CLONE_VFORK): the child runs in the parent's memory until it
// execs. ThreadSanitizer's clone interceptor (GCC 12's) does its after-fork
// bookkeeping in that child, which is the parent's own state: the parent is
// marked as forked while multi-threaded, and dies at its next new thread
// ("starting new threads after multi-threaded fork"), or with die_after_fork=0
// stops checking the thread that started the process. Such a clone goes
// straight to the C library here; a clone that copies the memory (Qt 5's fork)
// still goes through the interceptor, which it needs.
#include <cstdarg>
#include <sched.h>
#include <sys/types.h>

extern "C" int __clone(int (*fn)(void *), void *stack, int flags, void *arg, ...);
extern "C" int __interceptor_clone(int (*fn)(void *), void *stack, int flags, void *arg, ...);

// Exported, so that Qt binds to it rather than to the interceptor.
extern "C" __attribute__((visibility("default"))) int clone(int (*fn)(void *), void *stack,
                                                            int flags, void *arg, ...)
{
    va_list ap;
    va_start(ap, arg);
    pid_t *parentTid = va_arg(ap, pid_t *);
    void *tls = va_arg(ap, void *);
    pid_t *childTid = va_arg(ap, pid_t *);
    va_end(ap);
    return (flags & CLONE_VM ? __clone : __interceptor_clone)(fn, stack, flags, arg, parentTid, tls,
                                                              childTid);
}
