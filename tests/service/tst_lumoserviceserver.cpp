#include "framedclient.h"
#include "lumotestenv.h"
#include "thriftcodec.h"

#include "lumo_types.h"

#include <LumoService/LumoService>

#include "klumoservicecodec.h"

#include "connection/klumolockfile.h"
#include "support/klumotsan.h"

#include <QRandomGenerator>
#include <QRegularExpression>
#include <QThread>
#include <QThreadPool>

#include <thrift/TApplicationException.h>
#include <thrift/protocol/TCompactProtocol.h>
#include <thrift/transport/TBufferTransports.h>

#include <algorithm>
#include <functional>
#include <set>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace LumoService;
using namespace ofx::lumo;
using namespace apache::thrift::protocol;
using apache::thrift::TApplicationException;
using apache::thrift::transport::TMemoryBuffer;
using Peer = lumotest::FramedClient;

namespace {

using StringMap = std::map<std::string, std::string>;

// A call of @p method (argument record @p arg, if any) under frame @p seq.
QByteArray callFrame(quint32 seq, const std::string &method,
                     const apache::thrift::TBase *arg = nullptr)
{
    auto buffer = std::make_shared<TMemoryBuffer>();
    TCompactProtocol out(buffer);
    out.writeMessageBegin(method, T_CALL, int32_t(seq));
    out.writeStructBegin("args");
    if (arg) {
        out.writeFieldBegin("arg", T_STRUCT, 1);
        arg->write(&out);
        out.writeFieldEnd();
    }
    out.writeFieldStop();
    out.writeStructEnd();
    return ofx::lumo::frame::make(seq, QByteArray::fromStdString(buffer->getBufferAsString()));
}

// What a reply says: its message type and name, and either the record's
// folderId or the exception's text.
struct Answer
{
    TMessageType type;
    std::string name, text;
};

Answer decode(const QByteArray &body)
{
    const lumotest::MessageHead head = lumotest::peekMessage(body);
    Answer a {head.type, head.name, {}};
    if (a.type == T_EXCEPTION) {
        TApplicationException e;
        lumotest::decodeMessage(body, e);
        a.text = e.what();
    } else if (a.type == T_REPLY) {
        CreateFolderResult result;
        KLumoServiceField success {0, KLumoServiceField::Record, nullptr, &result};
        lumotest::FieldRecord reply {&success, 1};
        lumotest::decodeMessage(body, reply);
        a.text = result.folderId;
    }
    return a;
}

class TestHandler : public Handler
{
public:
    enum Mode { Finish, FinishTwice, Fail, Drop, Worker, Keep };
    Mode m_eMode = Finish;
    bool m_bRandomDelay = false;
    std::vector<Reply<CreateFolderResult>> m_lstKept;
    std::vector<std::string> m_lstBubbles;

    void createFolder(const CreateFolderArg &arg, Reply<CreateFolderResult> reply) override
    {
        CreateFolderResult result;
        result.__set_folderId(arg.folderName + "-id");
        switch (m_eMode) {
        case Finish:
            return reply.finish(result);
        case FinishTwice:
            reply.finish(result);
            return reply.finish(result);
        case Fail:
            return reply.fail(QStringLiteral("disk full"));
        case Drop:
            return;
        case Keep:
            return m_lstKept.push_back(std::move(reply));
        case Worker:
            break;
        }
        auto held = std::make_shared<Reply<CreateFolderResult>>(std::move(reply));
        const int delayUs = m_bRandomDelay ? QRandomGenerator::global()->bounded(500) : 0;
        std::function<void()> task = [held, result, delayUs] {
            tsan::acquire(held.get());
            QThread::usleep(delayUs);
            held->finish(result);
        };
        tsan::release(held.get()); // the pool's hand-over is Qt's, unseen by the sanitizer
        QThreadPool::globalInstance()->start(std::move(task));
    }
    void getLoginInfo(Reply<StringMap> reply) override
    {
        // Large enough, when asked, to fill a client's socket quickly.
        reply.finish({{"isLogined", "1"}, {"pad", std::string(m_nPad, 'x')}});
    }
    void showBubble(const std::string &text) override { m_lstBubbles.push_back(text); }
    int m_nPad = 0;
};

CreateFolderArg folder(const std::string &name)
{
    CreateFolderArg arg;
    arg.__set_folderName(name);
    return arg;
}

// A plain descriptor connected to the socket at @p path (-1 if refused): what a
// client that never reads, or one of another user, holds.
int connectRaw(const QByteArray &path)
{
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un addr = {};
    addr.sun_family = AF_UNIX;
    ::strncpy(addr.sun_path, path.constData(), sizeof addr.sun_path - 1);
    if (::connect(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) == 0)
        return fd;
    ::close(fd);
    return -1;
}

} // namespace

class TestLumoServiceServer : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void replies_data();
    void replies();
    void replyAfterClientLeft();
    void manyClientsOutOfOrder();
    void badPeerIsClosedAlone_data();
    void badPeerIsClosedAlone();
    void peerThatStopsReadingIsClosed();
    void locksAndLogin();
    void otherUserCannotConnect();
    void pushes();
    void stringMapReplyIsTheProtocols();

private:
    std::unique_ptr<Server> m_pServer;
    std::unique_ptr<TestHandler> m_pHandler;
};

void TestLumoServiceServer::init()
{
    m_pHandler = std::make_unique<TestHandler>();
    m_pServer = std::make_unique<Server>();
    m_pServer->setHandler(m_pHandler.get());
    QString error;
    QVERIFY2(m_pServer->listen(&error), qPrintable(error));
}

void TestLumoServiceServer::cleanup()
{
    m_pServer.reset();
    QThreadPool::globalInstance()->waitForDone();
}

void TestLumoServiceServer::replies_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<QByteArray>("method");
    QTest::addColumn<int>("type"); // T_REPLY, T_EXCEPTION, or 0: no answer at all
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("warning");
    const QString none;
    QTest::addRow("finished") << int(TestHandler::Finish) << QByteArray("createFolder")
                              << int(T_REPLY) << "Reports-id" << none;
    QTest::addRow("finished twice: one reply")
        << int(TestHandler::FinishTwice) << QByteArray("createFolder") << int(T_REPLY)
        << "Reports-id"
        << "createFolder \\(client \\d+, seq 2147483649\\) was answered already";
    QTest::addRow("failed") << int(TestHandler::Fail) << QByteArray("createFolder")
                            << int(T_EXCEPTION) << "disk full" << none;
    QTest::addRow("dropped: an exception at once")
        << int(TestHandler::Drop) << QByteArray("createFolder") << int(T_EXCEPTION)
        << "createFolder: the service dropped the call unanswered"
        << "was dropped unanswered";
    QTest::addRow("finished on a worker thread")
        << int(TestHandler::Worker) << QByteArray("createFolder") << int(T_REPLY) << "Reports-id"
        << none;
    QTest::addRow("not overridden") << int(TestHandler::Finish) << QByteArray("remove")
                                    << int(T_EXCEPTION) << "Invalid method name: 'remove'" << none;
    QTest::addRow("not in the interface")
        << int(TestHandler::Finish) << QByteArray("noSuchMethod") << int(T_EXCEPTION)
        << "Invalid method name: 'noSuchMethod'" << none;
    QTest::addRow("one-way: no reply")
        << int(TestHandler::Finish) << QByteArray("showBubble") << 0 << "" << none;
}

// Each call is answered once, under its own id, with what the handler said;
// a getLoginInfo sent after it shows that nothing else came.
void TestLumoServiceServer::replies()
{
    QFETCH(int, mode);
    QFETCH(QByteArray, method);
    QFETCH(int, type);
    QFETCH(QString, text);
    QFETCH(QString, warning);
    m_pHandler->m_eMode = TestHandler::Mode(mode);
    if (!warning.isEmpty())
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(warning));
    Peer peer(m_pServer->fullServerName());
    QVERIFY(peer.isConnected());
    const quint32 seq = 0x80000001u; // above 2^31: carried as sent, not as a signed number
    const CreateFolderArg arg = folder("Reports");
    peer.send(callFrame(seq, method.toStdString(), &arg));
    QElapsedTimer clock;
    clock.start();
    peer.send(callFrame(seq + 1, "getLoginInfo"));
    QVERIFY(peer.waitFrames(type ? 2 : 1));
    QTest::qWait(50); // room for a frame too many
    QVERIFY(peer.waitFrames(type ? 2 : 1));
    QCOMPARE(peer.frames().size(), type ? 2 : 1);
    // A worker's answer may come after the one given at once.
    std::sort(peer.frames().begin(), peer.frames().end(),
              [](const auto &a, const auto &b) { return a.seqId < b.seqId; });
    QCOMPARE(peer.frames().last().seqId, seq + 1);
    if (type) {
        QCOMPARE(peer.frames().first().seqId, seq);
        const Answer a = decode(peer.frames().first().body);
        QCOMPARE(int(a.type), type);
        QCOMPARE(a.name, method.toStdString());
        QCOMPARE(QString::fromStdString(a.text), text);
        QVERIFY(clock.elapsed() < 2000 * lumotest::timeScale());
    } else {
        QCOMPARE(m_pHandler->m_lstBubbles.size(), size_t(1));
    }
}

// An answer given after the client left goes nowhere and harms nobody.
void TestLumoServiceServer::replyAfterClientLeft()
{
    m_pHandler->m_eMode = TestHandler::Keep;
    {
        Peer leaving(m_pServer->fullServerName());
        QVERIFY(leaving.isConnected());
        const CreateFolderArg arg = folder("gone");
        leaving.send(callFrame(1, "createFolder", &arg));
        QTRY_COMPARE(m_pHandler->m_lstKept.size(), size_t(1));
    }
    QTRY_VERIFY(m_pServer->clients().isEmpty());
    m_pHandler->m_lstKept.front().finish(CreateFolderResult());
    QVERIFY(m_pHandler->m_lstKept.front().isAnswered());
    m_pHandler->m_eMode = TestHandler::Finish;
    Peer staying(m_pServer->fullServerName());
    QVERIFY(staying.isConnected());
    staying.send(callFrame(1, "getLoginInfo"));
    QVERIFY(staying.waitFrames(1));
}

// 8 clients with 1000 calls each in flight, every reply finished on a pool
// thread after a random delay: each call is answered once, under its own id,
// with its own result.
void TestLumoServiceServer::manyClientsOutOfOrder()
{
    constexpr int Clients = 8, Calls = 1000;
    m_pHandler->m_eMode = TestHandler::Worker;
    m_pHandler->m_bRandomDelay = true;
    std::vector<std::unique_ptr<Peer>> peers;
    for (int c = 0; c < Clients; ++c) {
        peers.push_back(std::make_unique<Peer>(m_pServer->fullServerName()));
        QVERIFY(peers.back()->isConnected());
        for (quint32 seq = 1; seq <= Calls; ++seq) {
            const CreateFolderArg arg = folder(std::to_string(c) + "/" + std::to_string(seq));
            peers.back()->send(callFrame(seq, "createFolder", &arg));
        }
    }
    bool outOfOrder = false;
    for (int c = 0; c < Clients; ++c) {
        Peer &peer = *peers[size_t(c)];
        QVERIFY(peer.waitFrames(Calls));
        std::set<quint32> seen;
        quint32 last = 0;
        for (const Peer::Frame &f : peer.frames()) {
            QVERIFY2(seen.insert(f.seqId).second, "a sequence id answered twice");
            QCOMPARE(decode(f.body).text,
                     std::to_string(c) + "/" + std::to_string(f.seqId) + "-id");
            outOfOrder |= f.seqId < last;
            last = f.seqId;
        }
        QCOMPARE(int(seen.size()), Calls);
        QCOMPARE(*seen.rbegin(), quint32(Calls));
    }
    QVERIFY(outOfOrder); // the delays did reorder them
}

void TestLumoServiceServer::badPeerIsClosedAlone_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("why");
    QByteArray badMagic = ofx::lumo::frame::make(1, "body");
    badMagic.replace(0, 4, "LUMO");
    QByteArray shortTotal = ofx::lumo::frame::make(1, "body");
    shortTotal[4] = 8;
    QByteArray oversized = ofx::lumo::frame::make(1, QByteArray(100, 'x'));
    const quint32 claimed = 1u << 20;
    std::memcpy(oversized.data() + 4, &claimed, 4); // a body the peer never sends
    QTest::addRow("bad magic") << badMagic << "a frame without the magic";
    QTest::addRow("total below 20") << shortTotal << "total length is below 20";
    QTest::addRow("above the size limit") << oversized << "longer than the limit of 65536 bytes";
    QTest::addRow("not Thrift") << ofx::lumo::frame::make(1, "not a message")
                                << "holds no Thrift message";
    QByteArray truncated;
    {
        auto buffer = std::make_shared<TMemoryBuffer>();
        TCompactProtocol out(buffer);
        out.writeMessageBegin("createFolder", T_CALL, 1);
        out.writeStructBegin("args");
        out.writeFieldBegin("arg", T_STRUCT, 1);
        out.writeFieldBegin("folderName", T_STRING, 4);
        out.writeI32(1000); // a length with no bytes behind it
        truncated =
            ofx::lumo::frame::make(1, QByteArray::fromStdString(buffer->getBufferAsString()));
    }
    QTest::addRow("arguments that do not decode") << truncated << "whose arguments do not decode";
    QTest::addRow("a call under id 0") << QByteArray("seq0") << "under sequence id 0";
}

// A peer that breaks the wire is closed, with a line saying why, and no other.
void TestLumoServiceServer::badPeerIsClosedAlone()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, why);
    m_pServer->setMaxFrameSize(64 * 1024);
    Peer good(m_pServer->fullServerName()), bad(m_pServer->fullServerName());
    QVERIFY(good.isConnected() && bad.isConnected());
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("closing client \\d+: .*" + why));
    if (bytes == "seq0")
        bad.send(callFrame(0, "getLoginInfo"));
    else
        bad.send(bytes);
    QVERIFY(bad.waitClosed());
    good.send(callFrame(7, "getLoginInfo"));
    QVERIFY(good.waitFrames(1));
    QCOMPARE(good.frames().first().seqId, 7u);
}

// A client that stops reading is closed once its unsent answers pass the
// limit, instead of the service holding them all.
void TestLumoServiceServer::peerThatStopsReadingIsClosed()
{
    m_pServer->setMaxUnsentBytes(1 << 20);
    m_pHandler->m_nPad = 64 * 1024;
    QSignalSpy gone(m_pServer.get(), &Server::signal_clientDisconnected);
    const int fd = connectRaw(QFile::encodeName(m_pServer->fullServerName()));
    QVERIFY(fd >= 0);
    QTest::ignoreMessage(QtWarningMsg,
                         QRegularExpression("closing client \\d+: it stopped reading"));
    for (quint32 seq = 1; seq <= 64 && gone.isEmpty(); ++seq) {
        const QByteArray frame = callFrame(seq, "getLoginInfo");
        QCOMPARE(::send(fd, frame.constData(), size_t(frame.size()), MSG_NOSIGNAL),
                 ssize_t(frame.size()));
        QTest::qWait(5);
    }
    QTRY_COMPARE(gone.size(), 1);
    ::close(fd);
}

void TestLumoServiceServer::locksAndLogin()
{
    const QLatin1String main(KLumoLockFile::MainKey), exist(KLumoLockFile::ExistKey);
    QVERIFY(KLumoLockFile::isHeld(main) && KLumoLockFile::isHeld(exist));
    Server second;
    second.setServerName(QStringLiteral("second"));
    QString error;
    QVERIFY(!second.listen(&error));
    QVERIFY2(error.contains(QLatin1String("another service holds the main lock")),
             qPrintable(error));

    QVERIFY(!KLumoLockFile::isLoginStatusHeld());
    QVERIFY(m_pServer->setLoggedIn(true));
    QVERIFY(KLumoLockFile::isLoginStatusHeld());
    QVERIFY(m_pServer->setLoggedIn(false));
    QVERIFY(!KLumoLockFile::isLoginStatusHeld());

    m_pServer->setLoggedIn(true);
    m_pServer->close();
    QVERIFY(!KLumoLockFile::isHeld(main) && !KLumoLockFile::isHeld(exist));
    QVERIFY(!KLumoLockFile::isLoginStatusHeld());
    QVERIFY2(second.listen(&error), qPrintable(error));
}

// As uid 65534, with the socket opened to all: the server refuses the peer.
// (The socket's own mode: tst_lumoservice and lumo-conform's discovery-05.)
void TestLumoServiceServer::otherUserCannotConnect()
{
    if (::geteuid() != 0)
        QSKIP("needs root to run a process under uid 65534");
    const QByteArray path = QFile::encodeName(m_pServer->fullServerName());
    ::chmod(QFile::encodeName(QFileInfo(QDir::tempPath()).path()).constData(), 0711);
    ::chmod(QFile::encodeName(QDir::tempPath()).constData(), 01777);
    ::chmod(path.constData(), 0777);
    QTest::ignoreMessage(
        QtWarningMsg, QRegularExpression("refused a connection: peer pid \\d+ runs as uid 65534"));
    const pid_t pid = ::fork();
    QVERIFY(pid >= 0);
    if (pid == 0) {
        const int fd = ::setgid(65534) == 0 && ::setuid(65534) == 0 ? connectRaw(path) : -1;
        char c;
        ::_exit(fd >= 0 && ::read(fd, &c, 1) == 0 ? 11 : 3); // closed by the server, or not
    }
    int status = 0;
    QVERIFY(QTest::qWaitFor([&] { return ::waitpid(pid, &status, WNOHANG) == pid; }, 5000));
    QCOMPARE(WEXITSTATUS(status), 11);
    QVERIFY(m_pServer->clients().isEmpty());
}

// A push goes to every client under id 0, or to the one named.
void TestLumoServiceServer::pushes()
{
    Peer a(m_pServer->fullServerName()), b(m_pServer->fullServerName());
    QVERIFY(a.isConnected() && b.isConnected());
    QTRY_COMPARE(m_pServer->clients().size(), 2);
    NotifyFileActionArg arg;
    arg.__set_fileId("f-1");
    m_pServer->notifier().notifyFileAction(arg);
    m_pServer->notifier().notifyNewMsgList(m_pServer->clients().last(), {"m1", "m2"});
    QVERIFY(a.waitFrames(1) && b.waitFrames(2));
    QTest::qWait(50);
    QVERIFY(a.waitFrames(1));
    QCOMPARE(a.frames().size(), 1);
    for (const Peer::Frame &f : a.frames() + b.frames())
        QCOMPARE(f.seqId, 0u);
    QCOMPARE(decode(a.frames()[0].body).name, std::string("notifyFileAction"));
    QCOMPARE(decode(b.frames()[1].body).name, std::string("notifyNewMsgList"));
    QCOMPARE(int(decode(b.frames()[1].body).type), int(T_ONEWAY));
}

// A string map's reply, which the server writes without the protocol, has
// the protocol's bytes: varints of one byte and of several, an empty map and
// empty texts, a name past the short one the server writes by hand.
void TestLumoServiceServer::stringMapReplyIsTheProtocols()
{
    const std::string pad(300, 'x');
    for (const StringMap &map : {StringMap {}, StringMap {{"isLogined", "1"}},
                                 StringMap {{"", pad}, {"k", ""}, {pad, "v"}}}) {
        for (const qint32 seq : {0, 127, 128, -1, INT32_MAX}) {
            for (const std::string &name : {std::string("getLoginInfo"), std::string(200, 'm')}) {
                auto buffer = std::make_shared<TMemoryBuffer>();
                TCompactProtocol out(buffer);
                out.writeMessageBegin(name, T_REPLY, seq);
                out.writeStructBegin("result");
                KLumoServiceCodec::writeStringMap(&map, &out);
                out.writeFieldStop();
                out.writeStructEnd();
                const QByteArray expected =
                    frame::make(9, QByteArray::fromStdString(buffer->getBufferAsString()));
                QCOMPARE(KLumoServiceCodec::reply(9, name, seq, &KLumoServiceCodec::writeStringMap,
                                                  &map),
                         expected);
            }
        }
    }
}

LUMO_TEST_MAIN(TestLumoServiceServer)
#include "tst_lumoserviceserver.moc"
