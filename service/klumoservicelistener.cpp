#include "klumoservicelistener.h"

namespace ofx::lumo {

KLumoServiceListener::KLumoServiceListener(Accept accept, QObject *parent)
    : QLocalServer(parent)
    , m_fnAccept(std::move(accept))
{
    setSocketOptions(QLocalServer::UserAccessOption);
}

void KLumoServiceListener::incomingConnection(quintptr socketDescriptor)
{
    m_fnAccept(int(socketDescriptor));
}

} // namespace ofx::lumo

#include "moc_klumoservicelistener.cpp"
