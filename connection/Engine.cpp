#include "Engine.h"
#include <QDateTime>
#include <QStandardPaths>

namespace NexoFrame {

namespace {

const QString kDateFormat = QStringLiteral("yyyy-MM-dd HH:mm:ss");

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
        return d.isValid() ? QVariant(d.toString(kDateFormat)) : QVariant();
    }
    case ColType::Text:
    case ColType::Memo: return v.toString();
    }
    return v;
}

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
        QDateTime d = QDateTime::fromString(s, kDateFormat);
        if (!d.isValid()) d = QDateTime::fromString(s, Qt::ISODate);
        return d.isValid() ? QVariant(d) : QVariant();
    }
    case ColType::Text:
    case ColType::Memo: return v.toString();
    }
    return v;
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
