// Runs a fuzz target's entry point once over every file in the folders given,
// without libFuzzer: its seeds as a plain regression test in any build.
#include "lumotestenv.h"

#include <QDirIterator>

#include <cstdint>
#include <cstdio>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

int main(int argc, char *argv[])
{
    lumotest::PrivateEnvironment env; // before the target makes its application object
    int inputs = 0;
    for (int i = 1; i < argc; ++i) {
        for (QDirIterator it(QString::fromLocal8Bit(argv[i]), QDir::Files); it.hasNext(); ++inputs) {
            QFile f(it.next());
            const QByteArray bytes = f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.constData()),
                                   size_t(bytes.size()));
        }
    }
    std::printf("%d inputs\n", inputs);
    return inputs > 0 ? 0 : 1;
}
