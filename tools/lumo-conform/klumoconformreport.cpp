#include "klumoconformreport.h"

#include <QDateTime>
#include <QXmlStreamWriter>

#include <cstdio>

namespace ofx::lumo {

namespace {

struct Tally
{
    int passed = 0, failed = 0, skipped = 0;
    double ms = 0;

    Tally(std::vector<KLumoConformResult>::const_iterator from,
          std::vector<KLumoConformResult>::const_iterator to)
    {
        for (auto it = from; it != to; ++it) {
            (it->status == KLumoConformResult::Pass       ? passed
                 : it->status == KLumoConformResult::Fail ? failed
                                                          : skipped) += 1;
            ms += it->ms;
        }
    }
    int total() const { return passed + failed + skipped; }
    QString seconds() const { return QString::number(ms / 1000, 'f', 3); }
};

} // namespace

bool KLumoConformReport::open(QString *error)
{
    if (m_oOptions.junitPath.isEmpty())
        return true;
    m_oJunit.setFileName(m_oOptions.junitPath);
    if (m_oJunit.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return true;
    *error =
        QStringLiteral("cannot write %1: %2").arg(m_oOptions.junitPath, m_oJunit.errorString());
    return false;
}

void KLumoConformReport::begin()
{
    if (!m_oOptions.json)
        std::printf("lumo-conform: the service at %s, %d ms per call\n",
                    qPrintable(m_oOptions.serverPath), m_oOptions.timeoutMs);
    std::fflush(stdout);
}

void KLumoConformReport::add(const KLumoConformResult &result)
{
    if (!m_lstResults.empty() && m_lstResults.back().group != result.group)
        endGroup();
    m_lstResults.push_back(result);
    if (m_oOptions.json)
        printJson(result);
    else
        printText(result);
    std::fflush(stdout);
}

void KLumoConformReport::printText(const KLumoConformResult &r) const
{
    static const char *const marks[] = {"PASS", "FAIL", "SKIP"};
    std::printf("%s %-16s %s (%.1f ms)\n", marks[r.status], qPrintable(r.id), qPrintable(r.rule),
                r.ms);
    const auto line = [](const char *label, const QString &text) {
        if (!text.isEmpty())
            std::printf("     %-6s %s\n", label, qPrintable(text));
    };
    if (r.status == KLumoConformResult::Fail) {
        line("sent:", r.sent);
        line("got:", r.got);
        line("frame:", r.hex);
    } else if (r.status == KLumoConformResult::Skip) {
        line("why:", r.got);
    }
    for (const QString &note : r.notes)
        line("note:", note);
}

void KLumoConformReport::printJson(const KLumoConformResult &r) const
{
    KLumoJsonValue o = KLumoJsonValue::object();
    o.insert("id", r.id.toStdString());
    o.insert("group", r.group.toStdString());
    o.insert("rule", r.rule.toStdString());
    o.insert("status", KLumoConformResult::statusName(r.status));
    o.insert("ms", r.ms);
    const std::pair<const char *, const QString *> texts[] = {
        {"sent", &r.sent}, {"got", &r.got}, {"frame", &r.hex}};
    for (const auto &[key, text] : texts)
        if (!text->isEmpty())
            o.insert(key, text->toStdString());
    if (!r.notes.isEmpty()) {
        KLumoJsonValue notes = KLumoJsonValue::array();
        for (const QString &n : r.notes)
            notes.append(n.toStdString());
        o.insert("notes", notes);
    }
    if (!r.data.isNull())
        o.insert("data", r.data);
    std::printf("%s\n", o.serialize().c_str());
}

void KLumoConformReport::endGroup()
{
    const Tally t(m_lstResults.begin() + long(m_nGroupStart), m_lstResults.end());
    if (!m_oOptions.json && t.total())
        std::printf("-- %s: %d passed, %d failed, %d skipped in %s s\n",
                    qPrintable(m_lstResults.back().group), t.passed, t.failed, t.skipped,
                    qPrintable(t.seconds()));
    m_nGroupStart = m_lstResults.size();
}

bool KLumoConformReport::finish(double seconds)
{
    endGroup();
    const Tally t(m_lstResults.begin(), m_lstResults.end());
    if (!m_oOptions.json)
        std::printf("lumo-conform: %d cases, %d passed, %d failed, %d skipped in %.2f s\n",
                    t.total(), t.passed, t.failed, t.skipped, seconds);
    std::fflush(stdout);
    if (m_oJunit.isOpen())
        writeJUnit(seconds);
    return t.failed == 0;
}

void KLumoConformReport::writeJUnit(double seconds)
{
    QXmlStreamWriter xml(&m_oJunit);
    xml.setAutoFormatting(true);
    xml.writeStartDocument();
    const Tally all(m_lstResults.begin(), m_lstResults.end());
    const auto counts = [&xml](const Tally &t) {
        xml.writeAttribute(QStringLiteral("tests"), QString::number(t.total()));
        xml.writeAttribute(QStringLiteral("failures"), QString::number(t.failed));
        xml.writeAttribute(QStringLiteral("errors"), QStringLiteral("0"));
        xml.writeAttribute(QStringLiteral("skipped"), QString::number(t.skipped));
    };
    xml.writeStartElement(QStringLiteral("testsuites"));
    xml.writeAttribute(QStringLiteral("name"), QStringLiteral("lumo-conform"));
    counts(all);
    xml.writeAttribute(QStringLiteral("time"), QString::number(seconds, 'f', 3));
    const QString stamp = QDateTime::currentDateTime().toString(Qt::ISODate);
    for (auto from = m_lstResults.begin(); from != m_lstResults.end();) {
        auto to = std::find_if(from, m_lstResults.end(),
                               [&](const auto &r) { return r.group != from->group; });
        const Tally t(from, to);
        xml.writeStartElement(QStringLiteral("testsuite"));
        xml.writeAttribute(QStringLiteral("name"), from->group);
        counts(t);
        xml.writeAttribute(QStringLiteral("time"), t.seconds());
        xml.writeAttribute(QStringLiteral("timestamp"), stamp);
        for (auto it = from; it != to; ++it) {
            xml.writeStartElement(QStringLiteral("testcase"));
            xml.writeAttribute(QStringLiteral("classname"),
                               QStringLiteral("lumo-conform.") + it->group);
            xml.writeAttribute(QStringLiteral("name"), it->id + QStringLiteral(": ") + it->rule);
            xml.writeAttribute(QStringLiteral("time"), QString::number(it->ms / 1000, 'f', 3));
            if (it->status == KLumoConformResult::Fail) {
                xml.writeStartElement(QStringLiteral("failure"));
                xml.writeAttribute(QStringLiteral("message"), it->got);
                xml.writeCharacters(
                    QStringLiteral("rule: %1\nsent: %2\ngot: %3\n").arg(it->rule, it->sent, it->got)
                    + (it->hex.isEmpty() ? QString() : QStringLiteral("frame: ") + it->hex));
                xml.writeEndElement();
            } else if (it->status == KLumoConformResult::Skip) {
                xml.writeEmptyElement(QStringLiteral("skipped"));
                xml.writeAttribute(QStringLiteral("message"), it->got);
            }
            if (!it->notes.isEmpty())
                xml.writeTextElement(QStringLiteral("system-out"),
                                     it->notes.join(QLatin1Char('\n')));
            xml.writeEndElement();
        }
        xml.writeEndElement();
        from = to;
    }
    xml.writeEndElement();
    xml.writeEndDocument();
    m_oJunit.close();
}

} // namespace ofx::lumo
