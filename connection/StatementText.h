#pragma once
#include <QByteArray>
#include <QString>
#include <QVariant>
#include <cstring>
#include <vector>

namespace NexoFrame {

// Statements and values as the engines read and write them as text: what is code and what is
// quoted in a statement, placeholders numbered for the server, bound dates, and the server's
// text format read back into values. The read-only link and the server link share them.

enum class Piece { Code, Comment, Literal };

// What starts at sql[i] as the engine reads it: a comment or a quoted literal (string,
// quoted name, dollar quote) and where it ends; or plain code, one character.
Piece pieceAt(const QString& sql, qsizetype i, bool server, qsizetype* to);

// The server numbers its placeholders: each "?" of the code becomes $1, $2, ...
QString numberedPlaceholders(const QString& statement, int* count);

// A bound date as both engines compare stored dates: the clock reading, as text.
bool boundDateText(const QVariant& v, QByteArray* text);

// Whether a bound value stands for NULL: a null of its type too (a null text, date, ...), as
// Qt's own drivers take it.
bool isNullValue(const QVariant& v);
// A bound value in the server's text format, and its type (a libpq Oid) where the value says
// what it is; 0 for text, which the server takes for what it stands beside, as a quoted
// literal.
unsigned int serverText(const QVariant& v, QByteArray* text);

// The texts of a column that come again and again (what a report groups by) share one
// QString: a value met a moment ago costs a hash and a comparison instead of an allocation
// and a UTF-8 decoding. Direct-mapped, so a column of unique texts only passes through.
class TextCache {
public:
    QString text(const char* s, int len)
    {
        if (len > kLongest) return QString::fromUtf8(s, len);
        quint64 h = 0x9e3779b97f4a7c15ULL ^ quint64(len);
        int i = 0;
        for (; i + 8 <= len; i += 8) {
            quint64 k;
            std::memcpy(&k, s + i, 8);
            h = (h ^ k) * 0xbf58476d1ce4e5b9ULL;
            h ^= h >> 31;
        }
        if (i < len) {
            quint64 k = 0;
            std::memcpy(&k, s + i, size_t(len - i));
            h = (h ^ k) * 0x94d049bb133111ebULL;
        }
        h ^= h >> 29;
        // Made at the first text: a result of a row or two never pays for the slots.
        if (m_slots.empty()) m_slots.resize(kSlots);
        Slot& slot = m_slots[h & (kSlots - 1)];
        if (slot.hash != h || slot.length != len || std::memcmp(slot.bytes, s, size_t(len)) != 0) {
            slot.hash = h;
            slot.length = len;
            std::memcpy(slot.bytes, s, size_t(len));
            slot.text = QString::fromUtf8(s, len);
        }
        return slot.text;
    }

private:
    static constexpr int kLongest = 48;
    static constexpr size_t kSlots = 256;
    struct Slot {
        quint64 hash = 0;
        int length = -1;
        char bytes[kLongest];
        QString text;
    };
    std::vector<Slot> m_slots;
};

// A value in the server's text format, by its column's type (a libpq Oid).
QVariant serverValue(unsigned int type, const char* s, int len, TextCache& texts);

} // namespace NexoFrame
