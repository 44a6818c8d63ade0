#pragma once

#include "klumojsonvalue.h"

#include <QtGlobal>

namespace ofx::lumo {

class KLumoTraceSummary;

/**
 * A capture's calls and notifications in the Trace Event format that Perfetto
 * and Chrome's tracing view open: one process per host, a complete event per
 * call from request to reply (failed and never answered calls marked in name,
 * category and arguments), an instant event per notification. Calls that
 * overlap go to separate tracks of their process, since a track shows nested
 * slices only. Main thread.
 */
class KLumoTraceTimeline
{
public:
    // How long a never answered call is drawn at most: the library's default
    // expiry, after which it has given up on the call.
    static constexpr qint64 ExpiryNs = qint64(16000) * 1000000;

    static KLumoJsonValue build(const KLumoTraceSummary &summary);
};

} // namespace ofx::lumo
