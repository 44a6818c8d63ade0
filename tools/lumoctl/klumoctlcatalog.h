#pragma once

#include <QStringList>

namespace ofx::lumo {

struct KLumoCtlMethod;

/**
 * The commands that read the interface description only and never touch the
 * library: `methods` (what `call` accepts) and `describe` (a method or record
 * with its fields, or an example value). Main thread.
 */
class KLumoCtlCatalog
{
public:
    static int methods(const QStringList &args);
    static int describe(const QStringList &args);
    // A dispatched method by the name a host calls it, or null.
    static const KLumoCtlMethod *findMethod(const QString &name);
};

} // namespace ofx::lumo
