#include "lumoserviceinterceptor.h"

#include "klumoservercore.h"

namespace LumoService {

Interceptor::Interceptor() = default;

Interceptor::~Interceptor()
{
    if (m_pCore)
        m_pCore->setInterceptor(nullptr);
}

bool Interceptor::incoming(ClientId, quint32, const QByteArray &, int)
{
    return true;
}

void Interceptor::outgoing(Outgoing &) { }

void Interceptor::malformed(ClientId, const QString &) { }

bool Interceptor::takesMainLock() const
{
    return true;
}

void Interceptor::writeRaw(ClientId client, const QByteArray &bytes)
{
    if (m_pCore)
        m_pCore->writeRaw(client, bytes);
}

void Interceptor::setReading(bool reading)
{
    if (m_pCore)
        m_pCore->setReading(reading);
}

} // namespace LumoService
