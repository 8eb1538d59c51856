#pragma once
// Hungarian text on SQLite links: alphabetical order registered as the collation "nexo_hu"
// (and "HU", which files made before the sort keys name), nexo_sort_key(text) that gives the
// sort key the tables keep in their *_sk columns, and a lower() that folds every letter ("Ö"
// too), as the server's does. Every link the program opens to a file registers them.
#include <QByteArray>
#include <QString>
struct sqlite3;

namespace NexoFrame {

// False when ICU or SQLite refuses it.
bool registerHungarianCollation(sqlite3* handle);
// The ICU sort key of a text, then its UTF-8 bytes: compared as bytes, keys order their texts
// as the collation does.
QByteArray hungarianSortKey(const QString& text);

} // namespace NexoFrame
