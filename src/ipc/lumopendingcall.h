#pragma once

#include "lumoipc_export.h"

#include <QString>

#include <memory>

/// @cond INTERNAL
namespace LumoIpcPrivate {
struct CallState;
}
namespace ofx::lumo {
class KLumoTypedCalls;
}
/// @endcond

namespace LumoIpc {

/**
 * A typed call on its way, as a typed call function returns it (see
 * lumoipccalls.h). A small value: copies refer to the same call, and dropping
 * every copy does not cancel it.
 *
 * Threads: isValid() and id() may be called on any thread. cancel() works on
 * the thread that made the call, the one that called LumoIpcInit(); on any
 * other it is refused: it returns false, logs a warning (category
 * "lumoipc.ipc") and the call goes on. A context living in another thread
 * cancels by queueing the cancel() to that thread.
 */
class LUMOIPC_EXPORT PendingCall
{
public:
    /// An empty handle, as a call made before LumoIpcInit() returns.
    PendingCall() = default;

    /// Whether this handle refers to a call; false for an empty one.
    bool isValid() const { return bool(d); }
    /// The request id, as LumoIpcAsynCallEx() returns it; empty for an empty handle.
    QString id() const;
    /**
     * Cancels the call, as LumoIpcCancelCall(id()) does, and drops its
     * callable: the callable does not run after this returns. Only on the
     * thread that made the call (see the class).
     * @return true when the call was still on its way; false when it had ended
     *         (its callable ran or is running, it was cancelled already, or
     *         LumoIpcFree() ended it), for an empty handle, and on another
     *         thread.
     */
    bool cancel();

private:
    friend class ofx::lumo::KLumoTypedCalls;
    explicit PendingCall(std::shared_ptr<LumoIpcPrivate::CallState> state);

    std::shared_ptr<LumoIpcPrivate::CallState> d;
};

} // namespace LumoIpc
