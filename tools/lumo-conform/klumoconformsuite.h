#pragma once

#include "klumoconformoptions.h"

#include <vector>

namespace ofx::lumo {

class KLumoConformContext;
class KLumoConformReport;
struct KLumoConformResult;

// One row of klumoconformcases.def.
struct KLumoConformCase
{
    const char *group;
    int number;
    void (*run)(KLumoConformContext &, KLumoConformResult &);
    const char *rule;

    QString id() const; // "framing-03"
};

/**
 * Runs the cases the options select, in the table's order, timing each and
 * handing each result to the report as soon as it is known. Main thread.
 */
class KLumoConformSuite
{
public:
    explicit KLumoConformSuite(const KLumoConformOptions &options)
        : m_oOptions(options)
    { }

    static const std::vector<KLumoConformCase> &cases();

    // Applies --only and --skip; false (with @p error) on a name that is
    // neither a group nor a case id.
    bool select(QString *error);
    // Prints the selected cases, one "id  rule" line each.
    void list() const;
    // Returns the exit status: 0 when no selected case failed, 1 otherwise.
    int run(KLumoConformReport &report);

private:
    const KLumoConformOptions &m_oOptions;
    std::vector<const KLumoConformCase *> m_lstSelected;
};

} // namespace ofx::lumo
