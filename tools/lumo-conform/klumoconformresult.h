#pragma once

#include "klumojsonvalue.h"

#include <QString>
#include <QStringList>

namespace ofx::lumo {

// The outcome of one case: its verdict and, when it fails, what was sent and
// what came back. A value; the first failure a case records is the one kept.
struct KLumoConformResult
{
    enum Status { Pass, Fail, Skip };

    QString id; // "framing-03"
    QString group;
    QString rule;
    Status status = Pass;
    QString sent;
    QString got;
    QString hex; // an excerpt of the frame that shows it
    QStringList notes; // what else the case saw (the slowest methods, exceptions)
    KLumoJsonValue data; // the same as figures, for --json
    double ms = 0;

    // Returns false, so that a check reads "return r.fail(...)".
    bool fail(const QString &what, const QString &frameHex = {})
    {
        if (status != Fail) {
            status = Fail;
            got = what;
            hex = frameHex;
        }
        return false;
    }
    void skip(const QString &why)
    {
        status = Skip;
        got = why;
    }
    static const char *statusName(Status s)
    {
        return s == Pass ? "pass" : s == Fail ? "fail" : "skip";
    }
};

} // namespace ofx::lumo
