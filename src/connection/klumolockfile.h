#pragma once

#include <QString>

namespace ofx::lumo {

/**
 * The per-user lock files through which the service process announces itself
 * and clients serialise a restart: "%1/%2%3.lock" in the temporary folder,
 * %2 the key and %3 the real user id.
 *
 * The folder is writable by every local user, so nothing here follows a
 * symbolic link, opens anything but a regular file, or truncates a file, and
 * a file that another uid owns counts as absent: never held, locked, deleted
 * or changed (logged once).
 *
 * Our own locks are open-file-description locks: they conflict with the
 * classic record locks of other processes exactly as those do, but closing
 * some other descriptor of the same file in this process (a held test, a
 * second proxy) neither drops them nor hides them from a query.
 *
 * An instance is one lock object (the restart lock); it belongs to the thread
 * that uses it. The static tests may be called from any thread.
 */
class KLumoLockFile
{
public:
    static constexpr const char *ExistKey = "__#_LUMO_EXIST_MUTEX_KEY_#__";
    static constexpr const char *MainKey = "__#_LUMO_MUTEX_KEY_#__";
    static constexpr const char *LoginStatusKey = "__#_LUMO LOGIN STATUS KEY_#__";
    static constexpr const char *RestartKey = "__#_LUMO_PROCESSING_RESTART_MUTEX_KEY_#__";

    static QString path(const QString &key);

    // True when somebody (another process, or another lock object of ours)
    // holds a record lock over the file. A file that cannot be opened is free.
    static bool isHeld(const QString &key);

    // The login-status test: a record lock or a flock() on the login-status
    // file means a user is logged in. Creates the (empty) file when missing.
    static bool isLoginStatusHeld();

    explicit KLumoLockFile(const QString &key);
    ~KLumoLockFile();
    KLumoLockFile(const KLumoLockFile &) = delete;
    KLumoLockFile &operator=(const KLumoLockFile &) = delete;

    // Takes an exclusive whole-file lock without waiting; the file is created
    // when missing. Returns whether we may go on: we hold it now, or the name
    // is taken by a file of another uid (nothing is held then). When
    // the lock cannot be had (held elsewhere, or the file cannot be opened
    // safely) anotherHolds() becomes true.
    bool tryLock();
    bool isLocked() const { return m_nFd != -1; }
    bool anotherHolds() const { return m_bAnotherHolds; }
    // Closes the descriptor, and with it the lock.
    void release();

private:
    QString m_strPath;
    bool m_bAnotherHolds = false;
    int m_nFd = -1;
};

} // namespace ofx::lumo
