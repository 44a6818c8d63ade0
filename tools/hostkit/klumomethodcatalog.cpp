#include "klumomethodcatalog.h"

#include "klumojsonschemaindex.h"
#include "lumoctl_dispatch.h"

namespace ofx::lumo {

using Schema = KLumoJsonSchemaIndex;

namespace {

std::string fieldLine(const jsonschema::Field &f)
{
    return std::to_string(f.id) + ": " + (f.optional ? "optional " : "") + Schema::typeName(f.type)
        + " " + f.name;
}

} // namespace

const KLumoCtlMethod *KLumoMethodCatalog::find(const QString &name)
{
    for (const KLumoCtlMethod &m : lumoctlMethods) {
        if (name == QLatin1String(m.name))
            return &m;
    }
    return nullptr;
}

KLumoMethodCatalog::Entry KLumoMethodCatalog::lookup(const std::string &name)
{
    Entry e;
    if (const KLumoCtlMethod *d = find(QString::fromStdString(name)))
        e.method = Schema::method("KLumoServices", d->method);
    if (!e.method)
        e.method = Schema::method("KLumoServices", name);
    if (!e.method)
        e.method = Schema::method("KLumoNotifyServices", name);
    e.record = Schema::recordIndex(name);
    return e;
}

std::string KLumoMethodCatalog::recordText(int record)
{
    const jsonschema::Record &r = jsonschema::records[record];
    std::string out = std::string("struct ") + r.name + " {\n";
    for (int i = r.firstField; i < r.firstField + r.fieldCount; ++i)
        out += "  " + fieldLine(jsonschema::fields[i]) + "\n";
    return out + "}\n";
}

std::string KLumoMethodCatalog::describe(const Entry &entry)
{
    const jsonschema::Method *m = entry.method;
    if (!m)
        return entry.record >= 0 ? recordText(entry.record) : std::string();
    std::string out = std::string(jsonschema::services[m->service].name) + "." + m->name + "(";
    for (int i = 0; i < m->argCount; ++i) {
        const jsonschema::Field &f = jsonschema::fields[m->firstArg + i];
        out +=
            (i ? ", " : "") + std::to_string(f.id) + ": " + Schema::typeName(f.type) + " " + f.name;
    }
    out += std::string(") -> ") + (m->oneway ? "oneway" : Schema::typeName(m->result)) + "\n";
    for (int i = 0; i < m->argCount; ++i) {
        const int r = Schema::recordOfType(jsonschema::fields[m->firstArg + i].type);
        if (r >= 0)
            out += recordText(r);
    }
    const int r = m->oneway ? -1 : Schema::recordOfType(m->result);
    if (r >= 0)
        out += recordText(r);
    return out;
}

int KLumoMethodCatalog::exampleType(const Entry &entry)
{
    if (!entry.method)
        return Schema::recordType(entry.record);
    return entry.method->argCount ? jsonschema::fields[entry.method->firstArg].type : -1;
}

} // namespace ofx::lumo
