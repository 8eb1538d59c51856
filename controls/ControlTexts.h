#pragma once
#include <QString>

// Texts that the controls show and the module shows beside them, written once.
namespace NexoFrame::ControlTexts {

inline const QString kListWizard = QStringLiteral("Listavarázsló");
inline const QString kModify = QStringLiteral("Módosítás");
inline const QString kSearch = QStringLiteral("Keresés…");
inline const QString kSavePdf = QStringLiteral("PDF mentése…");
// A list whose rows cannot be read (%1: why).
inline const QString kListUnreadable = QStringLiteral("A lista nem olvasható: %1");
// The save dialogs' file filters.
inline const QString kCsvFiles = QStringLiteral("CSV-fájl (*.csv)");
inline const QString kPdfFiles = QStringLiteral("PDF-fájl (*.pdf)");

} // namespace NexoFrame::ControlTexts
