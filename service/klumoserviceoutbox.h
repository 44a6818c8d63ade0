#pragma once

#include "klumoservicecodec.h"
#include "lumoserviceglobal.h"

#include <QByteArray>

#include <atomic>
#include <mutex>
#include <thread>

class QObject;

namespace ofx::lumo {

class KLumoReplyState;
class KLumoServerCore;

/**
 * The way back to the server's thread for frames made anywhere: replies
 * finished on worker threads, pushes. Shared by the server and every reply it
 * hands out, so that a reply outliving the server still has something to ask.
 *
 * post() may be called from any thread. m_pCore and m_pContext are guarded by
 * m_oLock; the server's thread sets them (attach) and clears them (detach)
 * before the server goes away. m_oThread is atomic: the server's own thread
 * reads it to take the direct way without the lock (a thread id, which costs
 * less to ask for than the current QThread, asked for on every reply).
 */
class KLumoServiceOutbox
{
public:
    // The thread of @p context: frames are written by @p core, on that thread.
    void attach(KLumoServerCore *core, QObject *context);
    void detach();

    // Any thread: writes @p frame to @p client (AllClients: to each client),
    // at once on the server's thread, else queued to it; nothing when the
    // server is gone.
    void post(LumoService::ClientId client, const QByteArray &frame);
    // Any thread: writes the reply to @p call, which @p write completes; on
    // the server's thread encoded straight into its client's outgoing bytes.
    void postReply(const KLumoReplyState &call, KLumoServiceCodec::Write write, const void *value);

private:
    std::mutex m_oLock;
    KLumoServerCore *m_pCore = nullptr;
    QObject *m_pContext = nullptr;
    std::atomic<std::thread::id> m_oThread {};
};

} // namespace ofx::lumo
