#include "BenchSupport.h"
#include <QDateTime>
#include <QStringList>

namespace NexoFrame::Bench {

void generateMenuLog(Connection& c, int users, int rows)
{
    QSqlQuery q(c.db());
    exec(q, QStringLiteral("BEGIN"));
    // Their group, so that they are live users (a user without one reaches nothing).
    exec(q, QStringLiteral("INSERT INTO qnd_user_group (id,name,del_status) VALUES (1,'Mindenki',0)"));
    for (int from = 1; from <= users; from += 500) {
        QStringList v;
        for (int u = from; u < from + 500 && u <= users; ++u)
            v << QStringLiteral("(%1,1,'felhasznalo%2','Felhasználó %2',0)").arg(u).arg(u, 4, 10, QLatin1Char('0'));
        exec(q, QStringLiteral("INSERT INTO qnd_user (id,user_group_id,user_name,display_name,del_status) VALUES ") + v.join(QLatin1Char(',')));
    }
    QStringList menus;
    for (int m = 1; m <= 60; ++m)
        menus << QStringLiteral("(%1,%2,'Menüpont %1',0)").arg(m).arg(m <= 5 ? 0 : m <= 20 ? 1 + m % 5 : 6 + m % 15);
    exec(q, QStringLiteral("INSERT INTO qnd_menu (id,parent_id,caption,del_status) VALUES ") + menus.join(QLatin1Char(',')));
    const QDateTime start(QDate(2025, 1, 1), QTime(8, 0));
    quint32 seed = 99;
    for (int from = 1; from <= rows; from += 1000) {
        QStringList v;
        for (int id = from; id < from + 1000 && id <= rows; ++id) {
            seed = seed * 1103515245u + 12345u;
            const QDateTime at = start.addSecs(qint64(id) * 63 + (seed >> 20) % 60);
            v << QStringLiteral("(%1,%2,%3,'%4')").arg(id).arg(1 + (seed >> 8) % users).arg(21 + (seed >> 4) % 40)
                     .arg(at.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")));
        }
        exec(q, QStringLiteral("INSERT INTO qnd_menu_log (id,user_id,menu_id,log_date) VALUES ") + v.join(QLatin1Char(',')));
    }
    exec(q, QStringLiteral("COMMIT"));
    exec(q, QStringLiteral("ANALYZE"));
}

} // namespace NexoFrame::Bench
