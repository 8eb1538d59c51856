#pragma once
#include <QString>

// Texts that the controls, the module and the shell all show, written once.
namespace NexoFrame::Texts {

// Buttons.
inline const QString kCancel = QStringLiteral("Mégse");
inline const QString kClose = QStringLiteral("Bezárás");
inline const QString kDelete = QStringLiteral("Törlés");

// The menu tree's root.
inline const QString kMainMenu = QStringLiteral("Főmenü");
// An error that came with no description of its own.
inline const QString kUnexpectedError = QStringLiteral("Váratlan hiba történt.");

// A statement asked of a connection that has no database open.
inline const QString kNoDatabase = QStringLiteral("Nincs megnyitott adatbázis.");
// A read whose link broke and came back while its rows were coming: they are not read again.
inline const QString kReadCutOff = QStringLiteral("Olvasás közben megszakadt a kapcsolat az adatbázis-kiszolgálóval, ezért az "
                                                  "olvasás nem fejeződött be. A kapcsolat helyreállt: próbálja újra.");
// A read-only statement stopped at the user's request.
inline const QString kQueryCancelled = QStringLiteral("A lekérdezés megszakítva.");

} // namespace NexoFrame::Texts
