#include "klumoctlcatalog.h"

#include "klumoctlconsole.h"
#include "klumoctloptions.h"
#include "klumojsonsample.h"
#include "lumoctl_dispatch.h"

#include <cstdio>

namespace ofx::lumo {

using Schema = KLumoJsonSchemaIndex;

namespace {

std::string fieldLine(const jsonschema::Field &f)
{
    return std::to_string(f.id) + ": " + (f.optional ? "optional " : "") + Schema::typeName(f.type)
        + " " + f.name;
}

} // namespace

const KLumoCtlMethod *KLumoCtlCatalog::findMethod(const QString &name)
{
    for (const KLumoCtlMethod &m : lumoctlMethods) {
        if (name == QLatin1String(m.name))
            return &m;
    }
    return nullptr;
}

void KLumoCtlCatalog::printRecord(int record)
{
    const jsonschema::Record &r = jsonschema::records[record];
    std::printf("struct %s {\n", r.name);
    for (int i = r.firstField; i < r.firstField + r.fieldCount; ++i)
        std::printf("  %s\n", fieldLine(jsonschema::fields[i]).c_str());
    std::printf("}\n");
}

int KLumoCtlCatalog::methods(const QStringList &argsIn)
{
    KLumoCtlOptions line(argsIn);
    const bool json = line.takeFlag("--json");
    if (!line.args().isEmpty())
        return KLumoCtlConsole::usageError(QStringLiteral("methods takes no arguments"));
    KLumoJsonValue list = KLumoJsonValue::array();
    for (const KLumoCtlMethod &m : lumoctlMethods) {
        if (!json) {
            std::printf("%s\n", m.name);
            continue;
        }
        KLumoJsonValue row = KLumoJsonValue::object();
        row.insert("name", m.name);
        row.insert("method", m.method);
        row.insert("argument", m.argType);
        row.insert("result", m.resultType);
        list.append(std::move(row));
    }
    if (json)
        KLumoCtlConsole::print(list, true);
    return 0;
}

int KLumoCtlCatalog::describe(const QStringList &argsIn)
{
    KLumoCtlOptions line(argsIn);
    const bool example = line.takeFlag("--example");
    const QStringList &args = line.args();
    if (args.size() != 1)
        return KLumoCtlConsole::usageError(QStringLiteral("describe NAME [--example]"));
    const std::string name = args.at(0).toStdString();
    const jsonschema::Method *m = nullptr;
    if (const KLumoCtlMethod *d = findMethod(args.at(0)))
        m = Schema::method("KLumoServices", d->method);
    if (!m)
        m = Schema::method("KLumoServices", name);
    if (!m)
        m = Schema::method("KLumoNotifyServices", name);
    const int record = Schema::recordIndex(name);
    if (!m && record < 0) {
        KLumoCtlConsole::fail(
            QStringLiteral("\"%1\" is neither a method nor a record").arg(args.at(0)));
        return 1;
    }
    if (example) {
        const int type = m ? (m->argCount ? jsonschema::fields[m->firstArg].type : -1)
                           : Schema::recordType(record);
        KLumoCtlConsole::print(type >= 0 ? KLumoJsonSample::value(type) : KLumoJsonValue(), true);
        return 0;
    }
    if (!m) {
        printRecord(record);
        return 0;
    }
    std::string signature =
        std::string(jsonschema::services[m->service].name) + "." + m->name + "(";
    for (int i = 0; i < m->argCount; ++i) {
        const jsonschema::Field &f = jsonschema::fields[m->firstArg + i];
        signature +=
            (i ? ", " : "") + std::to_string(f.id) + ": " + Schema::typeName(f.type) + " " + f.name;
    }
    signature += std::string(") -> ") + (m->oneway ? "oneway" : Schema::typeName(m->result));
    std::printf("%s\n", signature.c_str());
    for (int i = 0; i < m->argCount; ++i) {
        const int r = Schema::recordOfType(jsonschema::fields[m->firstArg + i].type);
        if (r >= 0)
            printRecord(r);
    }
    const int r = m->oneway ? -1 : Schema::recordOfType(m->result);
    if (r >= 0)
        printRecord(r);
    return 0;
}

} // namespace ofx::lumo
