#pragma once
#include <QString>

// Texts that the module's forms and panels share, written once.
namespace NexoFrame::ModuleTexts {

// The edit dialogs' and message boxes' buttons.
inline const QString kSave = QStringLiteral("&Rögzít");
inline const QString kCancel = QStringLiteral("&Mégsem");
inline const QString kPreview = QStringLiteral("Előnézet");
inline const QString kSaveCsv = QStringLiteral("Mentés CSV-be…");

// A panel attached to a host that gave it no database.
inline const QString kNoSiteSession = QStringLiteral("A gazdaalkalmazás nem adott adatbázis-kapcsolatot.");

// The question before a row of a tree or a list is deleted (its misspelling is the system's).
inline const QString kConfirmDelete = QStringLiteral("Biztosan törli a kiválaszott elemet?");
// A menu item, an OLAP report or a folder saved without a caption.
inline const QString kCaptionRequired = QStringLiteral("A felirat megadása kötelező!");
// The edit forms' labels of the name and the remark.
inline const QString kNameLabel = QStringLiteral("Név:");
inline const QString kRemarkLabel = QStringLiteral("Megjegyzés:");
// The panels' command bar.
inline const QString kMasterData = QStringLiteral("Törzsadat");
// A record or a lookup that finds no connection.
inline const QString kNoConnection = QStringLiteral("Nincs adatbázis-kapcsolat.");

} // namespace NexoFrame::ModuleTexts
