#include <sys/stat.h> // lumotestenv.h uses chmod

#include "lumotestenv.h"

#include "transport/klumoframe.h"
#include "transport/klumoframewriter.h"

#include <QThread>
#include <QtTest>

#include <sys/socket.h>
#include <unistd.h>

using namespace ofx::lumo;

class TestKLumoFrameWriter : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    // Two threads write frames of mixed sizes while the reader is slow: the
    // kernel buffer fills, the rest is queued, and every frame arrives whole,
    // each thread's frames in the order they were written.
    void concurrentWritersKeepFramesWholeAndOrdered()
    {
        int sv[2];
        QCOMPARE(::socketpair(AF_UNIX, SOCK_STREAM, 0, sv), 0);
        KLumoFrameWriter writer;
        QVERIFY(writer.attach(sv[0]));
        ::close(sv[0]); // the writer holds its own duplicate
        constexpr int PerThread = 300;
        auto body = [](int thread, int i) {
            const int size = (i % 10 == 0) ? 300000 : 1 + (i * 37) % 2000;
            QByteArray b(size, char('a' + thread));
            b.replace(0, qMin(size, 8), QByteArray::number(i).leftJustified(8, ' ').left(size));
            return frame::make(quint32(thread + 1), b);
        };
        std::atomic<int> failures {0};
        auto run = [&](int thread) {
            for (int i = 0; i < PerThread; ++i)
                if (!writer.write(body(thread, i)))
                    ++failures;
        };
        std::unique_ptr<QThread> t1(QThread::create(run, 0));
        std::unique_ptr<QThread> t2(QThread::create(run, 1));
        t1->start();
        t2->start();

        QByteArray in;
        int next[2] = {0, 0};
        char buf[65536];
        QElapsedTimer timer;
        timer.start();
        while ((next[0] < PerThread || next[1] < PerThread) && timer.elapsed() < 60000) {
            QCoreApplication::processEvents(); // lets the writer drain its queue
            const ssize_t n = ::recv(sv[1], buf, sizeof buf, MSG_DONTWAIT);
            if (n > 0)
                in.append(buf, int(n));
            int pos = 0;
            while (in.size() - pos >= int(frame::HeaderSize)) {
                const frame::Header h = frame::readHeader(in.constData() + pos);
                QVERIFY(h.hasMagic());
                if (in.size() - pos < int(h.total))
                    break;
                const int thread = int(h.seqId) - 1;
                QVERIFY(thread == 0 || thread == 1);
                QVERIFY(in.mid(pos, int(h.total)) == body(thread, next[thread]));
                ++next[thread];
                pos += int(h.total);
            }
            in.remove(0, pos);
        }
        QVERIFY(t1->wait(5000));
        QVERIFY(t2->wait(5000));
        QCOMPARE(failures.load(), 0);
        QCOMPARE(next[0], PerThread);
        QCOMPARE(next[1], PerThread);
        QCOMPARE(writer.pendingBytes(), qint64(0));
        ::close(sv[1]);
    }

    void failsWhenDetachedOrPeerGone()
    {
        KLumoFrameWriter writer;
        QVERIFY(!writer.write("x"));
        QVERIFY(!writer.attach(-1));
        int sv[2];
        QCOMPARE(::socketpair(AF_UNIX, SOCK_STREAM, 0, sv), 0);
        QVERIFY(writer.attach(sv[0]));
        ::close(sv[0]);
        QVERIFY(writer.write("ok"));
        ::close(sv[1]);
        QVERIFY(!writer.write("gone")); // EPIPE, and no SIGPIPE
        writer.detach();
        QVERIFY(!writer.isAttached());
    }
};

LUMO_TEST_MAIN(TestKLumoFrameWriter)
#include "tst_klumoframewriter.moc"
