#pragma once

#include "klumojsonvalue.h"

#include <QPlainTextEdit>

#include <string>
#include <utility>
#include <vector>

class QLabel;

namespace ofx::lumo {

/**
 * JSON text edited by hand, checked on demand: a syntax error, or a field the
 * schema check names by its path ("arg.param[2].bogus"), is underlined where
 * it is in the text, the cursor is put there and the message is shown below.
 * GUI thread.
 */
class KLumoArgumentEditor : public QPlainTextEdit
{
    Q_OBJECT
public:
    explicit KLumoArgumentEditor(QWidget *parent = nullptr);

    // The message line shown below the editor; owned by the caller's layout.
    QLabel *messageLabel() const { return m_pMessage; }

    // Parses the text as the value at @p root; false with the error shown.
    bool parse(const std::string &root, KLumoJsonValue *out);
    // Shows @p message at the field @p path names (in the spelling of the
    // last parse), or at its nearest enclosing value found in the text.
    void showError(const QString &message, const std::string &path);
    void clearError();
    // Character position of the last error shown; -1 when none.
    int errorPosition() const { return m_nErrorAt; }

private:
    void markAt(int position, const QString &message);

    QLabel *m_pMessage;
    std::vector<std::pair<std::string, size_t>> m_lstPositions;
    std::string m_strUtf8; // the text parsed last
    int m_nErrorAt = -1;
};

} // namespace ofx::lumo
