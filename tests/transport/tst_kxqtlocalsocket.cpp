#include "lumotestenv.h"
#include <sys/stat.h> // lumotestenv.h uses chmod

#include "transport/kxqtlocalsocket.h"

#include <QLocalServer>
#include <QtTest>

using namespace ofx::lumo;

namespace {

class Sink : public IKxLocalSocketNotify
{
public:
    void onConnected() override { events << QStringLiteral("connected"); }
    void onDisconnected() override { events << QStringLiteral("disconnected"); }
    void onError(int error) override { events << QStringLiteral("error %1").arg(error); }
    void onStateChanged(int state) override { states << state; }
    void onRecvData(const char *data, unsigned int len) override
    {
        chunks << QByteArray(data, int(len));
    }
    QStringList events;
    QList<int> states;
    QList<QByteArray> chunks;
};

} // namespace

class TestKxQtLocalSocket : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void forwardsEventsAndWholeReads()
    {
        QLocalServer server;
        const QString name =
            QStringLiteral("tst_kxsocket_%1").arg(QCoreApplication::applicationPid());
        QLocalServer::removeServer(name);
        QVERIFY(server.listen(name));
        Sink sink;
        KxQtLocalSocket socket(&sink);
        socket.init();
        socket.connectToServer(name.toStdWString().c_str(), int(QIODevice::ReadWrite));
        QTRY_COMPARE(sink.events, QStringList {QStringLiteral("connected")});
        QCOMPARE(socket.state(), int(QLocalSocket::ConnectedState));
        QVERIFY(socket.socketDescriptor() >= 0);
        QVERIFY(server.waitForNewConnection(5000));
        QLocalSocket *peer = server.nextPendingConnection();

        // Bytes written while the client is not looking arrive as one chunk.
        peer->write("one");
        peer->write("two");
        peer->flush();
        QTRY_COMPARE(sink.chunks.size(), 1);
        QCOMPARE(sink.chunks.first(), QByteArray("onetwo"));

        QCOMPARE(socket.write("ping", 4), qint64(4));
        QVERIFY(socket.flush());
        QVERIFY(peer->waitForReadyRead(5000));
        QCOMPARE(peer->readAll(), QByteArray("ping"));

        peer->disconnectFromServer();
        QTRY_VERIFY(sink.events.contains(QStringLiteral("disconnected")));
        QCOMPARE(sink.states.last(), int(QLocalSocket::UnconnectedState));
    }

    void closeDropsSignalsAndNullSinkIsSilent()
    {
        QLocalServer server;
        const QString name =
            QStringLiteral("tst_kxsocket2_%1").arg(QCoreApplication::applicationPid());
        QLocalServer::removeServer(name);
        QVERIFY(server.listen(name));
        {
            KxQtLocalSocket socket(nullptr);
            socket.init();
            socket.connectToServer(name.toStdWString().c_str(), int(QIODevice::ReadWrite));
            QVERIFY(server.waitForNewConnection(5000));
            QLocalSocket *peer = server.nextPendingConnection();
            peer->write("ignored");
            peer->flush();
            QTest::qWait(30); // events without a sink go nowhere, without error
        }
        Sink sink;
        KxQtLocalSocket socket(&sink);
        socket.init();
        socket.connectToServer(name.toStdWString().c_str(), int(QIODevice::ReadWrite));
        QTRY_COMPARE(sink.events.size(), 1);
        socket.close();
        QCOMPARE(socket.state(), int(QLocalSocket::UnconnectedState));
        const int seen = sink.events.size();
        QTest::qWait(30);
        QCOMPARE(sink.events.size(), seen);

        KxQtLocalSocket missing(&sink);
        missing.init();
        missing.connectToServer(L"tst_kxsocket_nobody", int(QIODevice::ReadWrite));
        QTRY_VERIFY(sink.events.contains(
            QStringLiteral("error %1").arg(int(QLocalSocket::ServerNotFoundError))));
    }
};

LUMO_TEST_MAIN(TestKxQtLocalSocket)
#include "tst_kxqtlocalsocket.moc"
