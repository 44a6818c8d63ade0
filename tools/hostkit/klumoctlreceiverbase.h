#pragma once

#include "klumojsoncodec.h"

#include <QMap>
#include <QObject>
#include <QString>

#include <map>
#include <string>
#include <vector>

namespace ofx::lumo {

/**
 * What every result slot of lumoctl's receiver does once the value is JSON:
 * keeps it under its request id and announces it. The slots themselves are
 * generated from the dispatcher's table (KLumoCtlReceiver). Main thread only.
 */
class KLumoCtlReceiverBase : public QObject
{
    Q_OBJECT
public:
    struct Result
    {
        bool ok = false;
        KLumoJsonValue value;
    };
    using QObject::QObject;

    bool has(const QString &requestId) const { return m_results.contains(requestId); }
    Result take(const QString &requestId) { return m_results.take(requestId); }

Q_SIGNALS:
    void resultReady(const QString &requestId);

protected:
    void deliver(bool ok, const QString &requestId, KLumoJsonValue value)
    {
        m_results.insert(requestId, Result {ok, std::move(value)});
        Q_EMIT resultReady(requestId);
    }

    template<class Record> static KLumoJsonValue toJson(const Record &record)
    {
        return KLumoJsonCodec::toJson(record);
    }
    static KLumoJsonValue toJson(const std::string &s) { return KLumoJsonValue(s); }
    static KLumoJsonValue toJson(const std::vector<std::string> &list);
    static KLumoJsonValue toJson(const std::map<std::string, std::string> &map);
    static KLumoJsonValue toJson(const QMap<QString, QString> &map);

private:
    QMap<QString, Result> m_results;
};

} // namespace ofx::lumo
