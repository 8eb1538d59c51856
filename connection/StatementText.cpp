#include "StatementText.h"
#include "DateFormats.h"
#include <QDateTime>
#include <QTimeZone>
#include <charconv>
#include <limits>
#include <libpq-fe.h>

namespace NexoFrame {

namespace {

bool isIdentifierChar(QChar c) { return c.isLetterOrNumber() || c == QLatin1Char('_'); }

} // namespace

Piece pieceAt(const QString& sql, qsizetype i, bool server, qsizetype* to)
{
    const qsizetype n = sql.size();
    const QChar c = sql.at(i);
    const QChar next = i + 1 < n ? sql.at(i + 1) : QChar();
    auto skipTo = [&](qsizetype from, const QString& closing) {
        const qsizetype at = sql.indexOf(closing, from);
        return at < 0 ? n : at + closing.size();
    };
    if (c == QLatin1Char('-') && next == QLatin1Char('-')) {
        *to = skipTo(i + 2, QStringLiteral("\n"));
        return Piece::Comment;
    }
    if (c == QLatin1Char('/') && next == QLatin1Char('*')) {
        if (!server) {
            *to = skipTo(i + 2, QStringLiteral("*/"));
            return Piece::Comment;
        }
        // The server nests block comments.
        int depth = 0;
        while (i < n) {
            if (sql.mid(i, 2) == QLatin1String("/*")) {
                ++depth;
                i += 2;
            } else if (sql.mid(i, 2) == QLatin1String("*/")) {
                i += 2;
                if (--depth == 0) break;
            } else {
                ++i;
            }
        }
        *to = i;
        return Piece::Comment;
    }
    if (c == QLatin1Char('\'') || c == QLatin1Char('"') || (!server && c == QLatin1Char('`'))) {
        // E'...' on the server takes backslash escapes; doubled quotes everywhere.
        const bool backslash = server && c == QLatin1Char('\'') && i > 0
            && sql.at(i - 1).toLower() == QLatin1Char('e') && (i < 2 || !isIdentifierChar(sql.at(i - 2)));
        qsizetype j = i + 1;
        while (j < n) {
            if (backslash && sql.at(j) == QLatin1Char('\\')) {
                j += 2;
            } else if (sql.at(j) == c) {
                if (j + 1 < n && sql.at(j + 1) == c) {
                    j += 2;
                } else {
                    ++j;
                    break;
                }
            } else {
                ++j;
            }
        }
        *to = std::min(j, n);
        return Piece::Literal;
    }
    if (!server && c == QLatin1Char('[')) {
        *to = skipTo(i + 1, QStringLiteral("]"));
        return Piece::Literal;
    }
    if (server && c == QLatin1Char('$') && (i == 0 || !isIdentifierChar(sql.at(i - 1)))) {
        // A dollar quote: $$...$$ or $tag$...$tag$ ($1 is a parameter).
        qsizetype j = i + 1;
        while (j < n && isIdentifierChar(sql.at(j)) && !(j == i + 1 && sql.at(j).isDigit())) ++j;
        if (j < n && sql.at(j) == QLatin1Char('$')) {
            const QString tag = sql.mid(i, j - i + 1);
            *to = skipTo(j + 1, tag);
            return Piece::Literal;
        }
    }
    *to = i + 1;
    return Piece::Code;
}

QString numberedPlaceholders(const QString& statement, int* count)
{
    QString out;
    out.reserve(statement.size() + 16);
    *count = 0;
    for (qsizetype i = 0; i < statement.size();) {
        qsizetype to = i + 1;
        if (pieceAt(statement, i, true, &to) == Piece::Code && statement.at(i) == QLatin1Char('?'))
            out += QLatin1Char('$') + QString::number(++*count);
        else
            out += QStringView(statement).mid(i, to - i);
        i = to;
    }
    return out;
}

bool boundDateText(const QVariant& v, QByteArray* text)
{
    QDateTime d;
    if (v.typeId() == QMetaType::QDate) d = v.toDate().startOfDay();
    else if (v.typeId() == QMetaType::QDateTime) d = v.toDateTime();
    else return false;
    *text = DateFormats::storedText(d).toLatin1();
    return true;
}

bool isNullValue(const QVariant& v)
{
    if (v.isNull()) return true;
    switch (v.typeId()) {
    case QMetaType::QString: return v.toString().isNull();
    case QMetaType::QByteArray: return v.toByteArray().isNull();
    case QMetaType::QDate: return v.toDate().isNull();
    case QMetaType::QTime: return v.toTime().isNull();
    case QMetaType::QDateTime: return v.toDateTime().isNull();
    default: return false;
    }
}

unsigned int serverText(const QVariant& v, QByteArray* text)
{
    switch (v.typeId()) {
    case QMetaType::Bool: *text = v.toBool() ? "t" : "f"; return 16;
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::LongLong:
    case QMetaType::ULongLong: {
        // An integer as a literal of its size is typed: integer, bigint past it (a function
        // that takes an integer does not take a bigint).
        const qlonglong n = v.toLongLong();
        *text = QByteArray::number(n);
        return n >= std::numeric_limits<qint32>::min() && n <= std::numeric_limits<qint32>::max() ? 23 : 20;
    }
    case QMetaType::Double:
    case QMetaType::Float: *text = QByteArray::number(v.toDouble(), 'g', 17); return 701;
    case QMetaType::QByteArray: *text = "\\x" + v.toByteArray().toHex(); return 17;
    case QMetaType::QTime: *text = v.toTime().toString(QStringLiteral("HH:mm:ss.zzz")).toLatin1(); return 1083;
    default:
        if (boundDateText(v, text)) return 1114;
        *text = v.toString().toUtf8();
        return 0;
    }
}

namespace {

// The server's ISO dates and times, read without a QString in between; false when the
// text is laid out otherwise (infinity, years BC).
bool number(const char* s, int n, int* out)
{
    return std::from_chars(s, s + n, *out).ptr == s + n;
}

bool isoDate(const char* s, int len, QDate* out)
{
    int y, m, d;
    if (len < 10 || s[4] != '-' || s[7] != '-' || !number(s, 4, &y) || !number(s + 5, 2, &m) || !number(s + 8, 2, &d))
        return false;
    *out = QDate(y, m, d);
    return out->isValid();
}

// "hh:mm:ss[.ffffff]" at s, and how many characters it took.
bool isoTime(const char* s, int len, QTime* out, int* used)
{
    int h, mi, sec, ms = 0;
    if (len < 8 || s[2] != ':' || s[5] != ':' || !number(s, 2, &h) || !number(s + 3, 2, &mi) || !number(s + 6, 2, &sec))
        return false;
    int i = 8;
    if (i < len && s[i] == '.') {
        int scale = 100;
        for (++i; i < len && s[i] >= '0' && s[i] <= '9'; ++i, scale /= 10) ms += (s[i] - '0') * scale;
    }
    *used = i;
    *out = QTime(h, mi, sec, ms);
    return out->isValid();
}

} // namespace

QVariant serverValue(unsigned int type, const char* s, int len, TextCache& texts)
{
    switch (type) {
    case 16: return QVariant(len > 0 && s[0] == 't'); // bool
    case 20:                                          // int8
    case 26: {                                        // oid
        qlonglong v = 0;
        if (std::from_chars(s, s + len, v).ptr == s + len) return v;
        break;
    }
    case 21: // int2
    case 23: { // int4
        int v = 0;
        if (std::from_chars(s, s + len, v).ptr == s + len) return v;
        break;
    }
    case 700:  // float4
    case 701:  // float8
    case 1700: { // numeric, as a double
        double v = 0;
        if (std::from_chars(s, s + len, v).ptr == s + len) return v;
        break;
    }
    case 1082: { // date
        QDate d;
        if (isoDate(s, len, &d)) return d;
        break;
    }
    case 1114: // timestamp: the clock reading as stored
    case 1184: { // timestamptz: the same moment on this machine's clock
        QDate d;
        QTime t;
        int used = 0;
        if (!isoDate(s, len, &d) || len < 19 || s[10] != ' ' || !isoTime(s + 11, len - 11, &t, &used)) break;
        if (type == 1114) return QDateTime(d, t);
        const char* z = s + 11 + used;
        const int rest = len - 11 - used;
        int hours = 0, minutes = 0;
        if (rest < 3 || (z[0] != '+' && z[0] != '-') || !number(z + 1, 2, &hours)) break;
        if (rest >= 6 && z[3] == ':' && !number(z + 4, 2, &minutes)) break;
        const int offset = (z[0] == '-' ? -1 : 1) * (hours * 3600 + minutes * 60);
        return QDateTime(d, t, QTimeZone(offset)).toLocalTime();
    }
    case 1083: { // time
        QTime t;
        int used = 0;
        if (isoTime(s, len, &t, &used)) return t;
        break;
    }
    case 17: { // bytea
        size_t n = 0;
        unsigned char* bytes = PQunescapeBytea(reinterpret_cast<const unsigned char*>(s), &n);
        const QByteArray out(reinterpret_cast<const char*>(bytes), qsizetype(n));
        PQfreemem(bytes);
        return out;
    }
    }
    return texts.text(s, len);
}

} // namespace NexoFrame
