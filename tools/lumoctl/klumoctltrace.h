#pragma once

#include <QStringList>

namespace ofx::lumo {

/**
 * lumoctl trace: reads captures the library wrote (LUMOIPC_CAPTURE), one file
 * per host process, and prints their frames as JSON lines in time order, the
 * per-method statistics (--stats) or a Trace Event timeline (--timeline);
 * --follow tails files still being written. Needs no service. Main thread.
 */
class KLumoCtlTrace
{
public:
    // Returns the exit code: 0, 1 when a file cannot be read to its end, 2 on
    // usage errors.
    static int run(const QStringList &args);
};

} // namespace ofx::lumo
