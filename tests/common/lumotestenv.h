#pragma once

#include <QProcess>
#include <QStandardPaths>
#include <QTest>

#include <cstdlib>
#include <string>
#include <sys/stat.h>

namespace lumotest {

// A private TMPDIR, HOME and XDG folders, set before the application object
// exists: lock files, sockets and settings never touch the user's own. Removed
// at exit unless LUMO_KEEP_TEST_DIR is set.
class PrivateEnvironment
{
public:
    PrivateEnvironment()
    {
        // A short base keeps socket paths well inside sun_path's 108 bytes.
        char tmpl[] = "/tmp/lumotest-XXXXXX";
        if (!::mkdtemp(tmpl))
            std::abort();
        m_root = tmpl;
        const char *const folders[][2] = {{"TMPDIR", "/tmp"},
                                          {"HOME", "/home"},
                                          {"XDG_CONFIG_HOME", "/home/.config"},
                                          {"XDG_DATA_HOME", "/home/.local/share"},
                                          {"XDG_CACHE_HOME", "/home/.cache"},
                                          {"XDG_RUNTIME_DIR", "/run"}};
        for (const auto &folder : folders) {
            const std::string path = m_root + folder[1];
            QDir().mkpath(QString::fromStdString(path));
            ::chmod(path.c_str(), 0700);
            ::setenv(folder[0], path.c_str(), 1);
        }
        QStandardPaths::setTestModeEnabled(true);
    }
    ~PrivateEnvironment()
    {
        if (!qEnvironmentVariableIsSet("LUMO_KEEP_TEST_DIR"))
            QDir(QString::fromStdString(m_root)).removeRecursively();
    }

private:
    std::string m_root;
};

// How much longer than a plain build the test's time bounds may take: CTest
// sets LUMO_TEST_TIME_SCALE in sanitizer builds, which run several times slower.
inline int timeScale()
{
    return qMax(1, qEnvironmentVariableIntValue("LUMO_TEST_TIME_SCALE"));
}

// The bytes of @p path; none when it cannot be read.
inline QByteArray readFile(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// Replaces @p path with @p bytes; false when it cannot.
inline bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(bytes) == bytes.size();
}

// A process run to its end: its exit code (-1: crashed, or still running after
// @p timeoutMs, times the scale) and its output.
struct Finished
{
    int exitCode = -1;
    QByteArray out, err;
};
inline Finished runToEnd(const QString &program, const QStringList &args,
                         const QProcessEnvironment &env = QProcessEnvironment::systemEnvironment(),
                         int timeoutMs = 30000)
{
    QProcess p;
    p.setProcessEnvironment(env);
    p.start(program, args);
    Finished f;
    if (p.waitForFinished(timeoutMs * timeScale()) && p.exitStatus() == QProcess::NormalExit)
        f.exitCode = p.exitCode();
    f.out = p.readAllStandardOutput();
    f.err = p.readAllStandardError();
    return f;
}

// The service's own settings, where its "autologin" key lives.
inline QString serviceConfigPath()
{
    return QDir::homePath()
        + QStringLiteral("/.local/share/nordvale/OFX Cloud Files/userdata/lumo/config.ini");
}

} // namespace lumotest

// QTEST_GUILESS_MAIN (or, with QApplication, QTEST_MAIN) with a private
// environment set up before the application object.
#define LUMO_TEST_MAIN(TestObject) LUMO_TEST_MAIN_APP(TestObject, QCoreApplication)
#define LUMO_TEST_MAIN_APP(TestObject, Application)                                                \
    int main(int argc, char *argv[])                                                               \
    {                                                                                              \
        lumotest::PrivateEnvironment env;                                                          \
        Application app(argc, argv);                                                               \
        TestObject tc;                                                                             \
        QTEST_SET_MAIN_SOURCE_PATH                                                                 \
        return QTest::qExec(&tc, argc, argv);                                                      \
    }
