#pragma once

#include <QtTest>

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

// The service's own settings, where its "autologin" key lives.
inline QString serviceConfigPath()
{
    return QDir::homePath()
        + QStringLiteral("/.local/share/nordvale/OFX Cloud Files/userdata/lumo/config.ini");
}

} // namespace lumotest

// QTEST_GUILESS_MAIN with a private environment set up before QCoreApplication.
#define LUMO_TEST_MAIN(TestObject)                                                                 \
    int main(int argc, char *argv[])                                                               \
    {                                                                                              \
        lumotest::PrivateEnvironment env;                                                          \
        QCoreApplication app(argc, argv);                                                          \
        TestObject tc;                                                                             \
        QTEST_SET_MAIN_SOURCE_PATH                                                                 \
        return QTest::qExec(&tc, argc, argv);                                                      \
    }
