#include "transport/kxlocalsocketbase.h"

namespace ofx::lumo {

void KxLocalSocketBase::onConnected()
{
    if (m_sink)
        m_sink->onConnected();
}

void KxLocalSocketBase::onDisconnected()
{
    if (m_sink)
        m_sink->onDisconnected();
}

void KxLocalSocketBase::onError(int error)
{
    if (m_sink)
        m_sink->onError(error);
}

void KxLocalSocketBase::onStateChanged(int state)
{
    if (m_sink)
        m_sink->onStateChanged(state);
}

void KxLocalSocketBase::onRecvData(const char *data, unsigned int len)
{
    if (m_sink)
        m_sink->onRecvData(data, len);
}

} // namespace ofx::lumo
