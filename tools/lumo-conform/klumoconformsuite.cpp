#include "klumoconformsuite.h"

#include "klumoconformcontext.h"
#include "klumoconformdiscovery.h"
#include "klumoconformframing.h"
#include "klumoconformmethods.h"
#include "klumoconformnotifications.h"
#include "klumoconformreport.h"
#include "klumoconformrobustness.h"

#include <QElapsedTimer>

#include <cstdio>

namespace ofx::lumo {

QString KLumoConformCase::id() const
{
    return QStringLiteral("%1-%2").arg(QLatin1String(group)).arg(number, 2, 10, QLatin1Char('0'));
}

const std::vector<KLumoConformCase> &KLumoConformSuite::cases()
{
    static const std::vector<KLumoConformCase> table = {
#define LUMO_CONFORM_CASE(group, number, function, rule) {#group, number, &function, rule},
#include "klumoconformcases.def"
#undef LUMO_CONFORM_CASE
    };
    return table;
}

bool KLumoConformSuite::select(QString *error)
{
    const auto names = [](const KLumoConformCase &c) {
        return QStringList {QLatin1String(c.group), c.id()};
    };
    for (const QStringList *list : {&m_oOptions.only, &m_oOptions.skip}) {
        for (const QString &name : *list) {
            const bool known = std::any_of(cases().begin(), cases().end(),
                                           [&](const auto &c) { return names(c).contains(name); });
            if (!known) {
                *error = QStringLiteral("\"%1\" is neither a group nor a case id (see --list)")
                             .arg(name);
                return false;
            }
        }
    }
    for (const KLumoConformCase &c : cases()) {
        const QStringList mine = names(c);
        const auto named = [&](const QStringList &list) {
            return std::any_of(list.begin(), list.end(),
                               [&](const QString &n) { return mine.contains(n); });
        };
        if ((m_oOptions.only.isEmpty() || named(m_oOptions.only)) && !named(m_oOptions.skip))
            m_lstSelected.push_back(&c);
    }
    return true;
}

void KLumoConformSuite::list() const
{
    for (const KLumoConformCase *c : m_lstSelected)
        std::printf("%-16s %s\n", qPrintable(c->id()), c->rule);
}

int KLumoConformSuite::run(KLumoConformReport &report)
{
    KLumoConformContext ctx(m_oOptions);
    report.begin();
    QElapsedTimer all;
    all.start();
    for (const KLumoConformCase *c : m_lstSelected) {
        KLumoConformResult r;
        r.id = c->id();
        r.group = QLatin1String(c->group);
        r.rule = QString::fromUtf8(c->rule);
        ctx.setCurrentCase(r.id);
        QElapsedTimer t;
        t.start();
        if (ctx.gone())
            r.skip(ctx.goneReason());
        else
            c->run(ctx, r);
        r.ms = double(t.nsecsElapsed()) / 1e6;
        report.add(r);
    }
    return report.finish(double(all.nsecsElapsed()) / 1e9) ? 0 : 1;
}

} // namespace ofx::lumo
