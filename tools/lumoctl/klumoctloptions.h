#pragma once

#include <QString>
#include <QStringList>

namespace ofx::lumo {

/**
 * The command line of one lumoctl command: options are taken out by name and
 * what remains are the command's own arguments. The first mistake is kept for
 * the usage message. A value type; main thread.
 */
class KLumoCtlOptions
{
public:
    // The options of the commands that issue a call (call, generic).
    struct Call
    {
        double timeout = 30; // seconds for the answer
        double wait = 3; // seconds for the connection
        bool pretty = false;
    };

    explicit KLumoCtlOptions(QStringList args)
        : m_lstArgs(std::move(args))
    { }

    // Takes "--name VALUE" out; @p out keeps its value when the option is
    // absent. False when VALUE is not a non-negative number.
    bool takeNumber(const char *name, double *out);
    bool takeFlag(const char *name);
    // Takes every "--name VALUE" out, in order. False when a VALUE is missing.
    bool takeAll(const char *name, QStringList *values);
    // --timeout S, --wait S and --pretty.
    bool takeCallOptions(Call *out);

    QStringList &args() { return m_lstArgs; }
    const QString &error() const { return m_strError; }

    // Seconds as the milliseconds a timer takes, saturated rather than wrapped.
    static int msecs(double seconds);

private:
    QStringList m_lstArgs;
    QString m_strError;
};

} // namespace ofx::lumo
