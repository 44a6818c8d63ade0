#pragma once

#include "klumocapturereader.h"

#include <QFile>
#include <QString>

#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace ofx::lumo {

class KLumoTraceSummary;

/**
 * One capture file being read and the packet read ahead of the others, so
 * that several files merge into one time line a packet at a time (earliest()).
 * Used by lumoctl trace and the inspector's capture view alike.
 *
 * A plain value; one thread at a time.
 */
struct KLumoTraceSource
{
    enum State { Ready, Waiting, Ended, Failed };

    QString path;
    QFile file;
    KLumoCaptureReader reader;
    KLumoCaptureReader::Packet packet;
    State state = Waiting;
    std::map<std::pair<int, int>, int> processes; // (section, interface) -> process

    // Opens path for reading; false with file.errorString() when it cannot.
    bool open();
    // Reads ahead to the next packet. At the end of the file a follower waits
    // for more, anyone else needs the file to end on a whole block.
    State fetch(bool follow);
    // The process that wrote the packet in hand, numbered in @p summary.
    int process(KLumoTraceSummary *summary);

    // The ready source whose packet in hand is the earliest; null when none is.
    static KLumoTraceSource *
    earliest(const std::vector<std::unique_ptr<KLumoTraceSource>> &sources);
};

} // namespace ofx::lumo
