#include "SqlHighlighter.h"

namespace NexoFrame {

SqlHighlighter::SqlHighlighter(QTextDocument* document) : QSyntaxHighlighter(document)
{
    QTextCharFormat keyword;
    keyword.setForeground(QColor(0x1f, 0x4e, 0x9c));
    keyword.setFontWeight(QFont::Bold);
    const QStringList words{"select", "from", "where", "and", "or", "not", "group", "by", "order", "having", "as", "join",
                            "left", "right", "inner", "outer", "on", "union", "all", "distinct", "case", "when", "then",
                            "else", "end", "in", "is", "null", "like", "between", "asc", "desc", "limit", "with",
                            "sum", "count", "avg", "min", "max", "cast", "coalesce"};
    m_rules.append({QRegularExpression(QStringLiteral("\\b(") + words.join(QLatin1Char('|')) + QStringLiteral(")\\b"),
                                       QRegularExpression::CaseInsensitiveOption),
                    keyword});
    QTextCharFormat number;
    number.setForeground(QColor(0x8a, 0x4b, 0x08));
    m_rules.append({QRegularExpression(QStringLiteral("\\b\\d+(\\.\\d+)?\\b")), number});
    QTextCharFormat string;
    string.setForeground(QColor(0x2e, 0x7d, 0x32));
    m_rules.append({QRegularExpression(QStringLiteral("'([^']|'')*'")), string});
    m_comment.setForeground(Qt::gray);
    m_comment.setFontItalic(true);
    m_rules.append({QRegularExpression(QStringLiteral("--[^\\n]*")), m_comment});
}

void SqlHighlighter::highlightBlock(const QString& text)
{
    for (const Rule& rule : std::as_const(m_rules))
        for (auto it = rule.pattern.globalMatch(text); it.hasNext();) {
            const auto m = it.next();
            setFormat(int(m.capturedStart()), int(m.capturedLength()), rule.format);
        }
    // Block comments may span lines.
    setCurrentBlockState(0);
    int start = previousBlockState() == 1 ? 0 : int(text.indexOf(QStringLiteral("/*")));
    while (start >= 0) {
        const int end = int(text.indexOf(QStringLiteral("*/"), start));
        const int length = end < 0 ? int(text.size()) - start : end - start + 2;
        if (end < 0) setCurrentBlockState(1);
        setFormat(start, length, m_comment);
        start = end < 0 ? -1 : int(text.indexOf(QStringLiteral("/*"), start + length));
    }
}

} // namespace NexoFrame
