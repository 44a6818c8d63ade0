#pragma once

#include "transport/klumocapture.h"
#include "transport/klumoframe.h"

#include <QString>

#include <atomic>

namespace ofx::lumo {

/**
 * Records every frame the host sends and receives, whole, into a pcapng file
 * (one section, one interface of link type USER0, one enhanced packet block
 * per frame with a nanosecond timestamp and the direction in its flags), so
 * that the traffic of a host in the field can be looked at without rebuilding
 * it. Started by LumoIpcInit when LUMOIPC_CAPTURE names a file.
 *
 * Process-wide. record() may be called from any thread: it stamps the frame
 * and appends its block to a buffer under a lock, nothing more; a writer
 * thread of its own writes that buffer in batches, so no host thread waits
 * for the disk. While
 * capture is off, record()'s callers pay one relaxed atomic load (isActive()).
 * The state is never destroyed, so a frame recorded by a thread that outlives
 * the capture (or main()) finds it stopped, not gone.
 */
class KLumoCaptureWriter
{
public:
    struct Options
    {
        QString path; // "%p" is replaced by the process id
        QString interfaceName; // the local server name the host connects to
        QString description; // "<application> (pid <pid>)"
        quint64 maxBytes = 256ull << 20; // the file never grows past this
    };

    // Host thread. Starts a capture when LUMOIPC_CAPTURE is set (its size cap
    // from LUMOIPC_CAPTURE_MAX_MB, in MiB); @p serverName names the interface.
    static void startFromEnvironment(const QString &serverName);
    // Host thread. Truncates or creates the file and writes its header; false
    // (logged) when the file cannot be created. A running capture stops first.
    static bool start(const Options &options);
    // Writes what is queued and closes the file. Also run at process exit.
    static void stop();

    static bool isActive() { return s_active.load(std::memory_order_relaxed); }
    // Any thread. One whole frame: its header, then @p bodyLen bytes of body
    // (apart for a reply streamed into its call's buffer).
    static void record(capture::Direction direction, const char *header, const char *body,
                       quint32 bodyLen);
    static void record(capture::Direction direction, const char *frame, quint32 length)
    {
        record(direction, frame, frame + frame::HeaderSize, length - frame::HeaderSize);
    }

private:
    static void run(); // the writer thread

    static std::atomic<bool> s_active;
};

} // namespace ofx::lumo
