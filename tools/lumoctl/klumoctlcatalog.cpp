#include "klumoctlcatalog.h"

#include "klumoctlconsole.h"
#include "klumoctloptions.h"
#include "klumojsonsample.h"
#include "klumomethodcatalog.h"
#include "lumoctl_dispatch.h"

#include <cstdio>

namespace ofx::lumo {

const KLumoCtlMethod *KLumoCtlCatalog::findMethod(const QString &name)
{
    return KLumoMethodCatalog::find(name);
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
    const KLumoMethodCatalog::Entry entry = KLumoMethodCatalog::lookup(args.at(0).toStdString());
    if (!entry.found()) {
        KLumoCtlConsole::fail(
            QStringLiteral("\"%1\" is neither a method nor a record").arg(args.at(0)));
        return 1;
    }
    if (example) {
        const int type = KLumoMethodCatalog::exampleType(entry);
        KLumoCtlConsole::print(type >= 0 ? KLumoJsonSample::value(type) : KLumoJsonValue(), true);
        return 0;
    }
    std::fputs(KLumoMethodCatalog::describe(entry).c_str(), stdout);
    return 0;
}

} // namespace ofx::lumo
