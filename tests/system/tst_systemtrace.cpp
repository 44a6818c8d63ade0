#include "emulatorprocess.h"
#include "klumocapturereader.h"
#include "lumotestenv.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

#include <cstring>
#include <map>

using lumotest::EmulatorProcess;
using lumotest::field;
using lumotest::readFile;
using ofx::lumo::KLumoCaptureReader;
using ofx::lumo::KLumoJsonValue;
namespace capture = ofx::lumo::capture;

namespace {

QList<KLumoJsonValue> jsonLines(const QByteArray &text)
{
    QList<KLumoJsonValue> out;
    for (const QByteArray &line : text.split('\n')) {
        if (!line.trimmed().isEmpty())
            out << KLumoJsonValue::parse(line.toStdString(), nullptr);
    }
    return out;
}

lumotest::Finished lumoctl(const QStringList &args)
{
    return lumotest::runToEnd(QStringLiteral(LUMOCTL_BIN), QStringList {"trace"} + args);
}

// Where the packet blocks of a capture start.
QList<int> packetsAt(const QByteArray &capture)
{
    KLumoCaptureReader reader;
    reader.append(capture);
    KLumoCaptureReader::Packet p;
    QList<int> at;
    while (reader.next(&p) == KLumoCaptureReader::Next::Packet)
        at << int(p.offset);
    return at;
}

} // namespace

// A host records its traffic with LUMOIPC_CAPTURE against the emulator, which
// logs every frame it receives and sends; lumoctl trace must tell the same story.
class TestSystemTrace : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void traceShowsEveryFrameTheServiceSaw();
    void statsCountWhatTheServiceDid();
    void timelineHasASlicePerCall();
    void followWaitsForTheRestOfABlock();
    void damagedCaptureNamesTheOffset_data();
    void damagedCaptureNamesTheOffset();

private:
    QString m_capture, m_host;
    QList<KLumoJsonValue> m_frames; // the emulator's log
    QList<QByteArray> m_hostSummary; // "load issued answered failed ..."
    QByteArray m_trace; // lumoctl trace's output
};

void TestSystemTrace::initTestCase()
{
    const QString frames = QDir::tempPath() + "/frames.jsonl";
    EmulatorProcess emulator;
    QVERIFY(emulator.start({"autologin", "--frame-log", frames}));
    const QByteArray answer = R"({"cmd":"reply","method":"createFolder","behaviour":)";
    QVERIFY(emulator.ok(answer + R"({"reply":{"folderId":"f1"},"delayMs":5}})"));

    QProcess host;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("LUMOIPC_CAPTURE", QDir::tempPath() + "/host-%p.pcapng");
    env.insert("LUMOIPC_CALL_EXPIRY_MS", QString::number(300 * lumotest::timeScale()));
    host.setProcessEnvironment(env);
    QByteArray hostOut;
    connect(&host, &QProcess::readyReadStandardOutput, this,
            [&] { hostOut += host.readAllStandardOutput(); });
    host.start(QStringLiteral(LUMOHOST_BIN), {"tracehost", "stdin", "2", "3"});
    QTRY_VERIFY_WITH_TIMEOUT(hostOut.contains("login 1"), 10000 * lumotest::timeScale());
    m_host = QStringLiteral("tracehost (pid %1)").arg(host.processId());
    m_capture = QDir::tempPath() + QStringLiteral("/host-%1.pcapng").arg(host.processId());
    QTRY_VERIFY(QFile::exists(m_capture));

    const auto count = [&](const char *frame, const char *type) {
        int n = 0;
        for (const KLumoJsonValue &line : jsonLines(readFile(frames)))
            n += field(line, "frame") == frame && field(line, "type") == type
                && (field(line, "method") == "createFolder"
                    || field(line, "method") == "notifyFileAction");
        return n;
    };
    for (int action = 1; action <= 3; ++action)
        QVERIFY(emulator.ok(R"({"cmd":"push","name":"notifyFileAction","arg":{"action":)"
                            + QByteArray::number(action) + "}}"));
    // Answered calls, then failed ones, then calls that expire, then answered again.
    QTRY_VERIFY(count("sent", "reply") >= 4);
    QVERIFY(emulator.ok(answer + R"({"fail":"locked","delayMs":5}})"));
    QTRY_VERIFY(count("sent", "exception") >= 2);
    QVERIFY(emulator.ok(answer + R"({"noReply":true}})"));
    const int received = count("received", "call");
    QTRY_VERIFY_WITH_TIMEOUT(count("received", "call") >= received + 4, 10000);
    const int replies = count("sent", "reply");
    QVERIFY(emulator.ok(answer + R"({"reply":{"folderId":"f2"},"delayMs":5}})"));
    QTRY_VERIFY(count("sent", "reply") >= replies + 4);
    host.closeWriteChannel();
    QVERIFY(host.waitForFinished(20000 * lumotest::timeScale()));
    hostOut += host.readAllStandardOutput();
    m_hostSummary = hostOut.mid(hostOut.indexOf("load ")).trimmed().split(' ');
    QCOMPARE(m_hostSummary.size(), 7);

    m_frames = jsonLines(readFile(frames));
    const lumotest::Finished run = lumoctl({m_capture});
    QCOMPARE(run.exitCode, 0);
    m_trace = run.out;
}

// Each way, the frames of the trace are the frames the emulator received and
// sent, in the same order, with the same sequence ids, sizes, methods, types
// and arguments; every frame is attributed to the host's process.
void TestSystemTrace::traceShowsEveryFrameTheServiceSaw()
{
    const QList<KLumoJsonValue> lines = jsonLines(m_trace);
    QCOMPARE(lines.size(), m_frames.size());
    for (const char *way : {"out", "in"}) {
        QList<KLumoJsonValue> traced, logged;
        for (const KLumoJsonValue &l : lines) {
            QCOMPARE(QString::fromStdString(field(l, "host")), m_host);
            QVERIFY2(!l.find("error"), l.serialize().c_str());
            if (field(l, "direction") == way)
                traced << l;
        }
        for (const KLumoJsonValue &l : m_frames) {
            if ((field(l, "frame") == "received") == (way == std::string("out")))
                logged << l;
        }
        QCOMPARE(traced.size(), logged.size());
        for (int i = 0; i < traced.size(); ++i) {
            for (const char *key : {"seq", "bytes", "method", "type", "args"})
                QCOMPARE(field(traced[i], key), field(logged[i], key));
        }
    }
}

// Per method, the statistics count what the emulator's log shows, and the
// host's own tally of its createFolder calls agrees.
void TestSystemTrace::statsCountWhatTheServiceDid()
{
    const lumotest::Finished run = lumoctl({"--stats", "--json", m_capture});
    QCOMPARE(run.exitCode, 0);
    const KLumoJsonValue stats = KLumoJsonValue::parse(run.out.toStdString(), nullptr);
    std::map<std::string, std::map<std::string, int64_t>> expected;
    for (const KLumoJsonValue &l : m_frames) {
        auto &row = expected[field(l, "method")];
        const std::string type = field(l, "type");
        if (field(l, "frame") == "received") {
            ++row["calls"];
            row["bytesOut"] += l.find("bytes")->toInteger();
        } else if (type == "oneway") {
            ++row["count"];
            row["bytes"] += l.find("bytes")->toInteger();
        } else {
            ++row["replies"];
            row["failures"] += type == "exception";
            row["bytesIn"] += l.find("bytes")->toInteger();
        }
    }
    for (const char *list : {"methods", "notifications"}) {
        for (const KLumoJsonValue &row : stats.find(list)->elements()) {
            auto &want = expected[field(row, "method")];
            if (list == std::string("methods"))
                want["unanswered"] = want["calls"] - want["replies"];
            for (const auto &[key, value] : want)
                QCOMPARE(field(row, key.c_str()), std::to_string(value));
            want.clear();
        }
    }
    for (const auto &left : expected)
        QVERIFY2(left.second.empty(), left.first.c_str());

    // "load issued answered failed twice notes ...": expiries fail the call too.
    const KLumoJsonValue *row = nullptr;
    for (const KLumoJsonValue &r : stats.find("methods")->elements())
        row = field(r, "method") == "createFolder" ? &r : row;
    QVERIFY(row);
    QCOMPARE(field(*row, "calls"), m_hostSummary[1].toStdString());
    QCOMPARE(row->find("failures")->toInteger() + row->find("unanswered")->toInteger(),
             m_hostSummary[3].toLongLong());
    QVERIFY(row->find("failures")->toInteger() >= 2 && row->find("unanswered")->toInteger() >= 4);
    const KLumoJsonValue &latency = *row->find("latencyMs");
    QVERIFY(latency.find("p50")->toDouble() <= latency.find("p99")->toDouble());
    QVERIFY(latency.find("p99")->toDouble() <= latency.find("max")->toDouble());
    QVERIFY(latency.find("max")->toDouble() >= 5); // the emulator's delay
}

// The timeline is valid Trace Event JSON with one slice per call the emulator
// received: the answered ones plain or failed, the others expired, and an
// instant per notification, all in the host's process.
void TestSystemTrace::timelineHasASlicePerCall()
{
    const QString out = QDir::tempPath() + "/timeline.json";
    QCOMPARE(lumoctl({"--timeline", out, m_capture}).exitCode, 0);
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(readFile(out), &error);
    QVERIFY2(!doc.isNull(), qPrintable(error.errorString()));
    std::map<QString, int> seen; // by phase and mark
    int answered = 0, failed = 0, unanswered = 0, notes = 0, processes = 0;
    for (const KLumoJsonValue &l : m_frames) {
        answered += field(l, "frame") == "sent" && field(l, "type") != "oneway";
        failed += field(l, "type") == "exception";
        notes += field(l, "type") == "oneway";
        unanswered += field(l, "frame") == "received";
    }
    unanswered -= answered;
    const qint64 pid = m_host.section(' ', -1).chopped(1).toLongLong();
    for (const QJsonValue &v : doc.object().value("traceEvents").toArray()) {
        const QJsonObject e = v.toObject();
        QCOMPARE(qint64(e.value("pid").toDouble()), pid);
        const QString ph = e.value("ph").toString();
        if (ph == "M" && e.value("name") == "process_name") {
            QCOMPARE(e.value("args").toObject().value("name").toString(), m_host);
            ++processes;
        }
        if (ph == "X") {
            QVERIFY(e.value("dur").toDouble() >= 0 && e.value("ts").toDouble() >= 0);
            QVERIFY(e.value("args").toObject().value("seq").toDouble() > 0);
        }
        ++seen[ph + e.value("cat").toString()];
    }
    QCOMPARE(seen["Xcall"], answered - failed);
    QCOMPARE(seen["Xcall,failed"], failed);
    QCOMPARE(seen["Xcall,expired"], unanswered);
    QCOMPARE(seen["inotification"], notes);
    QCOMPARE(processes, 1);
}

// A follower prints the whole blocks of a file being written and waits for the
// rest of a block cut short, then prints what a reader of the whole file prints.
void TestSystemTrace::followWaitsForTheRestOfABlock()
{
    const QByteArray whole = readFile(m_capture);
    const int second = packetsAt(whole).value(1);
    QFile f(QDir::tempPath() + "/growing.pcapng");
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.write(whole.left(second + 30));
    f.flush();
    QProcess follow;
    QByteArray out;
    connect(&follow, &QProcess::readyReadStandardOutput, this,
            [&] { out += follow.readAllStandardOutput(); });
    follow.start(QStringLiteral(LUMOCTL_BIN), {"trace", "--follow", f.fileName()});
    QTRY_COMPARE(jsonLines(out).size(), 1);
    f.write(whole.mid(second + 30));
    f.flush();
    QTRY_COMPARE(out, m_trace);
    QCOMPARE(follow.state(), QProcess::Running);
    follow.kill();
    follow.waitForFinished();
}

// A capture cut short or damaged ends lumoctl trace with an error naming the
// byte offset of the fault, after printing what came before it; a block of a
// type it does not know is skipped.
void TestSystemTrace::damagedCaptureNamesTheOffset_data()
{
    const QByteArray whole = readFile(m_capture);
    const QList<int> packets = packetsAt(whole);
    QVERIFY(packets.size() >= 3);
    const int packet = packets[0], second = packets[1];
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("message"); // empty: read to the end
    QTest::addColumn<int>("printed");
    const auto put = [&](int at, quint32 v) {
        QByteArray b = whole;
        std::memcpy(b.data() + at, &v, 4);
        return b;
    };
    const auto cut = QStringLiteral("truncated at byte offset %1: ");
    const auto bad = QStringLiteral("corrupt at byte offset %1: ");
    const int frames = m_frames.size();
    QTest::addRow("cut inside a packet") << whole.left(second + 30) << cut.arg(second) << 1;
    QTest::addRow("cut inside a block header") << whole.left(second + 5) << cut.arg(second) << 1;
    QTest::addRow("length not a multiple of 4")
        << put(second + capture::BlockLengthAt, quint32(packets[2] - second + 2))
        << bad.arg(second + capture::BlockLengthAt) << 1;
    QTest::addRow("lengths disagree")
        << put(whole.size() - 4, 12) << bad.arg(whole.size() - 4) << frames - 1;
    QTest::addRow("undescribed interface") << put(packet + capture::PacketInterfaceAt, 7)
                                           << bad.arg(packet + capture::PacketInterfaceAt) << 0;
    QTest::addRow("not a capture") << put(0, 0x6f6d756c) << bad.arg(0) << 0;
    const QByteArray unknown("\xad\x0b\0\0\x10\0\0\0\x01\x02\x03\x04\x10\0\0\0", 16);
    QTest::addRow("unknown block")
        << whole.left(second) + unknown + whole.mid(second) << QString() << frames;
}

void TestSystemTrace::damagedCaptureNamesTheOffset()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, message);
    QFETCH(int, printed);
    const QString path = QDir::tempPath() + "/damaged.pcapng";
    QVERIFY(lumotest::writeFile(path, bytes));
    const lumotest::Finished run = lumoctl({path});
    QCOMPARE(run.exitCode, message.isEmpty() ? 0 : 1);
    QVERIFY2(run.err.contains(message.toUtf8()), run.err.constData());
    QCOMPARE(jsonLines(run.out).size(), printed);
}

LUMO_TEST_MAIN(TestSystemTrace)
#include "tst_systemtrace.moc"
