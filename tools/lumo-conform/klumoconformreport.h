#pragma once

#include "klumoconformoptions.h"
#include "klumoconformresult.h"

#include <QFile>

#include <vector>

namespace ofx::lumo {

/**
 * What the kit tells: a line per case as it ends (text, or one JSON object
 * per case with --json), a line per group with its time, and at the end the
 * JUnit XML report that CI systems read (--junit). Main thread.
 */
class KLumoConformReport
{
public:
    explicit KLumoConformReport(const KLumoConformOptions &options)
        : m_oOptions(options)
    { }

    // Opens the JUnit file before anything runs; false (with @p error) when it cannot.
    bool open(QString *error);
    void begin();
    void add(const KLumoConformResult &result);
    // Ends the report; returns true when no case failed.
    bool finish(double seconds);

private:
    void printText(const KLumoConformResult &r) const;
    void printJson(const KLumoConformResult &r) const;
    void endGroup();
    void writeJUnit(double seconds);

    const KLumoConformOptions &m_oOptions;
    std::vector<KLumoConformResult> m_lstResults;
    size_t m_nGroupStart = 0;
    QFile m_oJunit;
};

} // namespace ofx::lumo
