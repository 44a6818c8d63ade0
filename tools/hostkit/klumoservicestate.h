#pragma once

#include "klumojsonvalue.h"

#include <QString>

namespace ofx::lumo {

/**
 * What a tool shows of the library's view of the service: its login and
 * company records, as JSON objects keyed by the records' field names. Reads the library's exported
 * functions only. Main thread (the library's).
 */
class KLumoServiceState
{
public:
    static KLumoJsonValue login();
    static KLumoJsonValue company();
};

} // namespace ofx::lumo
