#pragma once

#include <QtGlobal>

namespace ofx::lumo::capture {

// A capture is a pcapng file: blocks of a type word, a length word, a body and
// the length again. The library writes one section header, one interface
// description of link type USER0 (a dissector registers for it), then an
// enhanced packet block per frame, all in the host's byte order.
constexpr quint32 SectionHeaderBlock = 0x0A0D0D0A;
constexpr quint32 InterfaceBlock = 1;
constexpr quint32 EnhancedPacketBlock = 6;
// The section header's first body word: read swapped, the file is of the
// other byte order.
constexpr quint32 ByteOrderMagic = 0x1A2B3C4D;
constexpr quint16 LinkTypeUser0 = 147;

// Option codes. The end of the options is the same in every block; the
// others mean something in their block only.
constexpr quint16 OptEnd = 0;
constexpr quint16 OptShbOs = 3, OptShbUserAppl = 4;
constexpr quint16 OptIfName = 2, OptIfDescription = 3, OptIfTsResol = 9, OptIfTsOffset = 14;
constexpr quint16 OptEpbFlags = 2;

// Byte offsets from the start of a block.
constexpr int BlockLengthAt = 4;
constexpr int PacketInterfaceAt = 8;
constexpr int PacketDataAt = 28; // after the interface, timestamp and both lengths

// The direction bits of a packet's flags: what the host received or sent.
enum Direction : quint32 { UnknownDirection = 0, Inbound = 1, Outbound = 2 };

// Option values and packet data are padded to whole 32-bit words.
template<typename T> constexpr T padded(T n)
{
    return (n + 3) & ~T(3);
}

} // namespace ofx::lumo::capture
