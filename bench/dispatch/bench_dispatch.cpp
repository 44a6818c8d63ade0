// Dispatcher round trip (host thread -> worker -> socket -> peer thread -> host
// -> receiver's slot) against a plain QLocalSocket ping-pong (write + flush) of
// the same frame sizes, against the same peer, in the same run.

#include "dispatch/klumoipchandler.h"
#include "dispatch/klumoresultdelivery.h"
#include "transport/klumoframe.h"
#include "transport/klumoipcchannel.h"

#include "klumopercentile.h"
#include "thriftcodec.h"

#include "KLumoServices.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QLocalServer>
#include <QLocalSocket>
#include <QThread>
#include <QTimer>

#include <thrift/protocol/TCompactProtocol.h>
#include <thrift/transport/TBufferTransports.h>

#include <algorithm>
#include <cstdio>
#include <deque>
#include <memory>
#include <vector>

using namespace ofx::lumo;
using ofx::lumoipc::KLumoIpcHandler;

namespace {

// The service's side, on its own thread: answers every frame with a fixed body
// under the frame's sequence id. No decoding, so both measurements pay the same.
class Responder : public QObject
{
public:
    Responder(const QString &name, const QByteArray &reply)
        : m_reply(reply)
    {
        QLocalServer::removeServer(name);
        m_server.listen(name);
        connect(&m_server, &QLocalServer::newConnection, this, [this] {
            while (QLocalSocket *s = m_server.nextPendingConnection())
                connect(s, &QLocalSocket::readyRead, this, [this, s] { onReadyRead(s); });
        });
    }

private:
    void onReadyRead(QLocalSocket *s)
    {
        QByteArray &in = m_buffers[s];
        in += s->readAll();
        QByteArray out;
        int pos = 0;
        while (in.size() - pos >= int(frame::HeaderSize)) {
            const frame::Header h = frame::readHeader(in.constData() + pos);
            if (in.size() - pos < int(h.total))
                break;
            out += frame::make(h.seqId, m_reply);
            pos += int(h.total);
        }
        in.remove(0, pos);
        if (!out.isEmpty()) {
            s->write(out);
            s->flush();
        }
    }

    QLocalServer m_server;
    QByteArray m_reply;
    QHash<QLocalSocket *, QByteArray> m_buffers;
};

struct Stats
{
    double p50 = 0, p99 = 0, perSecond = 0;
};

Stats summarise(std::vector<qint64> &ns, qint64 elapsedNs)
{
    std::sort(ns.begin(), ns.end());
    Stats s;
    s.p50 = KLumoPercentile::ofSorted(ns, 0.5) / 1000.0;
    s.p99 = KLumoPercentile::ofSorted(ns, 0.99) / 1000.0;
    s.perSecond = ns.size() * 1e9 / double(elapsedNs);
    return s;
}

// Sequential write + flush, reply read on the event loop.
Stats pingPong(const QString &name, const QByteArray &request, int count)
{
    QLocalSocket socket;
    socket.connectToServer(name);
    socket.waitForConnected(5000);
    std::vector<qint64> ns;
    ns.reserve(size_t(count));
    QElapsedTimer clock, all;
    QByteArray in;
    quint32 seq = 0;
    QEventLoop loop;
    auto sendNext = [&] {
        clock.start();
        socket.write(frame::make(++seq, request));
        socket.flush();
    };
    QObject::connect(&socket, &QLocalSocket::readyRead, &loop, [&] {
        in += socket.readAll();
        while (in.size() >= int(frame::HeaderSize)) {
            const frame::Header h = frame::readHeader(in.constData());
            if (in.size() < int(h.total))
                return;
            in.remove(0, int(h.total));
            ns.push_back(clock.nsecsElapsed());
            if (int(ns.size()) == count)
                loop.quit();
            else
                sendNext();
        }
    });
    all.start();
    sendNext();
    loop.exec();
    return summarise(ns, all.nsecsElapsed());
}

class Receiver : public QObject
{
    Q_OBJECT
public:
    std::function<void()> onDelivery;
public Q_SLOTS:
    void onResult(bool success, const QString &, const GetUnreadMsgCountResult &)
    {
        if (!success)
            qFatal("call failed");
        onDelivery();
    }
};

// @p inFlight calls outstanding; each delivery starts the next call.
Stats dispatcher(KLumoIpcHandler &handler, int inFlight, int count)
{
    Receiver receiver;
    const GetUnreadMsgCountArg arg;
    const QString method = QStringLiteral("getUnreadMsgCount");
    const QString slot = QStringLiteral("onResult");
    std::vector<qint64> ns;
    ns.reserve(size_t(count));
    std::deque<qint64> started; // calls end in the order they were sent
    QElapsedTimer all;
    QEventLoop loop;
    int issued = 0;
    auto issue = [&] {
        ++issued;
        started.push_back(all.nsecsElapsed());
        handler.asynCallEx(method, Q_ARG(GetUnreadMsgCountArg, arg), &receiver, slot);
    };
    receiver.onDelivery = [&] {
        ns.push_back(all.nsecsElapsed() - started.front());
        started.pop_front();
        if (int(ns.size()) == count)
            loop.quit();
        else if (issued < count)
            issue();
    };
    all.start();
    for (int i = 0; i < inFlight; ++i)
        issue();
    loop.exec();
    return summarise(ns, all.nsecsElapsed());
}

// CPU time the host thread spends per call outside the event loop: queuing a
// call (asynCallEx) and queuing one delivery the way the dispatcher does.
void hostCosts(KLumoIpcHandler &handler)
{
    const int n = 20000;
    Receiver receiver;
    receiver.onDelivery = [] {};
    const GetUnreadMsgCountArg arg;
    const GetUnreadMsgCountResult value;
    const QString id = KLumoIpcHandler::createRequestId();
    QElapsedTimer t;
    t.start();
    for (int i = 0; i < n; ++i)
        handler.asynCallEx(QStringLiteral("getUnreadMsgCount"), Q_ARG(GetUnreadMsgCountArg, arg),
                           nullptr, QString());
    const double queueNs = double(t.nsecsElapsed()) / n;
    ofx::lumoipc::KLumoResultDelivery results;
    ofx::lumoipc::KLumoPendingCall pending;
    pending.receiver = &receiver;
    pending.slotMethod = QStringLiteral("onResult");
    pending.fallbackType = "GetUnreadMsgCountResult";
    t.restart();
    for (int i = 0; i < n; ++i) {
        results.pending().add(id, pending);
        results.deliver(id, LumoIpc::Status::Code::Ok, &value);
    }
    const double deliverNs = double(t.nsecsElapsed()) / n;
    QCoreApplication::processEvents();
    std::printf(
        "host thread per call: asynCallEx %.2f us, registering and queuing a delivery %.2f us\n",
        queueNs / 1000, deliverNs / 1000);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const int count = argc > 1 ? std::max(1000, atoi(argv[1])) : 20000;
    const QString name =
        QStringLiteral("bench_dispatch_%1").arg(QCoreApplication::applicationPid());

    KLumoServices_getUnreadMsgCount_pargs pargs;
    const GetUnreadMsgCountArg arg;
    pargs.arg = &arg;
    const QByteArray request =
        lumotest::encodeMessage("getUnreadMsgCount", apache::thrift::protocol::T_CALL, pargs);
    GetUnreadMsgCountResult result;
    result.__set_state(1);
    const QByteArray reply = lumotest::encodeResult("getUnreadMsgCount", result);

    QThread peerThread;
    QObject peerContext;
    peerContext.moveToThread(&peerThread);
    peerThread.start();
    Responder *responder = nullptr;
    QMetaObject::invokeMethod(
        &peerContext, [&] { responder = new Responder(name, reply); },
        Qt::BlockingQueuedConnection);

    auto channel = std::make_shared<KLumoIpcChannel>(nullptr, nullptr);
    apache::thrift::protocol::TCompactProtocolFactory factory;
    auto client = std::make_shared<KLumoServicesCobClient>(channel, &factory);
    channel->connectToServer(name);
    QElapsedTimer wait;
    wait.start();
    while (!channel->good() && wait.elapsed() < 5000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    if (!channel->good())
        qFatal("cannot connect to %s", qPrintable(name));
    KLumoIpcHandler handler(nullptr, client, channel);

    std::printf("frame bodies: request %d bytes, reply %d bytes; %d calls per figure\n",
                int(request.size()), int(reply.size()), count);
    dispatcher(handler, 1, 2000); // warm-up
    pingPong(name, request, 2000);

    const Stats base = pingPong(name, request, count);
    const Stats one = dispatcher(handler, 1, count);
    std::printf("%-28s %10s %10s %12s\n", "", "p50 us", "p99 us", "calls/s");
    std::printf("%-28s %10.1f %10.1f %12.0f\n", "ping-pong (write+flush)", base.p50, base.p99,
                base.perSecond);
    std::printf("%-28s %10.1f %10.1f %12.0f\n", "dispatcher, 1 in flight", one.p50, one.p99,
                one.perSecond);
    for (int inFlight : {16, 256}) {
        const Stats s = dispatcher(handler, inFlight, count);
        std::printf("dispatcher, %3d in flight     %10.1f %10.1f %12.0f\n", inFlight, s.p50, s.p99,
                    s.perSecond);
        if (inFlight == 256)
            std::printf("ratios: p50 %.2fx (target <= 1.5), p99 %.2fx (target <= 3), "
                        "256 in flight %.2fx ping-pong rate (target >= 1)\n",
                        one.p50 / base.p50, one.p99 / base.p99, s.perSecond / base.perSecond);
    }

    hostCosts(handler); // last: it leaves thousands of calls behind it

    QMetaObject::invokeMethod(
        &peerContext, [&] { delete responder; }, Qt::BlockingQueuedConnection);
    peerThread.quit();
    peerThread.wait();
    return 0;
}

#include "bench_dispatch.moc"
