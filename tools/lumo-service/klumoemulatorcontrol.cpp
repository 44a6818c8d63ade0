#include "klumoemulatorcontrol.h"

#include "klumoserviceemulator.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QLocalSocket>
#include <QTimer>

namespace ofx::lumo {

namespace {

KLumoJsonValue failure(const std::string &error)
{
    KLumoJsonValue v = KLumoJsonValue::object();
    v.insert("ok", false);
    v.insert("error", error);
    return v;
}

KLumoJsonValue success()
{
    KLumoJsonValue v = KLumoJsonValue::object();
    v.insert("ok", true);
    return v;
}

std::string stringMember(const KLumoJsonValue &command, const char *key)
{
    const KLumoJsonValue *v = command.find(key);
    return v && v->isString() ? v->toString() : std::string();
}

} // namespace

KLumoEmulatorControl::KLumoEmulatorControl(KLumoServiceEmulator *emulator, QObject *parent)
    : QObject(parent)
    , m_pEmulator(emulator)
{
    connect(&m_oServer, &QLocalServer::newConnection, this, &KLumoEmulatorControl::onNewConnection);
}

bool KLumoEmulatorControl::listen(const QString &serverName, QString *error)
{
    const QString name = emulatorControlName(serverName);
    QLocalServer::removeServer(name); // stale: the caller holds the service's main lock
    m_oServer.setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_oServer.listen(name)) {
        *error = QStringLiteral("cannot listen on %1: %2").arg(name, m_oServer.errorString());
        return false;
    }
    return true;
}

KLumoJsonValue KLumoEmulatorControl::execute(const KLumoJsonValue &command)
{
    if (!command.isObject())
        return failure("a command is a JSON object with a \"cmd\" member");
    const std::string cmd = stringMember(command, "cmd");
    std::string error;
    if (cmd == "status") {
        KLumoJsonValue v = success();
        v.insert("server", m_pEmulator->fullServerName().toStdString());
        v.insert("loggedIn", m_pEmulator->isLoggedIn());
        v.insert("clients", m_pEmulator->clientCount());
        v.insert("requests", int64_t(m_pEmulator->requestCount()));
        v.insert("pid", int64_t(QCoreApplication::applicationPid()));
        return v;
    }
    if (cmd == "login") {
        const KLumoJsonValue *profile = command.find("profile");
        if (!m_pEmulator->login(profile && !profile->isNull() ? profile : nullptr, &error))
            return failure(error);
        return success();
    }
    if (cmd == "logout") {
        m_pEmulator->logout();
        return success();
    }
    if (cmd == "push") {
        const KLumoJsonValue *arg = command.find("arg");
        const KLumoJsonValue *count = command.find("count");
        const int64_t times = count && count->isInteger() ? count->toInteger() : 1;
        const int n = m_pEmulator->push(stringMember(command, "name"),
                                        arg ? *arg : KLumoJsonValue::object(), times, &error);
        if (n < 0)
            return failure(error);
        KLumoJsonValue v = success();
        v.insert("clients", n);
        return v;
    }
    if (cmd == "reply" || cmd == "generic") {
        const KLumoJsonValue *behaviour = command.find("behaviour");
        const KLumoJsonValue b = behaviour ? *behaviour : KLumoJsonValue::object();
        const bool ok = cmd == "reply"
            ? m_pEmulator->scenario().setBehaviour(stringMember(command, "method"), b, &error)
            : m_pEmulator->scenario().setGenericBehaviour(stringMember(command, "name"), b, &error);
        return ok ? success() : failure(error);
    }
    if (cmd == "stall") {
        const KLumoJsonValue *on = command.find("on");
        m_pEmulator->setStalled(!on || on->toBool());
        return success();
    }
    if (cmd == "raw") {
        const KLumoJsonValue *hex = command.find("hex");
        const QByteArray bytes =
            QByteArray::fromHex(hex ? QByteArray::fromStdString(hex->toString()) : QByteArray());
        KLumoJsonValue v = success();
        v.insert("clients", m_pEmulator->sendRaw(bytes));
        return v;
    }
    if (cmd == "cut") {
        KLumoJsonValue v = success();
        v.insert("clients", m_pEmulator->cutClients());
        return v;
    }
    if (cmd == "stop") {
        // Answer first; the emulator stops once this event is done.
        QTimer::singleShot(0, m_pEmulator, &KLumoServiceEmulator::stop);
        return success();
    }
    return failure("unknown command \"" + cmd
                   + "\" (status, login, logout, push, reply, generic, stall, raw, cut, stop)");
}

void KLumoEmulatorControl::onNewConnection()
{
    while (QLocalSocket *s = m_oServer.nextPendingConnection()) {
        connect(s, &QLocalSocket::readyRead, this, [this, s] { onReadyRead(s); });
        connect(s, &QLocalSocket::disconnected, s, &QObject::deleteLater);
    }
}

void KLumoEmulatorControl::onReadyRead(QLocalSocket *socket)
{
    while (socket->canReadLine()) {
        const QByteArray line = socket->readLine().trimmed();
        if (line.isEmpty())
            continue;
        std::string error;
        const KLumoJsonValue command = KLumoJsonValue::parse(line.toStdString(), &error);
        const KLumoJsonValue answer =
            error.empty() ? execute(command) : failure("not JSON: " + error);
        socket->write(QByteArray::fromStdString(answer.serialize() + "\n"));
        socket->flush();
    }
}

bool KLumoEmulatorControl::request(const QString &serverName, const KLumoJsonValue &command,
                                   KLumoJsonValue *answer, QString *error, int timeoutMs)
{
    QLocalSocket socket;
    socket.connectToServer(emulatorControlName(serverName));
    if (!socket.waitForConnected(timeoutMs)) {
        *error = QStringLiteral("no emulator answers on %1 (%2)")
                     .arg(emulatorControlName(serverName), socket.errorString());
        return false;
    }
    socket.write(QByteArray::fromStdString(command.serialize() + "\n"));
    QElapsedTimer timer;
    timer.start();
    while (!socket.canReadLine()) {
        const qint64 left = timeoutMs - timer.elapsed();
        if (left <= 0 || !socket.waitForReadyRead(int(left))) {
            *error = QStringLiteral("the emulator did not answer");
            return false;
        }
    }
    std::string parseError;
    *answer = KLumoJsonValue::parse(socket.readLine().toStdString(), &parseError);
    if (!parseError.empty()) {
        *error = QStringLiteral("unreadable answer: ") + QString::fromStdString(parseError);
        return false;
    }
    return true;
}

} // namespace ofx::lumo

#include "moc_klumoemulatorcontrol.cpp"
