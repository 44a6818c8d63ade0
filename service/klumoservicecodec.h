#pragma once

#include <QByteArray>

#include <string>

namespace apache::thrift::protocol {
class TProtocol;
}

namespace ofx::lumo {

struct KLumoServiceField;

/**
 * The service's outgoing messages, each encoded with the compact protocol
 * straight into a complete frame (the library's header, then the message).
 * Any thread: each thread encodes into memory of its own.
 */
class KLumoServiceCodec
{
public:
    // Writes @p value (typed by the caller) into @p out.
    using Write = void (*)(const void *value, apache::thrift::protocol::TProtocol *out);

    // The reply to call @p method (Thrift sequence id @p thriftSeq), under
    // frame sequence id @p frameSeq: a result record whose fields @p write
    // writes (none when it is null).
    static QByteArray reply(quint32 frameSeq, const std::string &method, qint32 thriftSeq,
                            Write write, const void *value);
    // The same frame appended to @p out: the answers to one read share one
    // buffer, with no frame of their own.
    static void appendReply(QByteArray &out, quint32 frameSeq, const std::string &method,
                            qint32 thriftSeq, Write write, const void *value);
    // An application exception of @p type (TApplicationException's codes)
    // in answer to @p method.
    static QByteArray exception(quint32 frameSeq, const std::string &method, qint32 thriftSeq,
                                int type, const std::string &message);
    // A one-way message @p method (a notification) under sequence id 0, its
    // argument record made of @p fields.
    static QByteArray oneway(const std::string &method, const KLumoServiceField *fields, int count);
    // @p message, already encoded, in a frame.
    static QByteArray message(quint32 frameSeq, const QByteArray &message);
};

} // namespace ofx::lumo
