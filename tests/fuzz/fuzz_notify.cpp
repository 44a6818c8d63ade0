// Feeds arbitrary notification bodies (what follows a frame header with
// sequence id 0) to the notification processor and the library's handler,
// which converts each argument and queues its invocation on a stand-in for the
// proxy. Any input must end in a delivered signal, a logged failure or
// nothing: never a crash, hang or leak.
#include "notify/klumonotifyactualprocessor.h"
#include "notify/klumonotifyhandler.h"
#include "notifytarget.h"

#include <QCoreApplication>
#include <QLoggingCategory>

#include <thrift/transport/TBufferTransports.h>

#include <cstdint>

using apache::thrift::transport::TMemoryBuffer;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static int argc = 1;
    static char name[] = "fuzz_notify";
    static char *argv[] = {name, nullptr};
    static QCoreApplication app(argc, argv);
    static lumotest::NotifyTarget target;
    static ofx::lumo::KLumoNotifyActualProcessor processor(
        std::make_shared<ofx::lumo::KLumoNotifyHandler>(&target));
    QLoggingCategory::setFilterRules(QStringLiteral("lumoipc*=false"));
    // The body as the channel builds it: never a zero-sized buffer, which
    // Thrift's own fast write would hand to memcpy as a null pointer.
    static const uint8_t none = 0;
    auto body = std::make_shared<TMemoryBuffer>(size ? uint32_t(size) : 1);
    body->write(size ? data : &none, uint32_t(size));
    processor.onNotified(std::move(body));
    QCoreApplication::sendPostedEvents(); // the queued invocations reach the target
    return 0;
}

#include "moc_notifytarget.cpp"
