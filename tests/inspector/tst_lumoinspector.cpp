#include "emulatorprocess.h"
#include "klumoargumenteditor.h"
#include "klumocallconsole.h"
#include "klumocapturesession.h"
#include "klumocaptureview.h"
#include "klumoinspectorwindow.h"
#include "klumolatencyhistogram.h"
#include "klumoliveview.h"
#include "klumonotificationmodel.h"
#include "klumosequencechart.h"
#include "klumostatsmodel.h"
#include "lumotestenv.h"

#include <LumoIpc/LumoIpc>

#include <QAbstractButton>
#include <QApplication>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QScrollBar>
#include <QSignalSpy>
#include <QSortFilterProxyModel>
#include <QStandardItemModel>
#include <QTableView>

#include <map>
#include <numeric>

using namespace ofx::lumo;
using lumotest::EmulatorProcess;
using Style = KLumoSequenceChart::Style;

namespace {

const char Login[] = R"({"cmd":"login","profile":{"isLogined":"1","userId":"10001",)"
                     R"("userName":"ada","nickName":"Ada L.","account":"ada@example.org",)"
                     R"("loginMode":"password","companyId":"C-77",)"
                     R"("companyName":"Analytical Engines Ltd"}})";

// What a person sees of @p window: the texts of its labels, buttons and group
// boxes, and the titles of the table sections in view, of every widget shown
// (the current tab's, not the others') that lies inside the window.
QStringList shownTexts(QWidget *window)
{
    QStringList shown;
    for (QWidget *w : window->findChildren<QWidget *>()) {
        const QRect at(w->mapTo(window, QPoint(0, 0)), w->size());
        if (!w->isVisibleTo(window) || !window->rect().intersects(at) || at.isEmpty())
            continue;
        if (const auto *label = qobject_cast<QLabel *>(w))
            shown << label->text();
        else if (const auto *button = qobject_cast<QAbstractButton *>(w))
            shown << button->text();
        else if (const auto *box = qobject_cast<QGroupBox *>(w))
            shown << box->title();
        else if (const auto *header = qobject_cast<QHeaderView *>(w)) {
            for (int s = 0; s < header->count(); ++s) {
                const int x = header->sectionViewportPosition(s);
                if (!header->isSectionHidden(s) && x >= 0 && x < header->viewport()->width())
                    shown << header->model()->headerData(s, header->orientation()).toString();
            }
        }
    }
    return shown;
}

} // namespace

// The inspector's three views against a real emulator and real captures: the
// window runs in this process as a host of the library, the hosts it records
// run as processes of their own.
class TestInspector : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void liveViewFollowsTheLogin();
    void notificationLogShowsArguments();
    void consoleEndsCalls_data();
    void consoleEndsCalls();
    void consoleMarksTheFaultyField_data();
    void consoleMarksTheFaultyField();
    void captureViewDrawsTheSession();
    void damagedCaptureShowsWhereItStops();
    void followedCaptureGrows();
    void screenshots();
    void consoleWithoutServiceSaysNotConnected();
    void cleanupTestCase();

private:
    KLumoLiveView *live() const { return m_window->liveView(); }
    KLumoCallConsole *console() const { return m_window->callConsole(); }
    KLumoCaptureView *capture() const { return m_window->captureView(); }
    int requests()
    {
        return int(m_emulator.ctl(R"({"cmd":"status"})").find("requests")->toInteger());
    }
    bool load(const QStringList &paths, bool follow = false)
    {
        QSignalSpy shown(capture(), &KLumoCaptureView::sessionShown);
        capture()->open(paths, follow);
        return shown.wait(10000 * lumotest::timeScale());
    }
    QString call(const QString &method, const QString &argument = {})
    {
        QSignalSpy ended(console(), &KLumoCallConsole::callEnded);
        console()->selectMethod(method);
        if (!argument.isEmpty())
            console()->editor()->setPlainText(argument);
        if (!console()->send() || !ended.wait(10000 * lumotest::timeScale()))
            return QStringLiteral("<not ended>");
        return console()->history()->item(ended.first().first().toInt(), 2)->text();
    }
    // Records the captures the capture view's cases read, once: a load host's
    // and lumoctl's, against the emulator, which answers, fails and ignores
    // calls in turn.
    void recordSession();
    std::map<Style, int> arrows() const
    {
        std::map<Style, int> n;
        for (int row = 0; row < capture()->chart()->session()->rowCount(); ++row)
            ++n[capture()->chart()->arrow(row).style];
        return n;
    }

    EmulatorProcess m_emulator;
    std::unique_ptr<KLumoInspectorWindow> m_window;
    QStringList m_captures; // a load host's and lumoctl's
    QString m_hostPath;
    int m_hostFrames = 0;
    int m_secondBlock = 0; // the offset of the second packet's block in the host's capture
};

void TestInspector::initTestCase()
{
    qputenv("LUMOIPC_CALL_EXPIRY_MS", "1500"); // failed calls end at expiry
    m_window = std::make_unique<KLumoInspectorWindow>();
    m_window->show();
    LumoIpcInit(true);
    m_window->attach(LumoIpcEventObject());
}

// Every case starts with the emulator serving and the window connected to it,
// whichever case ran before (one stops the emulator); those that read the
// recorded session, with it.
void TestInspector::init()
{
    if (m_emulator.process().state() == QProcess::NotRunning) {
        QVERIFY(m_emulator.start());
        QTRY_COMPARE_WITH_TIMEOUT(live()->state("connection"), QStringLiteral("connected"),
                                  10000 * lumotest::timeScale());
    }
    const QByteArrayList readers = {"captureViewDrawsTheSession", "damagedCaptureShowsWhereItStops",
                                    "followedCaptureGrows", "screenshots"};
    if (readers.contains(QTest::currentTestFunction()))
        recordSession();
}

void TestInspector::liveViewFollowsTheLogin()
{
    // Logged out first: the service says so at once, as it does when a user leaves.
    QVERIFY(m_emulator.ok(R"({"cmd":"logout"})"));
    QVERIFY(m_emulator.ok(R"({"cmd":"push","name":"notifyAction","arg":{"type":2}})"));
    QTRY_COMPARE(live()->state("logged in"), QStringLiteral("no"));
    QCOMPARE(live()->state("running"), QStringLiteral("yes"));
    QVERIFY(m_emulator.ok(Login));
    // The library looks at the login every 5 s.
    QTRY_COMPARE_WITH_TIMEOUT(live()->recordField("login.userName"), QStringLiteral("ada"),
                              10000 * lumotest::timeScale());
    QTRY_COMPARE(live()->state("logged in"), QStringLiteral("yes"));
    QCOMPARE(live()->recordField("company.companyName"), QStringLiteral("Analytical Engines Ltd"));
    QVERIFY(live()->log()->rowCount() > 0); // LoginStatusChange at least
}

// A pushed notification is logged with its decoded record; the filter looks
// into arguments, the detail shows the JSON, and pausing holds back.
void TestInspector::notificationLogShowsArguments()
{
    KLumoNotificationModel *log = live()->log();
    const auto push = [&](const char *fileId) {
        return m_emulator.ok(R"({"cmd":"push","name":"notifyFileAction","arg":{"action":2,)"
                             R"("fileName":"plan.txt","fileId":")"
                             + QByteArray(fileId) + "\"}}");
    };
    QVERIFY(push("F-9"));
    const auto last = [&](int column) {
        return log->index(log->rowCount() - 1, column).data().toString();
    };
    QTRY_COMPARE(last(KLumoNotificationModel::Signal), QStringLiteral("signal_notifyFileAction"));
    QVERIFY2(last(KLumoNotificationModel::Arguments).contains(R"("fileId":"F-9")"),
             qPrintable(last(KLumoNotificationModel::Arguments)));

    live()->findChild<QLineEdit *>()->setText(QStringLiteral("plan.TXT"));
    QCOMPARE(live()->filteredLog()->rowCount(), 1);
    live()->logView()->selectRow(0);
    QVERIFY(live()->detail()->toPlainText().contains(R"("fileId": "F-9")"));
    live()->findChild<QLineEdit *>()->clear();

    const int rows = log->rowCount();
    log->setPaused(true);
    QVERIFY(push("F-10"));
    QTRY_COMPARE(log->heldBack(), 1);
    QCOMPARE(log->rowCount(), rows);
    log->setPaused(false);
    QCOMPARE(log->rowCount(), rows + 1);
    QVERIFY(last(KLumoNotificationModel::Arguments).contains("F-10"));
}

void TestInspector::consoleEndsCalls_data()
{
    QTest::addColumn<QByteArray>("behaviour");
    QTest::addColumn<QString>("method");
    QTest::addColumn<QString>("argument"); // empty: the sample
    QTest::addColumn<QString>("outcome");
    QTest::addColumn<QString>("result");
    QTest::addRow("answered") << QByteArray(R"("reply","method":"createFolder","behaviour":{)"
                                            R"("reply":{"folderId":"F-1001"},"delayMs":30})")
                              << "createFolder" << QString() << "answered"
                              << R"("F-1001")";
    QTest::addRow("generic route")
        << QByteArray(R"("generic","name":"getSkinInfo","behaviour":{"reply":{"skin":"dark"}})")
        << KLumoCallConsole::GenericRoute << R"({"method": "getSkinInfo", "params": ["x"]})"
        << "answered"
        << R"("skin": "dark")";
}

// Each way a call ends reads as such; running it again from the history ends alike.
void TestInspector::consoleEndsCalls()
{
    QFETCH(QByteArray, behaviour);
    QFETCH(QString, method);
    QFETCH(QString, argument);
    QFETCH(QString, outcome);
    QFETCH(QString, result);
    m_window->showTab(KLumoInspectorWindow::Calls);
    QVERIFY(m_emulator.ok(R"({"cmd":)" + behaviour + "}"));
    QVERIFY(call(method, argument).startsWith(outcome));
    QVERIFY2(console()->resultText().contains(result), qPrintable(console()->resultText()));
    QStandardItemModel *history = console()->history();
    QVERIFY(history->item(history->rowCount() - 1, 3)->text().toInt() >= 0);

    QSignalSpy ended(console(), &KLumoCallConsole::callEnded);
    QTableView *view = console()->findChild<QTableView *>();
    const QModelIndex last = history->index(history->rowCount() - 1, 1);
    view->scrollTo(last);
    const QPoint at = view->visualRect(last).center();
    QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, at);
    QTest::mouseDClick(view->viewport(), Qt::LeftButton, {}, at);
    QVERIFY(ended.wait(10000 * lumotest::timeScale()));
    QVERIFY(history->item(ended.first().first().toInt(), 2)->text().startsWith(outcome));
}

void TestInspector::consoleMarksTheFaultyField_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<QString>("argument");
    QTest::addColumn<QString>("marked"); // the text at the marked place
    QTest::addColumn<QString>("message");
    QTest::addRow("wrong type") << "createFolder"
                                << "{\n  \"userId\": \"1\",\n  \"folderName\": 5\n}"
                                << "\"folderName\""
                                << "arg.folderName: expected string";
    QTest::addRow("map value") << "createFolder"
                               << R"({"extraParam": {"a": "1", "k": 5}})"
                               << "\"k\""
                               << "arg.extraParam[\"k\"]";
    QTest::addRow("list element") << KLumoCallConsole::GenericRoute
                                  << R"({"method": "x", "params": ["a", 7]})"
                                  << "7"
                                  << "params[1]";
    QTest::addRow("not JSON") << "createFolder"
                              << R"({"folderName": "a",})"
                              << "}"
                              << "Not JSON";
}

// A mistake is shown where it is, and nothing is sent.
void TestInspector::consoleMarksTheFaultyField()
{
    QFETCH(QString, method);
    QFETCH(QString, argument);
    QFETCH(QString, marked);
    QFETCH(QString, message);
    QVERIFY(console()->selectMethod(method));
    console()->editor()->setPlainText(argument);
    const int calls = console()->history()->rowCount();
    QVERIFY(!console()->send());
    QCOMPARE(console()->history()->rowCount(), calls);
    const int at = console()->editor()->errorPosition();
    QVERIFY2(argument.mid(at).startsWith(marked), qPrintable(argument.mid(at)));
    const QString shown = console()->editor()->messageLabel()->text();
    QVERIFY2(shown.contains(message), qPrintable(shown));
}

void TestInspector::recordSession()
{
    if (!m_captures.isEmpty())
        return;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("LUMOIPC_CAPTURE", QDir::tempPath() + "/host-%p.pcapng");
    env.insert("LUMOIPC_CALL_EXPIRY_MS", "300");
    QVERIFY(m_emulator.ok(Login)); // the host calls once somebody is logged in
    const QByteArray answer = R"({"cmd":"reply","method":"createFolder","behaviour":)";
    QVERIFY(m_emulator.ok(answer + R"({"reply":{"folderId":"f1"},"delayMs":40}})"));
    QProcess host;
    host.setProcessEnvironment(env);
    host.start(QStringLiteral(LUMOHOST_BIN), {"tracehost", "stdin", "1", "2"});
    QVERIFY(host.waitForStarted());
    m_hostPath = QDir::tempPath() + QStringLiteral("/host-%1.pcapng").arg(host.processId());
    // n more requests reach the emulator.
    const auto calls = [&](int n) {
        const int at = requests();
        return QTest::qWaitFor([&] { return requests() >= at + n; }, 10000 * lumotest::timeScale());
    };
    QVERIFY(calls(4));
    lumotest::runToEnd(LUMOCTL_BIN, {"generic", "getLoginInfo", "lumoctl"},
                       env); // a second host, meanwhile
    QVERIFY(m_emulator.ok(R"({"cmd":"push","name":"notifyFileAction","arg":{"action":1}})"));
    QVERIFY(m_emulator.ok(R"({"cmd":"push","name":"notifyFileAction","arg":{"action":2}})"));
    QVERIFY(m_emulator.ok(answer + R"({"fail":"locked","delayMs":5}})") && calls(2));
    QVERIFY(m_emulator.ok(answer + R"({"noReply":true}})") && calls(2));
    QVERIFY(m_emulator.ok(answer + R"({"reply":{"folderId":"f2"},"delayMs":20}})") && calls(3));
    host.closeWriteChannel();
    QVERIFY(host.waitForFinished(20000 * lumotest::timeScale()));
    QStringList captures = QDir(QDir::tempPath()).entryList({"host-*.pcapng"});
    QCOMPARE(captures.size(), 2);
    for (QString &c : captures)
        c.prepend(QDir::tempPath() + '/');
    QVERIFY(load({m_hostPath}));
    m_hostFrames = capture()->chart()->session()->rowCount();
    QVERIFY(m_hostFrames > 20 && capture()->bannerText().isEmpty());
    m_secondBlock = int(KLumoJsonValue::parse(capture()->chart()->session()->frameJson(1), nullptr)
                            .find("offset")
                            ->toInteger());

    m_captures = captures;
}

// The chart has an arrow per frame of both captures, styled by how the call
// ended, and the statistics are lumoctl's.
void TestInspector::captureViewDrawsTheSession()
{
    QVERIFY(load(m_captures));
    QVERIFY(capture()->bannerText().isEmpty());
    const KLumoCaptureSession *session = capture()->chart()->session();
    QCOMPARE(session->summary().processes().size(), size_t(2));
    // lumoctl's reading of the same files.
    const KLumoJsonValue stats = KLumoJsonValue::parse(
        lumotest::runToEnd(LUMOCTL_BIN, QStringList {"trace", "--stats", "--json"} + m_captures)
            .out.toStdString(),
        nullptr);
    std::map<std::string, int> sum;
    for (const char *list : {"methods", "notifications"})
        for (const KLumoJsonValue &row : stats.find(list)->elements())
            for (const char *key : {"calls", "unanswered", "replies", "failures", "count"})
                sum[key] += row.find(key) ? int(row.find(key)->toInteger()) : 0;
    std::map<Style, int> drawn = arrows();
    QCOMPARE(drawn[Style::Call] + drawn[Style::Unanswered], sum["calls"]);
    QCOMPARE(drawn[Style::Unanswered], sum["unanswered"]);
    QCOMPARE(drawn[Style::Reply] + drawn[Style::Failed], sum["replies"]);
    QCOMPARE(drawn[Style::Failed], sum["failures"]);
    QCOMPARE(drawn[Style::Notification], sum["count"]);
    QVERIFY(sum["failures"] >= 2 && sum["unanswered"] >= 2 && sum["count"] >= 2);

    // The statistics are lumoctl's, and the tables show them.
    QCOMPARE(session->stats().serialize(), stats.serialize());
    const KLumoJsonValue &first = stats.find("methods")->elements().front();
    QCOMPARE(capture()->methodStats()->rowCount(), stats.find("methods")->size());
    QCOMPARE(capture()->methodStats()->index(0, 1).data().toString().toStdString(),
             lumotest::field(first, "calls"));

    // A click on a failed reply shows its frame and the histogram its method;
    // Enter goes to its request.
    int row = 0;
    while (capture()->chart()->arrow(row).style != Style::Failed)
        ++row;
    KLumoSequenceChart *chart = capture()->chart();
    chart->selectRow(row);
    chart->selectRow(row - 1); // in view, not selected
    const int y = int(chart->arrow(row).line.y1()) - chart->verticalScrollBar()->value();
    QTest::mouseClick(chart->viewport(), Qt::LeftButton, {}, QPoint(40, y));
    QCOMPARE(chart->selectedRow(), row);
    const QString reply = capture()->frameText();
    QVERIFY2(reply.contains(R"("message": "locked")"), qPrintable(reply));
    const QVector<int> &bins = capture()->histogram()->counts();
    const int methodRow = capture()->methodStats()->rowOf(QStringLiteral("createFolder"));
    QCOMPARE(std::accumulate(bins.begin(), bins.end(), 0),
             int(capture()->methodStats()->value(methodRow, 2).toInteger())); // REPLIES
    QTest::keyClick(chart, Qt::Key_Return);
    QCOMPARE(chart->arrow(chart->selectedRow()).style, Style::Call);
    const QString seq = reply.mid(reply.indexOf("\"seq\""), 12).section(',', 0, 0);
    QVERIFY(capture()->frameText().contains(seq) && capture()->frameText().contains("\"call\""));

    // Sorted by p99, numerically, the slowest method comes first.
    const KLumoJsonValue *slowest = nullptr;
    for (const KLumoJsonValue &m : stats.find("methods")->elements()) {
        const KLumoJsonValue *l = m.find("latencyMs");
        if (!l->isNull()
            && (!slowest
                || l->find("p99")->toDouble()
                    > slowest->find("latencyMs")->find("p99")->toDouble()))
            slowest = &m;
    }
    capture()->methodTable()->sortByColumn(8, Qt::DescendingOrder); // P99 ms
    QCOMPARE(capture()->methodTable()->model()->index(0, 0).data().toString().toStdString(),
             lumotest::field(*slowest, "method"));
}

// What came before the damage is drawn, then a red band; the banner names
// the byte offset. (The reader's kinds of damage: tst_systemtrace.)
void TestInspector::damagedCaptureShowsWhereItStops()
{
    const QString damaged = QDir::tempPath() + "/damaged.pcapng";
    QVERIFY(lumotest::writeFile(damaged, lumotest::readFile(m_hostPath).left(m_secondBlock + 30)));
    QVERIFY(load({damaged}));
    const QString message = QStringLiteral("truncated at byte offset %1: ").arg(m_secondBlock);
    QVERIFY2(capture()->bannerText().contains(message), qPrintable(capture()->bannerText()));
    // The first frame, then the damage.
    QCOMPARE(capture()->chart()->session()->rowCount(), 2);
    QCOMPARE(capture()->chart()->arrow(1).style, Style::Damage);
}

// A capture being written grows in the chart as blocks complete.
void TestInspector::followedCaptureGrows()
{
    const QByteArray whole = lumotest::readFile(m_hostPath);
    QFile f(QDir::tempPath() + "/growing.pcapng");
    QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    f.write(whole.left(whole.size() / 2));
    f.flush();
    QVERIFY(load({f.fileName()}, true));
    const int early = capture()->chart()->session()->rowCount();
    QVERIFY(early > 0 && early < m_hostFrames);
    f.write(whole.mid(whole.size() / 2));
    f.flush();
    QTRY_COMPARE(capture()->chart()->session()->rowCount(), m_hostFrames);
    QVERIFY(capture()->bannerText().isEmpty());
}

// Each view rendered from this session, for the README (LUMO_SCREENSHOT_DIR)
// or the test's own folder: logged in, a call answered, both captures open.
// Each shows its own labels and table headers, in view, and none of the others'.
void TestInspector::screenshots()
{
    const QString dir = qEnvironmentVariable("LUMO_SCREENSHOT_DIR", QDir::tempPath());
    QVERIFY(m_emulator.ok(Login));
    QTRY_COMPARE_WITH_TIMEOUT(live()->state("logged in"), QStringLiteral("yes"),
                              10000 * lumotest::timeScale());
    QVERIFY(
        m_emulator.ok(R"({"cmd":"reply","method":"createFolder","behaviour":{"reply":)"
                      R"({"state":0,"userId":"10001","folderId":"F-1001","folderName":"Reports",)"
                      R"("ctime":1763800000123},"delayMs":12}})"));
    QVERIFY(call("createFolder", R"({"userId": "10001", "parentId": "0", "folderName": "Reports"})")
                .startsWith("answered"));
    QVERIFY(load(m_captures));
    m_window->resize(1440, 900);
    m_window->showTab(KLumoInspectorWindow::Capture);
    QCoreApplication::processEvents();
    // From the second host's first call on, with a failed reply selected.
    KLumoSequenceChart *chart = capture()->chart();
    const KLumoCaptureSession *session = chart->session();
    int first = 0, failed = 0;
    while (!session->summary()
                .processes()[size_t(session->rows()[size_t(first)].process)]
                .description.startsWith("lumoctl"))
        ++first;
    while (chart->arrow(failed).style != Style::Failed)
        ++failed;
    chart->selectRow(failed);
    chart->verticalScrollBar()->setValue((first - 1) * chart->rowHeight());
    struct View
    {
        KLumoInspectorWindow::Tab tab;
        const char *file;
        QStringList shows; // the first is the view's alone
    };
    const View views[] = {
        {KLumoInspectorWindow::Live,
         "live",
         {"Server name", "Service", "Running", "Connection", "Logged in", "connected", "yes",
          "Record", "Value", "Time", "Signal", "Arguments", "Pause"}},
        {KLumoInspectorWindow::Calls,
         "calls",
         {"Argument (JSON)", "Send", "Time", "Method", "Outcome"}},
        {KLumoInspectorWindow::Capture,
         "capture",
         {"NOTIFICATION", "COUNT", "Open…", "Follow…", "METHOD", "CALLS", "FAILED", "NO REPLY",
          "P50 ms", "P99 ms"}},
    };
    for (const View &view : views) {
        m_window->showTab(view.tab);
        QCoreApplication::processEvents();
        const QPixmap shot = m_window->grab();
        QCOMPARE(shot.size(), m_window->size());
        const QStringList shown = shownTexts(m_window.get());
        for (const QString &text : view.shows)
            QVERIFY2(shown.contains(text), qPrintable(view.file + (": no " + text)));
        for (const View &other : views)
            QVERIFY2(&other == &view || !shown.contains(other.shows.first()),
                     qPrintable(view.file + (": shows " + other.shows.first())));
        QVERIFY(shot.save(dir + QStringLiteral("/inspector-%1.png").arg(view.file)));
    }
    // The capture view's summary line, last shown.
    const QStringList status = shownTexts(m_window.get()).filter("from 2 file(s) of 2 host(s)");
    QCOMPARE(status.size(), 1);
}

void TestInspector::consoleWithoutServiceSaysNotConnected()
{
    QVERIFY(m_emulator.ok(R"({"cmd":"stop"})"));
    QTRY_COMPARE(live()->state("connection"), QStringLiteral("not connected"));
    QVERIFY(call("createFolder").startsWith("not connected"));
    QTRY_COMPARE(live()->state("running"), QStringLiteral("no"));
}

void TestInspector::cleanupTestCase()
{
    m_window.reset();
    LumoIpcFree();
}

LUMO_TEST_MAIN_APP(TestInspector, QApplication)

#include "tst_lumoinspector.moc"
