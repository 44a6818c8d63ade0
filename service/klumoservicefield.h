#pragma once

#include <QtGlobal>

namespace apache::thrift {
class TBase;
}
namespace apache::thrift::protocol {
class TProtocol;
}

namespace ofx::lumo {

class KLumoServiceDecoder;

/**
 * One field of an argument record, as the generated dispatch rows and pushes
 * describe it: its id, its kind and where its value lives. The interface's
 * arguments are records, strings, string lists, string maps and flags, so
 * one reader and one writer serve every method and notification, and the
 * service's code needs none of the compiler's per-method argument classes.
 * Any thread.
 */
struct KLumoServiceField
{
    enum Kind { Record, String, StringList, StringMap, Bool, Written };
    using Write = void (*)(apache::thrift::protocol::TProtocol &out, const void *value);

    qint16 id;
    Kind kind;
    void *value; // std::string, std::vector<std::string>, std::map<...>, bool, or Written's
    apache::thrift::TBase *record = nullptr; // for Record
    // For Written, a list of records (pushed, never read): writes @p value
    // whole, with the wire type writtenType.
    Write written = nullptr;
    qint8 writtenType = 0;

    // Reads an argument record into @p fields; fields it does not list are
    // skipped, as Thrift's own readers skip them. Throws what the protocol throws.
    static void read(apache::thrift::protocol::TProtocol &in, KLumoServiceField *fields, int count);
    static void read(KLumoServiceDecoder &in, KLumoServiceField *fields, int count);
    // Writes @p fields as an argument record.
    static void write(apache::thrift::protocol::TProtocol &out, const KLumoServiceField *fields,
                      int count);
};

} // namespace ofx::lumo
