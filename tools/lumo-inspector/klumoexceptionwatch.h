#pragma once

#include <QObject>

namespace ofx::lumo {

/**
 * The library's log lines that say a call ended in an exception ("Exception
 * on createFolder..."), which is all a host learns of the service's failure
 * text: it chains a Qt message handler (the library logs through Qt's) and
 * hands each such line to the watch's own thread by a queued call.
 *
 * One watch at a time; created and destroyed on the GUI thread. The handler
 * runs on whichever thread logs and only posts to the watch, under a lock.
 */
class KLumoExceptionWatch : public QObject
{
    Q_OBJECT
public:
    explicit KLumoExceptionWatch(QObject *parent = nullptr);
    ~KLumoExceptionWatch() override;

Q_SIGNALS:
    void exceptionLogged(const QString &line);
};

} // namespace ofx::lumo
