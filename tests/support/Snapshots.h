#pragma once
// What several suites take a picture of: every cell the rights history keeps, as it stands
// now or stood at a moment, and (with NEXO_KEEP_OUTPUT set) a widget as the user sees it, to look at afterwards.
#include "Connection.h"
#include "RightsHistory.h"
#include <QDir>
#include <QMap>
#include <QTest>
#include <QWidget>

namespace NexoFrame {

// "table row column" -> the value as the history writes it.
inline QMap<QString, QString> rightsDump(Connection& c)
{
    QMap<QString, QString> d;
    for (const TableDef& t : Schema::instance().tables())
        for (const QString& column : t.historyColumns)
            for (const QVariantList& r : c.select(QStringLiteral("SELECT id, %1 FROM %2").arg(column, t.name)))
                d.insert(QStringLiteral("%1 %2 %3").arg(t.name, r[0].toString(), column), c.history().text(*t.column(column), r[1]));
    return d;
}

// The same as it stood at a moment, as the rights history rebuilds it (columnAt).
inline QMap<QString, QString> rightsDumpAt(Connection& c, const QDateTime& moment)
{
    QMap<QString, QString> d;
    for (const TableDef& t : Schema::instance().tables())
        for (const QString& column : t.historyColumns) {
            const QHash<int, QString> at = columnAt(c, t.name, column, moment);
            for (auto it = at.cbegin(); it != at.cend(); ++it) d.insert(QStringLiteral("%1 %2 %3").arg(t.name).arg(it.key()).arg(column), *it);
        }
    return d;
}

// Every row of every table but the history itself and the key counters, as stored.
inline QStringList fullDump(Connection& c)
{
    QStringList d;
    for (const TableDef& t : Schema::instance().tables()) {
        if (t.isView() || t.name == QLatin1String("qnd_rights_history") || t.name == QLatin1String("qnd_key")) continue;
        for (const QVariantList& r : c.select(QStringLiteral("SELECT * FROM %1 ORDER BY 1").arg(t.name))) {
            QStringList cells{t.name};
            for (const QVariant& v : r) cells << v.toString();
            d << cells.join(QLatin1Char('|'));
        }
    }
    return d;
}

// Saves `name`.png into NEXO_KEEP_OUTPUT; `size` resizes and shows a widget that is not up yet.
inline void keepPicture(QWidget* w, const QString& name, const QSize& size = {})
{
    const QString folder = qEnvironmentVariable("NEXO_KEEP_OUTPUT");
    if (folder.isEmpty()) return;
    QDir().mkpath(folder);
    if (size.isValid()) {
        w->resize(size);
        w->show();
    }
    QTest::qWait(50);
    w->grab().save(QDir(folder).filePath(name + QStringLiteral(".png")));
}

} // namespace NexoFrame
