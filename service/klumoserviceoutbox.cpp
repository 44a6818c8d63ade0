#include "klumoserviceoutbox.h"

#include "klumoreplystate.h"
#include "klumoservercore.h"

#include "support/klumotsan.h"

#include <QObject>
#include <QThread>

#include <memory>

namespace ofx::lumo {

void KLumoServiceOutbox::attach(KLumoServerCore *core, QObject *context)
{
    // Attached from another thread, nothing takes the direct way: every
    // frame is queued to the context's thread, which is right if slower.
    const bool here = context->thread() == QThread::currentThread();
    std::lock_guard<std::mutex> guard(m_oLock);
    m_pCore = core;
    m_pContext = context;
    m_oThread.store(here ? std::this_thread::get_id() : std::thread::id(),
                    std::memory_order_release);
}

void KLumoServiceOutbox::detach()
{
    std::lock_guard<std::mutex> guard(m_oLock);
    m_pCore = nullptr;
    m_pContext = nullptr;
    m_oThread.store(std::thread::id(), std::memory_order_release);
}

void KLumoServiceOutbox::post(LumoService::ClientId client, const QByteArray &frame)
{
    if (std::this_thread::get_id() == m_oThread.load(std::memory_order_acquire)) {
        // The server's thread, which alone attaches, detaches and destroys
        // the server: no lock is needed to look.
        if (KLumoServerCore *core = m_pCore)
            core->send(client, frame);
        return;
    }
    std::lock_guard<std::mutex> guard(m_oLock);
    if (!m_pCore)
        return;
    // Queued while the lock keeps the server alive; Qt discards the event if
    // the server is destroyed before it runs.
    KLumoServerCore *target = m_pCore;
    QMetaObject::invokeMethod(
        m_pContext, [target, client, frame] { target->send(client, frame); }, Qt::QueuedConnection);
}

void KLumoServiceOutbox::postReply(const KLumoReplyState &call, KLumoServiceCodec::Write write,
                                   const void *value)
{
    if (std::this_thread::get_id() == m_oThread.load(std::memory_order_acquire)) {
        if (KLumoServerCore *core = m_pCore)
            core->sendReply(call, write, value);
        return;
    }
    post(call.client(),
         KLumoServiceCodec::reply(call.m_nFrameSeq, call.m_pMethod, call.m_nThriftSeq, write,
                                  value));
}

} // namespace ofx::lumo
