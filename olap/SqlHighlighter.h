#pragma once
#include <QRegularExpression>
#include <QSyntaxHighlighter>

namespace NexoFrame {

// Colours SQL as it is typed: key words, strings, numbers and comments.
class SqlHighlighter : public QSyntaxHighlighter {
    Q_OBJECT
public:
    explicit SqlHighlighter(QTextDocument* document);

protected:
    void highlightBlock(const QString& text) override;

private:
    struct Rule {
        QRegularExpression pattern;
        QTextCharFormat format;
    };
    QList<Rule> m_rules;
    QTextCharFormat m_comment;
};

} // namespace NexoFrame
