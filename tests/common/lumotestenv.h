#pragma once

#include <QByteArray>
#include <QDir>
#include <QStandardPaths>
#include <QtTest>

#include <cstdlib>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace lumotest {

/**
 * Gives the test process a private TMPDIR, HOME and XDG folders before the
 * application object exists, so lock files, sockets and settings never touch
 * the user's own. The folder is removed at exit unless LUMO_KEEP_TEST_DIR is set.
 */
class PrivateEnvironment
{
public:
    PrivateEnvironment()
    {
        // A short base keeps socket paths well inside sun_path's 108 bytes.
        char tmpl[] = "/tmp/lumotest-XXXXXX";
        const char *dir = ::mkdtemp(tmpl);
        if (!dir)
            std::abort();
        m_root = dir;
        set("TMPDIR", "/tmp");
        set("HOME", "/home");
        set("XDG_CONFIG_HOME", "/home/.config");
        set("XDG_DATA_HOME", "/home/.local/share");
        set("XDG_CACHE_HOME", "/home/.cache");
        set("XDG_RUNTIME_DIR", "/run");
        QStandardPaths::setTestModeEnabled(true);
    }
    ~PrivateEnvironment()
    {
        if (!qEnvironmentVariableIsSet("LUMO_KEEP_TEST_DIR"))
            QDir(QString::fromStdString(m_root)).removeRecursively();
    }
    std::string root() const { return m_root; }

private:
    void set(const char *name, const char *sub)
    {
        const std::string path = m_root + sub;
        QDir().mkpath(QString::fromStdString(path));
        ::chmod(path.c_str(), 0700);
        ::setenv(name, path.c_str(), 1);
    }
    std::string m_root;
};

// How much longer than a plain build the test's time bounds may take: CTest
// sets LUMO_TEST_TIME_SCALE in sanitizer builds, which run several times slower.
inline int timeScale()
{
    const int scale = qEnvironmentVariableIntValue("LUMO_TEST_TIME_SCALE");
    return scale > 1 ? scale : 1;
}

} // namespace lumotest

// QTEST_GUILESS_MAIN with a private environment set up before QCoreApplication.
#define LUMO_TEST_MAIN(TestObject)                                                                 \
    int main(int argc, char *argv[])                                                               \
    {                                                                                              \
        lumotest::PrivateEnvironment env;                                                          \
        QCoreApplication app(argc, argv);                                                          \
        app.setAttribute(Qt::AA_Use96Dpi, true);                                                   \
        TestObject tc;                                                                             \
        QTEST_SET_MAIN_SOURCE_PATH                                                                 \
        return QTest::qExec(&tc, argc, argv);                                                      \
    }
