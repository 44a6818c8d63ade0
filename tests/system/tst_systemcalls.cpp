#include <sys/stat.h> // lumotestenv.h uses chmod

#include "emulatorprocess.h"
#include "klumojsonsample.h"
#include "klumojsonschemaindex.h"
#include "lumotestenv.h"

#include <QFile>
#include <QRegularExpression>
#include <QtTest>

#include <deque>

using namespace ofx::lumo;
using lumotest::EmulatorProcess;

namespace {

KLumoJsonValue parse(const QByteArray &text)
{
    return KLumoJsonValue::parse(text.trimmed().toStdString(), nullptr);
}

// The first place where two documents differ, as a field path; empty when equal.
std::string firstDifference(const KLumoJsonValue &a, const KLumoJsonValue &b,
                            const std::string &path = "$")
{
    if (a.type() != b.type())
        return path + " (" + a.typeName() + " vs " + b.typeName() + ")";
    if (a.isObject()) {
        if (a.size() != b.size())
            return path + " (field count " + std::to_string(a.size()) + " vs "
                + std::to_string(b.size()) + ")";
        for (const auto &m : a.members()) {
            const KLumoJsonValue *o = b.find(m.first);
            if (!o)
                return path + "." + m.first + " (missing)";
            const std::string d = firstDifference(m.second, *o, path + "." + m.first);
            if (!d.empty())
                return d;
        }
        return {};
    }
    if (a.isArray()) {
        if (a.size() != b.size())
            return path + " (length)";
        for (int i = 0; i < a.size(); ++i) {
            const std::string d = firstDifference(a.elements()[size_t(i)], b.elements()[size_t(i)],
                                                  path + "[" + std::to_string(i) + "]");
            if (!d.empty())
                return d;
        }
        return {};
    }
    return a == b ? std::string() : path + " (" + a.serialize() + " vs " + b.serialize() + ")";
}

int argumentType(const jsonschema::Method *m)
{
    return jsonschema::fields[m->firstArg].type;
}

struct NotifyRow
{
    QString kind;
    QString method;
    QString member; // the signal or slot the handler invokes, if any
};

// The notification handler's table: which notifications reach the host as a
// signal carrying the record unchanged (Forward) and which are dropped (Silent).
QList<NotifyRow> notifyTable()
{
    QFile f(QStringLiteral(LUMO_NOTIFY_TABLE));
    if (!f.open(QIODevice::ReadOnly))
        return {};
    QList<NotifyRow> rows;
    const QRegularExpression re(
        QStringLiteral("^LUMO_NOTIFY\\((\\w+),\\s*(\\w+),[^,]+,[^,]+,\\s*\"?(\\w+)"));
    for (const QByteArray &line : f.readAll().split('\n')) {
        const QRegularExpressionMatch m = re.match(QString::fromUtf8(line));
        if (m.hasMatch())
            rows.append({m.captured(1), m.captured(2), m.captured(3)});
    }
    return rows;
}

} // namespace

class TestSystemCalls : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase()
    {
        // Failed calls end at the dispatcher's expiry; keep it short here.
        qputenv("LUMOIPC_CALL_EXPIRY_MS", "2000");
    }
    void everyDispatchedMethodThroughLumoctl();
    void everyNotificationThroughMonitor();
    void lumoctlUsageAndFailures();
};

// Each dispatched method once, through the real processes: lumoctl (on the
// shared library) calls the emulator, which answers with a reply that sets
// every field; the printed result must equal it field by field, and the
// emulator must have received the argument lumoctl was given.
void TestSystemCalls::everyDispatchedMethodThroughLumoctl()
{
    QProcess list;
    list.start(QStringLiteral(LUMOCTL_BIN), {"methods", "--json"});
    QVERIFY(list.waitForFinished(10000));
    const KLumoJsonValue rows = parse(list.readAllStandardOutput());
    QVERIFY(rows.isArray());
    QVERIFY(rows.size() > 150);

    struct Case
    {
        std::string name;
        const jsonschema::Method *method;
        KLumoJsonValue argument;
        KLumoJsonValue expected;
    };
    std::vector<Case> cases;
    KLumoJsonValue methods = KLumoJsonValue::object();
    int seed = 1;
    for (const KLumoJsonValue &row : rows.elements()) {
        const std::string serviceMethod = row.find("method")->toString();
        const jsonschema::Method *m = KLumoJsonSchemaIndex::method("KLumoServices", serviceMethod);
        QVERIFY2(m, serviceMethod.c_str());
        Case c {row.find("name")->toString(), m, KLumoJsonSample::value(argumentType(m), seed),
                jsonschema::types[m->result].kind == jsonschema::Kind::Void
                    ? KLumoJsonValue()
                    : KLumoJsonSample::value(m->result, seed + 5000)};
        ++seed;
        if (!c.expected.isNull() && !methods.find(serviceMethod)) {
            KLumoJsonValue b = KLumoJsonValue::object();
            b.insert("reply", c.expected);
            methods.insert(serviceMethod, std::move(b));
        }
        cases.push_back(std::move(c));
    }
    KLumoJsonValue scenario = KLumoJsonValue::object();
    scenario.insert("methods", std::move(methods));
    const QString scenarioFile = QDir::tempPath() + "/all-methods.json";
    const QString log = QDir::tempPath() + "/all-methods.jsonl";
    {
        QFile f(scenarioFile);
        QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write(QByteArray::fromStdString(scenario.serialize()));
    }
    EmulatorProcess emulator;
    QVERIFY(emulator.start({"--scenario", scenarioFile, "--request-log", log}));

    // A few lumoctl processes at a time keep the run short.
    std::deque<size_t> todo;
    for (size_t i = 0; i < cases.size(); ++i)
        todo.push_back(i);
    struct Running
    {
        size_t index;
        std::unique_ptr<QProcess> process;
    };
    std::vector<Running> running;
    int failures = 0;
    QElapsedTimer clock;
    clock.start();
    while ((!todo.empty() || !running.empty())
           && clock.elapsed() < 100000 * lumotest::timeScale()) {
        while (!todo.empty() && running.size() < 4) {
            const Case &c = cases[todo.front()];
            auto p = std::make_unique<QProcess>();
            p->start(QStringLiteral(LUMOCTL_BIN),
                     {"call", QString::fromStdString(c.name),
                      QString::fromStdString(c.argument.serialize())});
            running.push_back({todo.front(), std::move(p)});
            todo.pop_front();
        }
        QTest::qWait(10);
        for (auto it = running.begin(); it != running.end();) {
            if (it->process->state() != QProcess::NotRunning) {
                ++it;
                continue;
            }
            const Case &c = cases[it->index];
            const QByteArray out = it->process->readAllStandardOutput();
            const std::string diff = firstDifference(parse(out), c.expected);
            if (it->process->exitCode() != 0 || !diff.empty()) {
                ++failures;
                qWarning("%s: exit %d, %s; stderr: %s", c.name.c_str(), it->process->exitCode(),
                         diff.empty() ? "same value" : ("differs at " + diff).c_str(),
                         it->process->readAllStandardError().constData());
            }
            it = running.erase(it);
        }
    }
    QVERIFY(todo.empty() && running.empty());
    QCOMPARE(failures, 0);

    // Every argument arrived as given.
    QFile f(log);
    QVERIFY(f.open(QIODevice::ReadOnly));
    std::map<std::string, std::vector<KLumoJsonValue>> received;
    for (const QByteArray &line : f.readAll().split('\n')) {
        if (line.isEmpty())
            continue;
        const KLumoJsonValue entry = parse(line);
        received[entry.find("method")->toString()].push_back(*entry.find("args"));
    }
    for (const Case &c : cases) {
        const auto &args = received[c.method->name];
        const jsonschema::Field &field = jsonschema::fields[c.method->firstArg];
        bool found = false;
        for (const KLumoJsonValue &a : args)
            found = found || (a.find(field.name) && *a.find(field.name) == c.argument);
        QVERIFY2(found, (c.name + ": argument not received as sent").c_str());
    }
}

// Each notification once: pushed by the emulator, decoded by the library,
// printed by lumoctl monitor. A marker after each one attributes the signals.
void TestSystemCalls::everyNotificationThroughMonitor()
{
    const QList<NotifyRow> table = notifyTable();
    QCOMPARE(table.size(), 45);
    QProcess lister;
    lister.start(QStringLiteral(LUMOCTL_BIN), {"monitor", "--list"});
    QVERIFY(lister.waitForFinished(5000));
    const QList<QByteArray> hostSignals = lister.readAllStandardOutput().split('\n');
    QVERIFY(hostSignals.contains("signal_notifyFileAction"));

    EmulatorProcess emulator;
    QVERIFY(emulator.start());
    QProcess monitor;
    QByteArray output;
    connect(&monitor, &QProcess::readyReadStandardOutput, this,
            [&] { output += monitor.readAllStandardOutput(); });
    monitor.start(QStringLiteral(LUMOCTL_BIN), {"monitor", "--timeout", "60"});
    QTRY_VERIFY_WITH_TIMEOUT(output.contains("SocketConnected"), 10000);

    const jsonschema::Service *svc = KLumoJsonSchemaIndex::service("KLumoNotifyServices");
    QCOMPARE(svc->methodCount, 45);
    std::vector<KLumoJsonValue> samples;
    for (int i = 0; i < svc->methodCount; ++i) {
        const jsonschema::Method &m = jsonschema::methods[svc->firstMethod + i];
        QCOMPARE(QString::fromLatin1(m.name), table.at(i).method);
        samples.push_back(KLumoJsonSample::value(argumentType(&m), 100 + i));
        KLumoJsonValue push = KLumoJsonValue::object();
        push.insert("cmd", "push");
        push.insert("name", m.name);
        push.insert("arg", samples.back());
        QVERIFY2(emulator.ok(QByteArray::fromStdString(push.serialize())), m.name);
        QVERIFY(emulator.ok(R"({"cmd":"push","name":"notifyDocTeamV2","arg":{"eventType":"MARK-)"
                            + QByteArray::number(i) + R"("}})"));
    }
    const QByteArray lastMarker = "MARK-" + QByteArray::number(svc->methodCount - 1) + "\"";
    QTRY_VERIFY_WITH_TIMEOUT(output.contains(lastMarker), 20000);
    monitor.terminate();
    monitor.waitForFinished(3000);

    // Split the stream at the markers.
    std::vector<std::vector<KLumoJsonValue>> segments(1);
    bool started = false;
    for (const QByteArray &line : output.split('\n')) {
        const KLumoJsonValue event = parse(line);
        if (!event.isObject())
            continue;
        const std::string signal = event.find("signal")->toString();
        if (signal == "SocketConnected" || signal == "LoginStatusChange") {
            started = true;
            continue;
        }
        if (!started)
            continue;
        const KLumoJsonValue &args = *event.find("args");
        if (signal == "signal_notifyDocTeamV2" && args.size() == 1
            && args.elements()[0].find("eventType")->toString().rfind("MARK-", 0) == 0) {
            segments.emplace_back();
            continue;
        }
        segments.back().push_back(event);
    }
    QCOMPARE(int(segments.size()), svc->methodCount + 1);
    int forwarded = 0;
    for (int i = 0; i < svc->methodCount; ++i) {
        const QString name = table.at(i).method;
        const auto &seen = segments[size_t(i)];
        if (table.at(i).kind == QLatin1String("Silent")) {
            QVERIFY2(seen.empty(), qPrintable(name + " should be dropped"));
        } else if (table.at(i).kind == QLatin1String("Forward")) {
            // A record forwarded to a signal the host's event object carries
            // must arrive exactly once, unchanged; others stop at the proxy.
            const bool reachesHost = hostSignals.contains(table.at(i).member.toUtf8());
            QVERIFY2(seen.size() == (reachesHost ? 1u : 0u) || (!reachesHost && seen.size() == 1),
                     qPrintable(name + QStringLiteral(": %1 signals").arg(seen.size())));
            if (seen.empty())
                continue;
            const KLumoJsonValue &args = *seen.front().find("args");
            QCOMPARE(args.size(), 1);
            const std::string diff = firstDifference(args.elements()[0], samples[size_t(i)]);
            QVERIFY2(diff.empty(),
                     qPrintable(name + ": differs at " + QString::fromStdString(diff)));
            ++forwarded;
        } else if (name == QLatin1String("notifyRecentFileStateChanged")
                   || name == QLatin1String("notifyNewMsgList")) {
            QCOMPARE(int(seen.size()), 1);
            QVERIFY(seen.front().find("args")->elements()[0] == samples[size_t(i)]);
        } else if (name == QLatin1String("notifyDocCollaborativeStatus")) {
            QCOMPARE(int(seen.size()), 1);
            const KLumoJsonValue &args = *seen.front().find("args");
            QCOMPARE(args.elements()[0].toString(), samples[size_t(i)].find("fileId")->toString());
            QCOMPARE(args.elements()[2].toInteger(),
                     samples[size_t(i)].find("collaboratorNum")->toInteger());
        }
    }
    QVERIFY(forwarded >= 20);
}

void TestSystemCalls::lumoctlUsageAndFailures()
{
    struct Row
    {
        QStringList args;
        int exitCode;
        QByteArray stderrText;
    };
    const Row rows[] = {
        {{"call", "noSuchMethod"}, 2, "is not a dispatched method"},
        {{"call", "createFolder", "{\"bogus\":1}"}, 2, "bogus: unknown field of CreateFolderArg"},
        {{"call", "createFolder", "{\"bSilent\":"}, 2, "ARG_JSON is not JSON"},
        {{"call", "clearUserCache", "[1]"}, 2, "arg: expected string, got array"},
        {{"frobnicate"}, 2, "unknown command"},
        {{"monitor", "--signal", "nope"}, 2, "has no signal \"nope\""},
        // No service: a call gives up within its wait, with the reason.
        {{"call", "createFolder", "--wait", "0.5"}, 1, "no service answers on"},
    };
    for (const Row &row : rows) {
        QProcess p;
        QElapsedTimer t;
        t.start();
        p.start(QStringLiteral(LUMOCTL_BIN), row.args);
        QVERIFY(p.waitForFinished(10000));
        QVERIFY2(p.exitCode() == row.exitCode, qPrintable(row.args.join(' ')));
        QVERIFY2(p.readAllStandardError().contains(row.stderrText), qPrintable(row.args.join(' ')));
        QVERIFY(p.readAllStandardOutput().isEmpty());
        QVERIFY(t.elapsed() < 5000);
    }
    QProcess help;
    help.start(QStringLiteral(LUMOCTL_BIN), {"call", "--help"});
    QVERIFY(help.waitForFinished(5000));
    QCOMPARE(help.exitCode(), 0);
    QVERIFY(help.readAllStandardOutput().startsWith("lumoctl call METHOD"));

    // A failure reported by the service: non-zero exit, still one JSON value.
    EmulatorProcess emulator;
    QVERIFY(emulator.start());
    QVERIFY(emulator.ok(R"({"cmd":"reply","method":"rename","behaviour":{"fail":"locked"}})"));
    QProcess p;
    p.start(QStringLiteral(LUMOCTL_BIN), {"call", "rename", "{\"newName\":\"x\"}"});
    QVERIFY(p.waitForFinished(20000));
    QCOMPARE(p.exitCode(), 1);
    QVERIFY(parse(p.readAllStandardOutput()).isObject());
    QVERIFY(p.readAllStandardError().contains("rename failed"));
}

LUMO_TEST_MAIN(TestSystemCalls)
#include "tst_systemcalls.moc"
