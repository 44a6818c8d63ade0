#include "klumoemulatorfaults.h"

#include "klumojsoncodec.h"
#include "klumojsonsample.h"

#include <thrift/protocol/TCompactProtocol.h>
#include <thrift/transport/TBufferTransports.h>

namespace ofx::lumo {

using namespace jsonschema;

namespace {

struct Named
{
    const char *name;
    const char *what;
};

// In the order of KLumoEmulatorFaults::Fault, from the same table.
const Named Faults[] = {
#define LUMO_FAULT(id, name, what, groups, caughtBy) {name, what},
#include "klumoemulatorfaults.def"
#undef LUMO_FAULT
};

// Field ids and wire types in order: what a decoder can tell records apart by.
std::string layout(int record)
{
    std::string out;
    for (int i = 0; i < records[record].fieldCount; ++i) {
        const Field &f = fields[records[record].firstField + i];
        out += std::to_string(f.id) + ":"
            + std::to_string(types[f.type].kind == Kind::Binary ? int(Kind::String)
                                                                : int(types[f.type].kind))
            + ",";
    }
    return out;
}

} // namespace

bool KLumoEmulatorFaults::add(const QString &list, QString *error)
{
    for (const QString &name : list.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        int i = 0;
        while (i < Count && name != QLatin1String(Faults[i].name))
            ++i;
        if (i == Count) {
            *error = QStringLiteral("unknown fault \"%1\" (see --help)").arg(name);
            return false;
        }
        m_setActive.set(size_t(i));
    }
    return true;
}

QString KLumoEmulatorFaults::help()
{
    QString text;
    for (const Named &f : Faults)
        text +=
            QStringLiteral("  %1  %2\n").arg(QLatin1String(f.name), -18).arg(QLatin1String(f.what));
    return text;
}

std::string KLumoEmulatorFaults::wrongResult(const Method &method, int32_t seqId)
{
    const int own = types[method.result].kind == Kind::Struct ? types[method.result].a : -1;
    if (own < 0)
        return {};
    int other = 0;
    while (other < recordCount && layout(other) == layout(own))
        ++other;
    using namespace apache::thrift;
    auto buffer = std::make_shared<transport::TMemoryBuffer>();
    protocol::TCompactProtocolT<transport::TMemoryBuffer> out(buffer);
    out.writeMessageBegin(method.name, protocol::T_REPLY, seqId);
    out.writeStructBegin("result");
    out.writeFieldBegin("success", protocol::T_STRUCT, 0);
    // Records are types 0 to recordCount - 1.
    KLumoJsonCodec::writeValue(&out, other, KLumoJsonSample::value(other), "result");
    out.writeFieldEnd();
    out.writeFieldStop();
    out.writeStructEnd();
    out.writeMessageEnd();
    return buffer->getBufferAsString();
}

} // namespace ofx::lumo
