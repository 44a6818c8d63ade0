#pragma once

#include <QLocalServer>

#include <functional>

namespace ofx::lumo {

/**
 * The listening socket: QLocalServer creates it with the user-only mode in
 * place before its name appears, and hands each accepted descriptor over
 * as it is, without a QLocalSocket around it (the connection reads and writes
 * the descriptor itself). Server's thread.
 */
class KLumoServiceListener : public QLocalServer
{
    Q_OBJECT
public:
    using Accept = std::function<void(int fd)>;
    KLumoServiceListener(Accept accept, QObject *parent);

protected:
    void incomingConnection(quintptr socketDescriptor) override;

private:
    Accept m_fnAccept;
};

} // namespace ofx::lumo
