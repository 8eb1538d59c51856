#include "Engine.h"
#include "DateFormats.h"
#include "SqlExec.h"
#include <QDateTime>
#include <QStandardPaths>

namespace NexoFrame {

namespace {


} // namespace

QVariant Engine::toDb(const ColumnDef& c, const QVariant& v) const
{
    if (v.isNull()) return QVariant();
    switch (c.type) {
    case ColType::Bool: return storedBool(v.toBool());
    case ColType::Long: return v.toLongLong();
    case ColType::Double: return v.toDouble();
    case ColType::Date:
    case ColType::DateTime: {
        // As text: a server's own time zone must not shift it on the way.
        const QDateTime d = v.typeId() == QMetaType::QDate ? v.toDate().startOfDay() : v.toDateTime();
        return d.isValid() ? QVariant(DateFormats::storedText(d)) : QVariant();
    }
    case ColType::Text:
    case ColType::Memo: return v.toString();
    }
    return v;
}

namespace {

// The stored form "yyyy-MM-dd HH:mm:ss" read by hand: lists read it on every row, and
// QDateTime's pattern parser costs a tenth of a whole page. Anything else goes to it.
QDateTime parseStored(const QString& s)
{
    if (s.size() != 19 || s[4] != u'-' || s[7] != u'-' || s[10] != u' ' || s[13] != u':' || s[16] != u':') return {};
    int n[6];
    const int at[6] = {0, 5, 8, 11, 14, 17};
    const int len[6] = {4, 2, 2, 2, 2, 2};
    for (int k = 0; k < 6; ++k) {
        int v = 0;
        for (int i = at[k]; i < at[k] + len[k]; ++i) {
            const char16_t ch = s[i].unicode();
            if (ch < u'0' || ch > u'9') return {};
            v = v * 10 + (ch - u'0');
        }
        n[k] = v;
    }
    const QDate date(n[0], n[1], n[2]);
    const QTime time(n[3], n[4], n[5]);
    return date.isValid() && time.isValid() ? QDateTime(date, time) : QDateTime();
}

} // namespace

QVariant Engine::fromDb(const ColumnDef& c, const QVariant& v) const
{
    if (v.isNull()) return QVariant();
    switch (c.type) {
    case ColType::Bool: return v.toBool();
    case ColType::Long: return int(v.toLongLong());
    case ColType::Double: return v.toDouble();
    case ColType::Date:
    case ColType::DateTime: {
        if (v.typeId() == QMetaType::QDateTime) return v;
        const QString s = v.toString();
        QDateTime d = parseStored(s);
        if (!d.isValid()) d = QDateTime::fromString(s, DateFormats::kStored);
        if (!d.isValid()) d = QDateTime::fromString(s, Qt::ISODate);
        return d.isValid() ? QVariant(d) : QVariant();
    }
    case ColType::Text:
    case ColType::Memo: return v.toString();
    }
    return v;
}

QString Engine::sortExpression(const TableDef* table, const QString& column) const
{
    if (!table) return quoted(column);
    const QString key = keptSortKey(*table, column);
    if (!key.isEmpty()) return quoted(key);
    const ColumnDef* c = table->column(column);
    return c && (c->type == ColType::Text || c->type == ColType::Memo) ? hungarian(quoted(column)) : quoted(column);
}

bool isServerTarget(const QString& target)
{
    const QString t = target.trimmed();
    return t.startsWith(QLatin1String("postgresql://"), Qt::CaseInsensitive)
        || t.startsWith(QLatin1String("postgres://"), Qt::CaseInsensitive);
}

std::unique_ptr<Engine> makeEngineFor(const QString& target)
{
    return isServerTarget(target) ? makePostgresEngine() : makeSqliteEngine();
}

QString dataFolder()
{
    const QString base = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    return base.isEmpty() ? QString() : base + QStringLiteral("/NexoFrame");
}

} // namespace NexoFrame
