#include "transport/kxlocalsocketbase.h"

namespace ofx::lumo {

void KxLocalSocketBase::onConnected()
{
    if (m_pSink)
        m_pSink->onConnected();
}

void KxLocalSocketBase::onDisconnected()
{
    if (m_pSink)
        m_pSink->onDisconnected();
}

void KxLocalSocketBase::onError(int error)
{
    if (m_pSink)
        m_pSink->onError(error);
}

void KxLocalSocketBase::onStateChanged(int state)
{
    if (m_pSink)
        m_pSink->onStateChanged(state);
}

void KxLocalSocketBase::onRecvData(const char *data, unsigned int len)
{
    if (m_pSink)
        m_pSink->onRecvData(data, len);
}

} // namespace ofx::lumo
