#pragma once
// Hungarian alphabetical order for SQLite links, registered as the collation "HU" that the
// schema's text columns name. Every link the program opens to a file registers it.
struct sqlite3;

namespace NexoFrame {

// False when ICU or SQLite refuses it.
bool registerHungarianCollation(sqlite3* handle);

} // namespace NexoFrame
