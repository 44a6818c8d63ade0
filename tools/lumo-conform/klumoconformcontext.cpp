#include "klumoconformcontext.h"

#include "klumojsonschemaindex.h"

#include <QProcess>
#include <QThread>

namespace ofx::lumo {

std::unique_ptr<KLumoConformPeer> KLumoConformContext::open(KLumoConformResult &r)
{
    if (gone()) {
        r.skip(m_strGoneReason);
        return nullptr;
    }
    auto peer = std::make_unique<KLumoConformPeer>(budgetMs());
    peer->setNotificationSink([this](const KLumoConformFrame &f) {
        m_lstNotifications.push_back(f);
        m_lstNotifications.back().body.clear(); // judged already; a chatty service must not add up
    });
    if (peer->connectTo(serverPath()))
        return peer;
    r.fail(peer->error());
    if (peer->link().failure() == KLumoConformLink::Failure::Error)
        setGone(peer->error());
    return nullptr;
}

bool KLumoConformContext::stillServing(KLumoConformResult &r)
{
    const jsonschema::Method &probe = KLumoConformPeer::requestMethod("getLoginInfo");
    const QDeadlineTimer until = deadline();
    for (;;) {
        KLumoConformPeer peer(budgetMs());
        if (!peer.connectTo(serverPath())) {
            r.fail(QStringLiteral("the service no longer accepts connections: %1")
                       .arg(peer.link().error()));
            if (peer.link().failure() == KLumoConformLink::Failure::Error)
                setGone(QStringLiteral("the service is gone: %1").arg(peer.error()));
            return false;
        }
        const quint32 seq = peer.call(probe);
        if (seq && peer.await(seq, until))
            return true;
        // Reset as it was taken in: a dying service may still accept; look again.
        if (peer.timedOut() || until.hasExpired())
            return r.fail(QStringLiteral("a new connection got no reply: %1").arg(peer.error()));
        QThread::msleep(20);
    }
}

void KLumoConformContext::setGone(const QString &why)
{
    m_strGoneReason = QStringLiteral("%1 (since %2)").arg(why, m_strCurrentCase);
}

bool KLumoConformContext::push(const QString &name, QString *error) const
{
    const jsonschema::Method *m =
        KLumoJsonSchemaIndex::method("KLumoNotifyServices", name.toStdString());
    const KLumoJsonValue args = KLumoConformPeer::sampleArgs(*m);
    const KLumoJsonValue *arg = args.find("arg");
    QProcess p;
    p.setProcessChannelMode(QProcess::MergedChannels);
    // Name and argument are appended as two words, passed through the shell unparsed.
    p.start(QStringLiteral("/bin/sh"),
            {QStringLiteral("-c"), m_oOptions.pushCommand + QStringLiteral(" \"$1\" \"$2\""),
             QStringLiteral("lumo-conform"), name,
             QString::fromStdString(arg ? arg->serialize() : std::string("{}"))});
    if (!p.waitForFinished(budgetMs())) {
        p.kill();
        p.waitForFinished(1000);
        *error = QStringLiteral("the push command did not finish within the budget");
        return false;
    }
    if (p.exitStatus() != QProcess::NormalExit || p.exitCode() != 0) {
        *error = QStringLiteral("the push command failed (exit %1): %2")
                     .arg(p.exitCode())
                     .arg(QString::fromLocal8Bit(p.readAll().trimmed()));
        return false;
    }
    return true;
}

} // namespace ofx::lumo
