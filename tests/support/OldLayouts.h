#pragma once
#include "TestDatabase.h"

namespace NexoFrame::OldLayouts {

// Layouts of databases that earlier programs made, frozen as the SQL those programs ran, so
// that the upgrade is tested against what offices really have, however the schema moves on.
enum class Layout {
    // Before the lists, the printed reports' catalogue, the rights history, the login lock-out
    // and the secret settings had tables of their own; the logs had only their by-user index,
    // and the report log's view named the OLAP reports.
    BeforeListsReportsHistory,
    // The layout of the last program before the steps were kept: step 1, without its record.
    FirstStep,
};

// Makes the empty database `db` one of that layout, with a few rows in every table it has:
// the administrator (kAdmin, password "admin", who holds every key through the "mainframe"
// unit) and a bookkeeper (kClerk, "konyv", who holds none of the system's keys). Fails the
// test process on error.
void make(const TestDatabase& db, Layout layout);

inline constexpr int kAdmin = 1;
inline constexpr int kClerk = 2;

} // namespace NexoFrame::OldLayouts
