#include "klumoconformrobustness.h"

#include "klumoconformcontext.h"
#include "klumoconformframing.h"
#include "klumojsonmessage.h"

#include <thrift/protocol/TCompactProtocol.h>
#include <thrift/transport/TBufferTransports.h>

#include <cstring>

namespace ofx::lumo {

namespace {

constexpr int StormConnections = 100;
constexpr int GraceMs = 100;

std::string probeCall()
{
    return KLumoJsonMessage::encodeCall(KLumoConformPeer::requestMethod("getLoginInfo"),
                                        KLumoJsonValue::object());
}

QString hexOf(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.left(48).toHex(' ')) + (bytes.size() > 48 ? " ..." : "");
}

} // namespace

void KLumoConformRobustness::survive(KLumoConformContext &ctx, KLumoConformResult &r,
                                     const Attack &attack)
{
    std::unique_ptr<KLumoConformPeer> good = ctx.open(r);
    if (!good || !KLumoConformFraming::probe(ctx, *good, r, "before the bad client came"))
        return;
    Peers bad;
    if (!attack(bad))
        return;
    const bool served =
        KLumoConformFraming::probe(ctx, *good, r,
                                   "on the well-behaved connection, with the bad client connected")
            .has_value();
    bad.clear();
    if (served)
        KLumoConformFraming::probe(ctx, *good, r,
                                   "on the well-behaved connection, after the bad client left");
    ctx.stillServing(r);
}

void KLumoConformRobustness::sendBytes(KLumoConformContext &ctx, KLumoConformResult &r,
                                       const QString &what, const QByteArray &bytes)
{
    r.sent = QStringLiteral("on a second connection, %1: %2").arg(what, hexOf(bytes));
    survive(ctx, r, [&](Peers &bad) {
        bad.push_back(ctx.open(r));
        if (!bad.back())
            return false;
        // A service that reads nothing more from this client may leave the write unfinished.
        bad.back()->link().write(bytes, QDeadlineTimer(qMin(ctx.budgetMs(), 1000)));
        // Time to read it (a service that drops the client says so sooner).
        bad.back()->link().waitReadable(QDeadlineTimer(qMin(ctx.budgetMs(), GraceMs)));
        return true;
    });
}

void KLumoConformRobustness::badMagic(KLumoConformContext &ctx, KLumoConformResult &r)
{
    QByteArray bytes = frame::make(1, QByteArray::fromStdString(probeCall()));
    bytes.replace(0, 4, "LUMO");
    sendBytes(ctx, r, QStringLiteral("a getLoginInfo call whose frame starts with \"LUMO\""),
              bytes);
}

void KLumoConformRobustness::shortLength(KLumoConformContext &ctx, KLumoConformResult &r)
{
    QByteArray bytes = frame::make(1, QByteArray(12, '\0'));
    frame::writeHeader(bytes.data(), 0, 1);
    const quint32 total = 12;
    std::memcpy(bytes.data() + 4, &total, sizeof total);
    sendBytes(ctx, r, QStringLiteral("a frame whose header claims a total length of 12 bytes"),
              bytes);
}

void KLumoConformRobustness::hugeLength(KLumoConformContext &ctx, KLumoConformResult &r)
{
    QByteArray bytes(int(frame::HeaderSize) + (64 << 10), '\0');
    frame::writeHeader(bytes.data(), (1u << 31) - frame::HeaderSize, 1);
    sendBytes(ctx, r,
              QStringLiteral("a frame claiming 2 GiB, of which 64 KiB come, then nothing more"),
              bytes);
}

void KLumoConformRobustness::truncated(KLumoConformContext &ctx, KLumoConformResult &r)
{
    const QByteArray whole = frame::make(1, QByteArray::fromStdString(probeCall()));
    sendBytes(ctx, r,
              QStringLiteral("the first %1 of the %2 bytes of a getLoginInfo call, then a "
                             "disconnect")
                  .arg(whole.size() - 4)
                  .arg(whole.size()),
              whole.left(whole.size() - 4));
}

void KLumoConformRobustness::notThrift(KLumoConformContext &ctx, KLumoConformResult &r)
{
    QByteArray body("\xff\xfe\xfd\xfc this body is not a Thrift message at all");
    sendBytes(ctx, r, QStringLiteral("a well-framed body that is not a Thrift message"),
              frame::make(1, body));
}

void KLumoConformRobustness::unknownMethod(KLumoConformContext &ctx, KLumoConformResult &r)
{
    using namespace apache::thrift;
    auto buffer = std::make_shared<transport::TMemoryBuffer>();
    protocol::TCompactProtocolT<transport::TMemoryBuffer> out(buffer);
    out.writeMessageBegin("lumoConformNoSuchMethod", protocol::T_CALL, 0);
    out.writeStructBegin("lumoConformNoSuchMethod_args");
    out.writeFieldStop();
    out.writeStructEnd();
    out.writeMessageEnd();
    const std::string body = buffer->getBufferAsString();
    r.sent = QStringLiteral("on a second connection, a call of lumoConformNoSuchMethod, then a "
                            "getLoginInfo call: %1")
                 .arg(hexOf(frame::make(1, body.data(), quint32(body.size()))));
    survive(ctx, r, [&](Peers &bad) {
        bad.push_back(ctx.open(r));
        KLumoConformPeer *peer = bad.back().get();
        if (!peer)
            return false;
        // Not awaited, so that whatever answers it is kept as it came.
        if (!peer->send(1, body, nullptr))
            return r.fail(peer->error());
        KLumoConformResult ignored;
        if (!KLumoConformFraming::probe(ctx, *peer, ignored, "after the unknown call"))
            r.notes << QStringLiteral("the service answered nothing more on that connection (%1)")
                           .arg(peer->error());
        for (const KLumoConformFrame &f : peer->unexpected())
            r.notes << QStringLiteral("the unknown call was answered: %1").arg(f.describe());
        return true;
    });
}

void KLumoConformRobustness::connectionStorm(KLumoConformContext &ctx, KLumoConformResult &r)
{
    r.sent =
        QStringLiteral("%1 connections opened together and closed together").arg(StormConnections);
    survive(ctx, r, [&](Peers &bad) {
        for (int i = 0; i < StormConnections; ++i) {
            bad.push_back(ctx.open(r));
            if (!bad.back())
                return false;
        }
        return true;
    });
}

} // namespace ofx::lumo
