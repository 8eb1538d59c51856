#pragma once
// Sample sales for paging: more rows than a few pages, Hungarian names that the alphabet
// orders otherwise than the bytes do, long runs of equal values and nulls in every sorted
// column, so that a page boundary falls inside ties and inside the nulls.
#include "Connection.h"
#include <QDateTime>
#include <QStringList>

namespace NexoFrame {

constexpr int kPagingRows = 1130;

inline bool fillPagingSample(Connection& c)
{
    static const QStringList regions{QStringLiteral("Csepel"),  QStringLiteral("Cegléd"), QStringLiteral("Ózd"),
                                     QStringLiteral("Orosháza"), QStringLiteral("Ásotthalom"), QStringLiteral("Abony"),
                                     QStringLiteral("Zsámbék"),  QStringLiteral("Zalaegerszeg"), QStringLiteral("ügy"),
                                     QStringLiteral("Ugod"),     QString()};
    if (!c.execute(QStringLiteral("DELETE FROM olap_sample_sales"))) return false;
    QStringList rows;
    QVariantList binds;
    const auto flush = [&] {
        const bool ok = rows.isEmpty()
                     || c.execute(QStringLiteral("INSERT INTO olap_sample_sales (id, region, product, quantity, amount, sale_date, paid) VALUES ")
                                      + rows.join(QLatin1Char(',')),
                                  binds);
        rows.clear();
        binds.clear();
        return ok;
    };
    const QDateTime start(QDate(2026, 1, 1), QTime(8, 0));
    for (int i = 1; i <= kPagingRows; ++i) {
        // Ids out of step with every column; each value repeats over hundreds of rows.
        const int id = (i * 389) % 2003 + 1;
        const QString region = regions[(i * 7) % regions.size()];
        rows << QStringLiteral("(?, ?, ?, ?, ?, ?, ?)");
        binds << id << (region.isEmpty() ? QVariant() : QVariant(region)) << QStringLiteral("Termék %1").arg(i % 13)
              << (i % 9 == 0 ? QVariant() : QVariant(i % 4)) << (i % 11 == 0 ? QVariant() : QVariant(double(i % 6) * 2.5))
              << (i % 5 == 0 ? QVariant() : QVariant(start.addDays(i % 3).toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"))))
              << c.engine().storedBool(i % 3 == 0);
        if (rows.size() == 100 && !flush()) return false;
    }
    return flush();
}

} // namespace NexoFrame
