#include "emulatorprocess.h"
#include "lumotestenv.h"

#include <QXmlStreamReader>

using namespace ofx::lumo;
using lumotest::EmulatorProcess;

namespace {

const QString PushCommand = QStringLiteral(LUMO_SERVICE_BIN " ctl push");

struct Run
{
    int exitCode = -1;
    qint64 ms = 0;
    std::map<QString, KLumoJsonValue> cases; // by id
    QStringList ids(const char *status) const
    {
        QStringList out;
        for (const auto &[id, c] : cases)
            if (c.find("status")->toString() == status)
                out << id;
        return out;
    }
};

// lumo-conform --json with @p args, to its end.
Run conform(const QStringList &args)
{
    QProcess p;
    QElapsedTimer t;
    t.start();
    p.start(QStringLiteral(LUMO_CONFORM_BIN), QStringList {QStringLiteral("--json")} + args);
    Run run;
    if (!p.waitForFinished(60000 * lumotest::timeScale()))
        return run;
    run.ms = t.elapsed();
    run.exitCode = p.exitCode();
    for (const QByteArray &line : p.readAllStandardOutput().split('\n')) {
        const KLumoJsonValue c = KLumoJsonValue::parse(line.toStdString(), nullptr);
        if (const KLumoJsonValue *id = c.find("id"))
            run.cases[QString::fromStdString(id->toString())] = c;
    }
    return run;
}

int listedCases()
{
    return lumotest::runToEnd(QStringLiteral(LUMO_CONFORM_BIN), {QStringLiteral("--list")})
        .out.count('\n');
}

} // namespace

class TestLumoConform : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void passesAgainstEmulator_data();
    void passesAgainstEmulator();
    void faultIsCaughtByItsCase_data();
    void faultIsCaughtByItsCase();
    void neverHangs_data();
    void neverHangs();
};

void TestLumoConform::passesAgainstEmulator_data()
{
    QTest::addColumn<QStringList>("emulatorArgs");
    // The login-status rule reads both states.
    QTest::addRow("logged out") << QStringList();
    QTest::addRow("logged in") << QStringList {QStringLiteral("--autologin")};
}

void TestLumoConform::passesAgainstEmulator()
{
    QFETCH(QStringList, emulatorArgs);
    EmulatorProcess emulator;
    QVERIFY(emulator.start(emulatorArgs));
    const QString junit = QDir::tempPath() + QStringLiteral("/conform.xml");
    const Run run = conform({"--junit", junit, "--push-command", PushCommand});
    QCOMPARE(run.ids("fail"), QStringList());
    QCOMPARE(run.ids("skip"), QStringList());
    QCOMPARE(int(run.cases.size()), listedCases());
    QCOMPARE(run.exitCode, 0);

    // The report as a CI server reads it: an XML parser, not the text.
    QFile file(junit);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QXmlStreamReader xml(&file);
    int testcases = 0, declared = -1;
    QStringList suites; // one per group, each holding its group's cases
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        const auto name = xml.name();
        const QXmlStreamAttributes attributes = xml.attributes();
        if (name == QLatin1String("testsuites")) {
            declared = attributes.value(QLatin1String("tests")).toInt();
            QCOMPARE(attributes.value(QLatin1String("failures")).toInt(), 0);
        } else if (name == QLatin1String("testsuite")) {
            const QString group = attributes.value(QLatin1String("name")).toString();
            QVERIFY2(!suites.contains(group), qPrintable(group));
            suites << group;
        } else if (name == QLatin1String("testcase")) {
            ++testcases;
            QCOMPARE(attributes.value(QLatin1String("classname")).toString(),
                     "lumo-conform." + suites.value(suites.size() - 1));
            const QString id =
                attributes.value(QLatin1String("name")).toString().section(':', 0, 0);
            QVERIFY2(run.cases.count(id), qPrintable(id));
            QVERIFY(!attributes.value(QLatin1String("time")).isEmpty());
        } else {
            QVERIFY2(name == QLatin1String("system-out"), "a failure or a skip");
        }
    }
    QVERIFY2(!xml.hasError(), qPrintable(xml.errorString()));
    QCOMPARE(testcases, listedCases());
    QCOMPARE(declared, testcases);
}

void TestLumoConform::faultIsCaughtByItsCase_data()
{
    QTest::addColumn<QString>("fault");
    QTest::addColumn<QString>("groups");
    QTest::addColumn<QString>("expected");
    // The emulator's table: each fault with the groups to run and the case
    // that must catch it.
    const struct
    {
        const char *fault, *groups, *expected;
    } rows[] = {
#define LUMO_FAULT(id, name, what, groups, caughtBy) {name, groups, caughtBy},
#include "klumoemulatorfaults.def"
#undef LUMO_FAULT
    };
    for (const auto &r : rows)
        QTest::addRow("%s", r.fault) << r.fault << r.groups << r.expected;
}

void TestLumoConform::faultIsCaughtByItsCase()
{
    QFETCH(QString, fault);
    QFETCH(QString, groups);
    QFETCH(QString, expected);
    EmulatorProcess emulator;
    // Logged in, so that the login-status rule has a login to see.
    QVERIFY(emulator.start({QStringLiteral("--fault"), fault, QStringLiteral("--autologin")}));
    const QString budget = QString::number(400 * lumotest::timeScale());
    const Run run = conform({"--only", groups, "--timeout", budget, "--push-command", PushCommand});
    QCOMPARE(run.ids("fail"), QStringList {expected});
    QCOMPARE(run.exitCode, 1);
    const KLumoJsonValue &failed = run.cases.at(expected);
    QVERIFY(!failed.find("got")->toString().empty());
    QVERIFY(failed.find("sent"));
    // The service that died takes the cases after it down: they say so, and do not fail.
    for (const QString &id : run.ids("skip"))
        QVERIFY2(fault == QLatin1String("exit-on-malformed") || id == QLatin1String("methods-02"),
                 qPrintable(id));
}

void TestLumoConform::neverHangs_data()
{
    QTest::addColumn<QStringList>("emulatorArgs");
    QTest::addColumn<QByteArray>("control");
    QTest::addRow("accepts, says nothing")
        << QStringList {QStringLiteral("--fault"), QStringLiteral("no-reply")} << QByteArray();
    QTest::addRow("stops reading") << QStringList() << QByteArray(R"({"cmd":"stall","on":true})");
}

void TestLumoConform::neverHangs()
{
    QFETCH(QStringList, emulatorArgs);
    QFETCH(QByteArray, control);
    EmulatorProcess emulator;
    QVERIFY(emulator.start(emulatorArgs));
    QVERIFY(control.isEmpty() || emulator.ok(control));
    const int budget = 200 * lumotest::timeScale();
    const Run run =
        conform({"--only", "framing,methods,generic", "--timeout", QString::number(budget)});
    QCOMPARE(run.exitCode, 1);
    // A case waits its budget at most once; methods-01 gives up after three calls.
    QVERIFY2(run.ms < qint64(budget) * (int(run.cases.size()) + 2) + 3000,
             qPrintable(QString::number(run.ms)));
    const QStringList failed = run.ids("fail");
    QCOMPARE(failed.size() + 2, int(run.cases.size())); // framing-06 and methods-02 skip
    for (const QString &id : failed)
        QVERIFY2(QString::fromStdString(run.cases.at(id).find("got")->toString())
                     .contains(QLatin1String("within the budget")),
                 qPrintable(id));
}

LUMO_TEST_MAIN(TestLumoConform)
#include "tst_lumoconform.moc"
