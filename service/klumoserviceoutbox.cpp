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
    std::lock_guard<std::mutex> guard(m_oLock);
    m_pCore = core;
    m_pContext = context;
    m_pThread.store(context->thread(), std::memory_order_release);
}

void KLumoServiceOutbox::detach()
{
    std::lock_guard<std::mutex> guard(m_oLock);
    m_pCore = nullptr;
    m_pContext = nullptr;
    m_pThread.store(nullptr, std::memory_order_release);
}

void KLumoServiceOutbox::post(LumoService::ClientId client, const QByteArray &frame)
{
    if (QThread::currentThread() == m_pThread.load(std::memory_order_acquire)) {
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
    if (QThread::currentThread() == m_pThread.load(std::memory_order_acquire)) {
        if (KLumoServerCore *core = m_pCore)
            core->sendReply(call, write, value);
        return;
    }
    post(call.m_nClient,
         KLumoServiceCodec::reply(call.m_nFrameSeq, call.m_strMethod, call.m_nThriftSeq, write,
                                  value));
}

} // namespace ofx::lumo
