#pragma once

#include <QMetaMethod>
#include <QObject>
#include <QThread>
#include <QVariant>
#include <QVector>

#include <mutex>

namespace lumotest {

/**
 * Records, in order and from any thread, what reached a test target: every
 * signal of the watched objects (caught generically, the way QSignalSpy does)
 * and whatever slots report through add(). Values are boxed by their
 * registered meta type, so records need no Q_DECLARE_METATYPE.
 */
class CallRecorder : public QObject
{
public:
    struct Call
    {
        QByteArray member;
        QThread *thread = nullptr;
        QVariantList args;
    };

    // Records every signal @p source declares beyond QObject's own.
    void watchSignals(QObject *source)
    {
        const QMetaObject *mo = source->metaObject();
        for (int i = QObject::staticMetaObject.methodCount(); i < mo->methodCount(); ++i) {
            const QMetaMethod method = mo->method(i);
            if (method.methodType() != QMetaMethod::Signal)
                continue;
            const int slot = QObject::staticMetaObject.methodCount() + m_watched.size();
            m_watched.append(method);
            QMetaObject::connect(source, i, this, slot, Qt::DirectConnection, nullptr);
        }
    }

    void add(const QByteArray &member, const QVariantList &args = {})
    {
        std::lock_guard<std::mutex> lock(m_lock);
        m_calls.append({member, QThread::currentThread(), args});
    }

    QVector<Call> calls() const
    {
        std::lock_guard<std::mutex> lock(m_lock);
        return m_calls;
    }
    int count() const
    {
        std::lock_guard<std::mutex> lock(m_lock);
        return m_calls.size();
    }
    QVector<Call> take()
    {
        std::lock_guard<std::mutex> lock(m_lock);
        QVector<Call> out;
        out.swap(m_calls);
        return out;
    }

    int qt_metacall(QMetaObject::Call call, int id, void **argv) override
    {
        id = QObject::qt_metacall(call, id, argv);
        if (id < 0 || call != QMetaObject::InvokeMetaMethod)
            return id;
        if (id < m_watched.size()) {
            const QMetaMethod &method = m_watched.at(id);
            QVariantList args;
            for (int i = 0; i < method.parameterCount(); ++i)
                args.append(QVariant(method.parameterType(i), argv[i + 1]));
            add(method.name(), args);
        }
        return -1;
    }

private:
    // A std::mutex, not a QMutex: ThreadSanitizer sees this one.
    mutable std::mutex m_lock;
    QVector<Call> m_calls; // guarded by m_lock
    QVector<QMetaMethod> m_watched; // filled before any emission
};

// Boxes @p value under the meta type registered as @p typeName.
template<class T> QVariant box(const char *typeName, const T &value)
{
    return QVariant(QMetaType::type(typeName), &value);
}

// The value of @p v, which must hold the type registered as @p typeName.
template<class T> const T &unbox(const QVariant &v, const char *typeName)
{
    static const T empty {};
    if (v.userType() != QMetaType::type(typeName) || QMetaType::type(typeName) == 0)
        return empty;
    return *static_cast<const T *>(v.constData());
}

} // namespace lumotest
