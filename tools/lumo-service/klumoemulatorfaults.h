#pragma once

#include "klumojsonschema.h"

#include <QStringList>

#include <bitset>
#include <string>

namespace ofx::lumo {

/**
 * Deliberate departures from the protocol, each small and named, so that a
 * conformance check can be shown to catch what it claims: `--fault NAME` (or
 * a comma-separated list, repeatable). The faults are the rows of
 * klumoemulatorfaults.def. Each is a bug a real service could
 * have, confined to the situation it belongs to (a signed sequence id shows
 * only above 2^31, a per-read parser only when calls come pipelined).
 *
 * Set before the emulator starts, then only read; emulator thread.
 */
class KLumoEmulatorFaults
{
public:
    // One per row of klumoemulatorfaults.def, in its order.
    enum Fault {
#define LUMO_FAULT(id, name, what, groups, caughtBy) id,
#include "klumoemulatorfaults.def"
#undef LUMO_FAULT
        Count
    };
    static constexpr int SlowMs = 2000;
    static constexpr int FramesPerRead = 16; // under DropPipelined

    // Adds the faults named in the comma-separated @p list; false (with
    // @p error) on a name that is not one.
    bool add(const QString &list, QString *error);
    bool has(Fault fault) const
    {
        return m_setActive.test(size_t(fault));
    }
    bool any() const
    {
        return m_setActive.any();
    }
    // "  NAME  what it does" lines for --help.
    static QString help();

    // The id a reply goes out under.
    quint32 replySeqId(quint32 seqId) const
    {
        return has(WrongSeq) && seqId >= 0x80000000u ? seqId & 0x7fffffffu : seqId;
    }
    // A reply to @p method whose value is a record of another layout than its
    // result's, or empty when the method does not return a record.
    static std::string wrongResult(const jsonschema::Method &method, int32_t seqId);

private:
    std::bitset<Count> m_setActive;
};

} // namespace ofx::lumo
