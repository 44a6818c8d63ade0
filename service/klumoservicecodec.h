#pragma once

#include <QByteArray>

#include <map>
#include <string>
#include <string_view>

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

    // A message's header (protocol id, version and type, sequence id, name).
    struct Envelope
    {
        std::string_view method; // within the body it was read from
        qint32 thriftSeq = 0;
        int type = 0; // a TMessageType
        quint32 size = 0; // its bytes: the message's record follows
    };
    // Reads the header at the start of @p body in place, without the
    // protocol's copy of the name. False when it is not one in the form every
    // writer uses (the protocol's own reader then says what is wrong with it).
    static bool readEnvelope(const char *body, quint32 length, Envelope *out);

    // A Write for a std::map<std::string, std::string> result, the generic
    // calls' answer. A reply given it is encoded without the protocol, in one
    // piece: its layout is fixed, and most of a reply's cost is the protocol's.
    static void writeStringMap(const void *value, apache::thrift::protocol::TProtocol *out);

    // The reply to call @p method (Thrift sequence id @p thriftSeq), under
    // frame sequence id @p frameSeq: a result record whose fields @p write
    // writes (none when it is null).
    static QByteArray reply(quint32 frameSeq, std::string_view method, qint32 thriftSeq,
                            Write write, const void *value);
    // The same frame appended to @p out: the answers to one read share one
    // buffer, with no frame of their own.
    static void appendReply(QByteArray &out, quint32 frameSeq, std::string_view method,
                            qint32 thriftSeq, Write write, const void *value);
    // An application exception of @p type (TApplicationException's codes)
    // in answer to @p method.
    static QByteArray exception(quint32 frameSeq, std::string_view method, qint32 thriftSeq,
                                int type, const std::string &message);
    // A one-way message @p method (a notification) under sequence id 0, its
    // argument record made of @p fields.
    static QByteArray oneway(const std::string &method, const KLumoServiceField *fields, int count);
    // @p message, already encoded, in a frame.
    static QByteArray message(quint32 frameSeq, const QByteArray &message);
};

} // namespace ofx::lumo
