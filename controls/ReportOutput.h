#pragma once
#include "ReportLayout.h"
#include "WaitCursor.h"
#include <QHash>

class QWidget;

namespace NexoFrame::Controls {

// A report ready to go out: its layout, rows and page header. The report class and the
// list wizard both print through here.
struct ReportDocument {
    ReportFile file;
    ReportRows rows;
    ReportHeader header;
    QString title() const { return file.title.isEmpty() ? header.title : file.title; }
};

// The page header of a company: its name, then its details on labelled lines. The keys are
// those of the report contract without "RegUser" ("Nev", "Tevekenyseg", "Cim", "Tel",
// "Fax", "EMAIL", "WWW", "Bankfiok", "Szamlaszam", "Adoszam", "Kapcsolattarto").
ReportHeader companyHeader(const QHash<QString, QString>& values);

// The whole report into a PDF file; false with a Hungarian message.
bool writeReportPdf(const ReportDocument& doc, const QString& path, QString* error);
// A print preview with Qt's own printing and a "PDF mentése…" button; false with a message
// when painting failed.
bool previewReport(const ReportDocument& doc, QWidget* parent, QString* error);
// Straight to the default printer; a machine without one offers a PDF file instead (and
// declining that is no failure).
bool printReport(const ReportDocument& doc, QWidget* parent, QString* error);
// Asks where to save the PDF (the documents folder, or `folder`), then writes it.
bool saveReportPdf(const ReportDocument& doc, QWidget* parent, QString* error, const QString& folder = {});

} // namespace NexoFrame::Controls
