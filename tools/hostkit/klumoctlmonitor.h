#pragma once

#include "klumojsonvalue.h"

#include <QMetaMethod>
#include <QObject>

#include <functional>
#include <vector>

namespace ofx::lumo {

/**
 * Connects to every signal of an object without knowing them at compile time
 * and hands each emission to a sink as {"signal": NAME, "args": [...]}, records
 * converted through the JSON bridge. Uses the receiver-index trick of Qt's own
 * signal spy: each signal is connected to a method index past QObject's own,
 * which qt_metacall() below recognises.
 *
 * Lives on the thread of the watched object; signals are taken directly.
 */
class KLumoCtlMonitor : public QObject
{
public:
    using Sink = std::function<void(const KLumoJsonValue &)>;
    // Watches every signal of @p source, or only those named in @p only.
    KLumoCtlMonitor(QObject *source, Sink sink, const QStringList &only = {});

    int signalCount() const { return int(m_lstSignals.size()); }
    // Every signal of @p source declared past QObject's own.
    static QStringList signalNames(const QObject *source);
    // One argument of a signal as JSON; unknown types give {"unsupported": name}.
    static KLumoJsonValue argumentToJson(int type, const char *typeName, const void *data);

    int qt_metacall(QMetaObject::Call call, int id, void **args) override;

private:
    Sink m_fnSink;
    std::vector<QMetaMethod> m_lstSignals;
};

} // namespace ofx::lumo
