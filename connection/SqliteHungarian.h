#pragma once
// Hungarian text on SQLite links: alphabetical order registered as the collation "HU" that
// the schema's text columns name, and a lower() that folds every letter ("Ö" too), as the
// server's does. Every link the program opens to a file registers both.
struct sqlite3;

namespace NexoFrame {

// False when ICU or SQLite refuses it.
bool registerHungarianCollation(sqlite3* handle);

} // namespace NexoFrame
