#include "lumoserviceserver.h"

#include "klumoservercore.h"
#include "klumoservicecodec.h"
#include "klumoserviceconnection.h"
#include "klumoservicelistener.h"
#include "klumoserviceoutbox.h"

#include "connection/klumolockfile.h"

namespace LumoService {

Server::Server(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<ofx::lumo::KLumoServerCore>(this))
{ }

Server::~Server()
{
    // While the object is whole: closing says goodbye to each client by signal.
    d->close();
}

void Server::setHandler(Handler *handler)
{
    d->m_pHandler = handler;
}

void Server::setRawHandler(RawHandler *handler)
{
    d->m_pRawHandler = handler;
}

void Server::setInterceptor(Interceptor *interceptor)
{
    d->setInterceptor(interceptor);
}

void Server::setServerName(const QString &name)
{
    d->m_strName = name;
}

QString Server::serverName() const
{
    return d->m_pListener && d->m_pListener->isListening() ? d->m_pListener->serverName()
                                                           : d->m_strName;
}

QString Server::fullServerName() const
{
    return isListening() ? d->m_pListener->fullServerName() : QString();
}

bool Server::listen(QString *error)
{
    return d->listen(error);
}

bool Server::isListening() const
{
    return d->m_pListener && d->m_pListener->isListening();
}

void Server::close()
{
    d->close();
}

bool Server::setLoggedIn(bool loggedIn)
{
    return d->setLoggedIn(loggedIn);
}

bool Server::isLoggedIn() const
{
    return d->m_pLoginLock && d->m_pLoginLock->isLocked();
}

Notifier &Server::notifier()
{
    return *d->m_pNotifier;
}

void Server::pushMessage(ClientId client, const QByteArray &message)
{
    d->m_pOutbox->post(client, ofx::lumo::KLumoServiceCodec::message(0, message));
}

void Server::setMaxFrameSize(quint32 bytes)
{
    d->m_nMaxFrame = bytes;
}

void Server::setMaxUnsentBytes(qint64 bytes)
{
    d->m_nMaxUnsent = bytes;
}

QVector<ClientId> Server::clients() const
{
    QVector<ClientId> out;
    for (const auto &entry : d->m_mapClients)
        out.append(entry.first);
    return out;
}

void Server::disconnectClient(ClientId client)
{
    const auto it = d->m_mapClients.find(client);
    if (it == d->m_mapClients.end())
        return;
    // What was sent before goes out first; a failed write closes it already.
    ofx::lumo::KLumoServiceConnection *connection = it->second;
    connection->flush();
    connection->close(QString());
}

} // namespace LumoService

#include "moc_lumoserviceserver.cpp"
