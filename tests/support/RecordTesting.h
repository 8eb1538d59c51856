#pragma once
// What the record and form suites share: the texts gathered in Errors, the rows an error
// list shows, and the system-edit flag set on both sides.
#include "Connection.h"
#include "Module.h"
#include <QStringList>
#include <QTableWidget>

namespace NexoFrame {

inline QStringList errorTexts()
{
    QStringList l;
    for (const Error& e : module().errors()) l << e.description();
    return l;
}

// The first column of the "Hiba lista" dialog's grid.
inline QStringList listedErrors(QWidget* list)
{
    QStringList l;
    auto* grid = list->findChild<QTableWidget*>(QStringLiteral("grd_error"));
    for (int r = 0; grid && r < grid->rowCount(); ++r) l << grid->item(r, 0)->text();
    return l;
}

inline void setSystemEdit(Connection& c, bool on)
{
    c.session().setSystemEdit(on);
}

} // namespace NexoFrame
