#pragma once

#include <QStringList>
#include <QtGlobal>

namespace lumotest {

/**
 * Collects the lines of the "lumoipc.notify" category while started; every
 * other line goes on to the handler that was installed before. One at a time
 * per process (it is Qt's one message handler).
 */
class NotifyLogCapture
{
public:
    void start(QStringList *sink)
    {
        s_sink = sink;
        s_previous = qInstallMessageHandler(&handle);
    }
    void stop()
    {
        qInstallMessageHandler(s_previous);
        s_sink = nullptr;
    }

private:
    static void handle(QtMsgType type, const QMessageLogContext &ctx, const QString &msg)
    {
        if (s_sink && ctx.category && qstrcmp(ctx.category, "lumoipc.notify") == 0)
            s_sink->append(msg);
        else if (s_previous)
            s_previous(type, ctx, msg);
    }
    static inline QtMessageHandler s_previous = nullptr;
    static inline QStringList *s_sink = nullptr;
};

} // namespace lumotest
