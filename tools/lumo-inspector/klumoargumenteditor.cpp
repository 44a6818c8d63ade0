#include "klumoargumenteditor.h"

#include "klumojsonparser.h"

#include <QFontDatabase>
#include <QLabel>
#include <QRegularExpression>
#include <QTextBlock>

namespace ofx::lumo {

namespace {

// The codec names map entries ["key"]; the parser records every member as .key.
std::string parserSpelling(const std::string &path)
{
    static const QRegularExpression entry(QStringLiteral("\\[\"((?:[^\"\\\\]|\\\\.)*)\"\\]"));
    return QString::fromStdString(path).replace(entry, QStringLiteral(".\\1")).toStdString();
}

// The enclosing value's path: "a.b[2].c" -> "a.b[2]" -> "a.b" -> "a".
std::string parentPath(const std::string &path)
{
    const size_t cut = path.find_last_of(".[");
    return cut == std::string::npos ? std::string() : path.substr(0, cut);
}

} // namespace

KLumoArgumentEditor::KLumoArgumentEditor(QWidget *parent)
    : QPlainTextEdit(parent)
    , m_pMessage(new QLabel(parent))
{
    setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    setLineWrapMode(QPlainTextEdit::NoWrap);
    m_pMessage->setWordWrap(true);
    m_pMessage->setTextInteractionFlags(Qt::TextSelectableByMouse);
    QPalette red = m_pMessage->palette();
    red.setColor(QPalette::WindowText, QColor(0xc6, 0x28, 0x28));
    m_pMessage->setPalette(red);
    connect(this, &QPlainTextEdit::textChanged, this, [this] {
        if (m_nErrorAt >= 0)
            clearError();
    });
}

bool KLumoArgumentEditor::parse(const std::string &root, KLumoJsonValue *out)
{
    m_strUtf8 = toPlainText().toStdString();
    m_lstPositions.clear();
    KLumoJsonParser parser(m_strUtf8);
    parser.recordPositions(root, &m_lstPositions);
    if (parser.parseDocument(*out)) {
        clearError();
        return true;
    }
    // "... at offset N", in bytes of UTF-8.
    const QString error = QString::fromStdString(parser.error());
    static const QRegularExpression offset(QStringLiteral(" at offset (\\d+)$"));
    const QRegularExpressionMatch m = offset.match(error);
    const int byte = m.hasMatch() ? m.captured(1).toInt() : 0;
    markAt(QString::fromUtf8(m_strUtf8.data(), qMin(byte, int(m_strUtf8.size()))).size(),
           tr("Not JSON: %1").arg(error));
    return false;
}

void KLumoArgumentEditor::showError(const QString &message, const std::string &path)
{
    for (std::string p = parserSpelling(path); !p.empty(); p = parentPath(p)) {
        for (const auto &pos : m_lstPositions) {
            if (pos.first == p) {
                markAt(QString::fromUtf8(m_strUtf8.data(), int(pos.second)).size(), message);
                return;
            }
        }
    }
    markAt(0, message);
}

void KLumoArgumentEditor::markAt(int position, const QString &message)
{
    m_nErrorAt = position;
    QTextCursor c(document());
    c.setPosition(qMin(position, document()->characterCount() - 1));
    setTextCursor(c);
    // Underline from the error to the end of its line.
    QTextEdit::ExtraSelection s;
    s.cursor = c;
    s.cursor.movePosition(QTextCursor::EndOfBlock, QTextCursor::KeepAnchor);
    if (!s.cursor.hasSelection())
        s.cursor.movePosition(QTextCursor::StartOfBlock, QTextCursor::KeepAnchor);
    s.format.setUnderlineStyle(QTextCharFormat::WaveUnderline);
    s.format.setUnderlineColor(Qt::red);
    s.format.setBackground(QColor(0xff, 0xeb, 0xee));
    setExtraSelections({s});
    ensureCursorVisible();
    m_pMessage->setText(tr("Line %1: %2").arg(c.blockNumber() + 1).arg(message));
}

void KLumoArgumentEditor::clearError()
{
    m_nErrorAt = -1;
    setExtraSelections({});
    m_pMessage->clear();
}

} // namespace ofx::lumo

#include "moc_klumoargumenteditor.cpp"
