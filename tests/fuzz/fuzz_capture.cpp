// Feeds arbitrary bytes to the capture reader of lumoctl trace, in chunks as a
// file being tailed arrives. Any input must end in packets, a wait for more
// bytes or an error naming an offset inside the input: never a crash, a hang
// or an error beyond the bytes given.
// Input: byte 0 picks the chunk size, the rest is the file.
#include "klumocapturereader.h"

#include <cstdint>
#include <cstdlib>

using ofx::lumo::KLumoCaptureReader;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1)
        return 0;
    const size_t chunk = size_t(data[0]) * 4 + 1;
    const char *p = reinterpret_cast<const char *>(data + 1);
    size_t left = size - 1;
    KLumoCaptureReader reader;
    KLumoCaptureReader::Packet packet;
    KLumoCaptureReader::Next next = KLumoCaptureReader::Next::NeedMore;
    while (next != KLumoCaptureReader::Next::Error) {
        while ((next = reader.next(&packet)) == KLumoCaptureReader::Next::Packet) {
            if (packet.interfaceId < 0 || packet.interfaceId >= reader.interfaces().size()
                || packet.offset < 0 || size_t(packet.offset + packet.data.size()) > size)
                std::abort();
        }
        if (left == 0 || next == KLumoCaptureReader::Next::Error)
            break;
        const size_t n = left < chunk ? left : chunk;
        reader.append(QByteArray(p, int(n)));
        p += n;
        left -= n;
    }
    if (next != KLumoCaptureReader::Next::Error && reader.finish())
        return 0;
    // The offset an error names lies within the input.
    const QString error = reader.error();
    if (error.isEmpty())
        std::abort();
    const int at = error.indexOf(QLatin1String("offset "));
    if (at < 0 || error.mid(at + 7).section(QLatin1Char(':'), 0, 0).toLongLong() > qint64(size - 1))
        std::abort();
    return 0;
}
