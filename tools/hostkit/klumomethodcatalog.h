#pragma once

#include "klumojsonschema.h"

#include <QString>

#include <string>

namespace ofx::lumo {

struct KLumoCtlMethod;

/**
 * The methods a host calls by name and what the interface says about them and
 * about records: the words of `lumoctl methods`/`describe` and of the
 * inspector's call console. Reads the generated tables only; any thread.
 */
class KLumoMethodCatalog
{
public:
    // What a name denotes: a method (dispatched by the name a host calls it,
    // of the request service, or a notification), else a record.
    struct Entry
    {
        const jsonschema::Method *method = nullptr;
        int record = -1;
        bool found() const { return method || record >= 0; }
    };

    // A dispatched method by the name a host calls it, or null.
    static const KLumoCtlMethod *find(const QString &name);
    static Entry lookup(const std::string &name);
    // The method's signature and the records it takes and returns, or the
    // record's fields; a line each, as lumoctl describe prints them.
    static std::string describe(const Entry &entry);
    // The type an example of @p entry has: a method's argument or the record;
    // -1 for a method without arguments.
    static int exampleType(const Entry &entry);
    static std::string recordText(int record);
};

} // namespace ofx::lumo
