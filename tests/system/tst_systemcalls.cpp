#include "emulatorprocess.h"
#include "framedpeer.h"
#include "klumojsonsample.h"
#include "klumojsonschemaindex.h"
#include "lumotestenv.h"

#include <QTest>

using namespace ofx::lumo;
using lumotest::EmulatorProcess;

namespace {

KLumoJsonValue parse(const QByteArray &text)
{
    return KLumoJsonValue::parse(text.trimmed().toStdString(), nullptr);
}

// A well-formed value of the first argument of @p m, different for each seed.
KLumoJsonValue sampleArgument(const jsonschema::Method &m, int seed)
{
    return KLumoJsonSample::value(jsonschema::fields[m.firstArg].type, seed);
}

} // namespace

class TestSystemCalls : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void everyDispatchedMethodThroughLumoctl();
    void lumoctlSaysWhyACallFailed_data();
    void lumoctlSaysWhyACallFailed();
};

// Each dispatched method once, through the real processes: lumoctl (on the shared
// library) calls the emulator, which answers setting every field; lumoctl prints
// that reply, and the emulator received the argument lumoctl was given.
void TestSystemCalls::everyDispatchedMethodThroughLumoctl()
{
    QProcess list;
    list.start(QStringLiteral(LUMOCTL_BIN), {"methods", "--json"});
    QVERIFY(list.waitForFinished(10000));
    const KLumoJsonValue rows = parse(list.readAllStandardOutput());
    QVERIFY(rows.size() > 150);
    struct Case
    {
        QString name;
        const jsonschema::Method *method;
        KLumoJsonValue argument, expected;
    };
    std::vector<Case> cases;
    KLumoJsonValue replies = KLumoJsonValue::object();
    for (const KLumoJsonValue &row : rows.elements()) {
        const std::string wireName = row.find("method")->toString();
        const jsonschema::Method *m = KLumoJsonSchemaIndex::method("KLumoServices", wireName);
        QVERIFY2(m, wireName.c_str());
        const int seed = int(cases.size()) + 1;
        cases.push_back({QString::fromStdString(row.find("name")->toString()), m,
                         sampleArgument(*m, seed),
                         jsonschema::types[m->result].kind == jsonschema::Kind::Void
                             ? KLumoJsonValue()
                             : KLumoJsonSample::value(m->result, seed + 5000)});
        if (!cases.back().expected.isNull() && !replies.find(wireName)) {
            KLumoJsonValue behaviour = KLumoJsonValue::object();
            behaviour.insert("reply", cases.back().expected);
            replies.insert(wireName, std::move(behaviour));
        }
    }
    const QString scenario = QDir::tempPath() + "/all-methods.json";
    const QString log = QDir::tempPath() + "/all-methods.jsonl";
    KLumoJsonValue document = KLumoJsonValue::object();
    document.insert("methods", std::move(replies));
    QVERIFY(lumotest::writeFile(scenario, QByteArray::fromStdString(document.serialize())));
    EmulatorProcess emulator;
    QVERIFY(emulator.start({"--scenario", scenario, "--request-log", log}));

    // A few lumoctl processes at a time keep the run short.
    std::vector<std::pair<const Case *, std::unique_ptr<QProcess>>> running;
    int failures = 0;
    for (size_t next = 0; next < cases.size() || !running.empty();) {
        while (next < cases.size() && running.size() < 4) {
            const Case &c = cases[next++];
            running.emplace_back(&c, std::make_unique<QProcess>());
            running.back().second->start(
                QStringLiteral(LUMOCTL_BIN),
                {"call", c.name, QString::fromStdString(c.argument.serialize())});
        }
        QVERIFY(running.front().second->waitForFinished(30000 * lumotest::timeScale()));
        const auto &[c, p] = running.front();
        const KLumoJsonValue out = parse(p->readAllStandardOutput());
        if (p->exitCode() != 0 || !(out == c->expected)) {
            ++failures;
            qWarning("%s: exit %d, printed %s, expected %s; %s", qPrintable(c->name), p->exitCode(),
                     out.serialize().c_str(), c->expected.serialize().c_str(),
                     p->readAllStandardError().constData());
        }
        running.erase(running.begin());
    }
    QCOMPARE(failures, 0);

    // Every argument arrived as given.
    std::multimap<std::string, KLumoJsonValue> received;
    for (const QByteArray &line : lumotest::readFile(log).split('\n')) {
        if (!line.isEmpty())
            received.emplace(parse(line).find("method")->toString(), *parse(line).find("args"));
    }
    for (const Case &c : cases) {
        const char *field = jsonschema::fields[c.method->firstArg].name;
        bool found = false;
        for (auto [it, end] = received.equal_range(c.method->name); it != end; ++it)
            found = found || (it->second.find(field) && *it->second.find(field) == c.argument);
        QVERIFY2(found, qPrintable(c.name + ": argument not received as sent"));
    }
}

// A failed call, by the way it failed: lumoctl's exit status and words, from
// what the library reports. A reply that does not decode comes from a peer in
// this process, the rest from the emulator.
void TestSystemCalls::lumoctlSaysWhyACallFailed_data()
{
    QTest::addColumn<QByteArray>("behaviour"); // the emulator's for remove; empty: none runs
    QTest::addColumn<QByteArray>("peerReply"); // what a peer answers instead
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("said");
    QTest::addRow("no service") << QByteArray() << QByteArray() << 3
                                << "remove not connected: the call was not sent (no service "
                                   "answers on "
            + LumoIpcServerName();
    QTest::addRow("exception") << QByteArray(R"({"fail":"the file is locked"})") << QByteArray()
                               << 4
                               << "remove failed: the service answered with an exception: the "
                                  "file is locked";
    QTest::addRow("undecodable") << QByteArray() << QByteArray("not a Thrift message") << 5
                                 << "remove failed: the reply could not be decoded: Bad protocol "
                                    "identifier";
    QTest::addRow("no reply") << QByteArray(R"({"noReply":true})") << QByteArray() << 6
                              << "remove expired: no reply within the call expiry";
}

void TestSystemCalls::lumoctlSaysWhyACallFailed()
{
    QFETCH(QByteArray, behaviour);
    QFETCH(QByteArray, peerReply);
    QFETCH(int, exitCode);
    QFETCH(QString, said);
    EmulatorProcess emulator;
    lumotest::FramedPeer peer;
    if (!behaviour.isEmpty()) {
        QVERIFY(emulator.start());
        QVERIFY(emulator.ok(R"({"cmd":"reply","method":"remove","behaviour":)" + behaviour + "}"));
    } else if (!peerReply.isEmpty()) {
        peer.setResponder([&](const lumotest::FramedPeer::Frame &) { return peerReply; });
        QVERIFY(peer.listen(LumoIpcServerName()));
    }
    QProcess lumoctl;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("LUMOIPC_CALL_EXPIRY_MS", QString::number(300 * lumotest::timeScale()));
    lumoctl.setProcessEnvironment(env);
    lumoctl.start(QStringLiteral(LUMOCTL_BIN), {"call", "remove", "--wait", "1"});
    // The peer answers from this thread's event loop.
    QTRY_COMPARE_WITH_TIMEOUT(lumoctl.state(), QProcess::NotRunning, 20000 * lumotest::timeScale());
    const QString err = QString::fromUtf8(lumoctl.readAllStandardError());
    QVERIFY2(err.startsWith("lumoctl: " + said), qPrintable(err));
    QCOMPARE(lumoctl.exitCode(), exitCode);
    QCOMPARE(lumoctl.readAllStandardOutput(), QByteArray());
}

LUMO_TEST_MAIN(TestSystemCalls)
#include "tst_systemcalls.moc"
