#include "ReportOutput.h"
#include "ControlTexts.h"
#include "Texts.h"
#include <QAction>
#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QPdfWriter>
#include <QPrintPreviewDialog>
#include <QPrinter>
#include <QPrinterInfo>
#include <QPushButton>
#include <QStandardPaths>
#include <QToolBar>
#include <QToolButton>

namespace NexoFrame::Controls {

namespace {

bool paint(const ReportDocument& doc, QPagedPaintDevice* device, QString* error)
{
    ReportLayout layout(doc.file, doc.rows, doc.header);
    return layout.print(device, error);
}

} // namespace

ReportHeader companyHeader(const QHash<QString, QString>& values)
{
    const auto v = [&](const char* key) { return values.value(QString::fromLatin1(key)).trimmed(); };
    ReportHeader h;
    h.company = v("Nev");
    // Labelled pairs on one line each; an empty value drops its label, an empty pair its line.
    auto line = [](std::initializer_list<std::pair<const char*, QString>> items) {
        QStringList parts;
        for (const auto& [label, value] : items)
            if (!value.isEmpty()) parts << QString::fromUtf8(label) + value;
        return parts.join(QStringLiteral("   ·   "));
    };
    QString bank = v("Szamlaszam");
    if (!v("Bankfiok").isEmpty()) bank = bank.isEmpty() ? v("Bankfiok") : bank + QStringLiteral(" (%1)").arg(v("Bankfiok"));
    for (const QString& l : {line({{"", v("Tevekenyseg")}}), line({{"", v("Cim")}}),
                             line({{"Telefon: ", v("Tel")}, {"Fax: ", v("Fax")}}),
                             line({{"E-mail: ", v("EMAIL")}, {"Web: ", v("WWW")}}),
                             line({{"Adószám: ", v("Adoszam")}, {"Bankszámla: ", bank}}),
                             line({{"Kapcsolattartó: ", v("Kapcsolattarto")}})})
        if (!l.isEmpty()) h.details << l;
    h.printed = QDateTime::currentDateTime();
    return h;
}

bool writeReportPdf(const ReportDocument& doc, const QString& path, QString* error)
{
    {
        // QPdfWriter only says that it failed; the file says why.
        QFile probe(path);
        if (!probe.open(QIODevice::WriteOnly)) {
            if (error) *error = QStringLiteral("A(z) „%1” fájl nem írható: %2").arg(QDir::toNativeSeparators(path), probe.errorString());
            return false;
        }
    }
    QPdfWriter writer(path);
    ReportLayout::setUpPage(&writer, doc.file.orientation);
    writer.setResolution(600);
    writer.setTitle(doc.title());
    writer.setCreator(QStringLiteral("NexoFrame"));
    if (paint(doc, &writer, error)) return true;
    QFile::remove(path);
    return false;
}

bool saveReportPdf(const ReportDocument& doc, QWidget* parent, QString* error, const QString& folder)
{
    QString name = doc.title();
    name.replace(QLatin1Char('/'), QLatin1Char('-'));
    const QString from = folder.isEmpty() ? QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation) : folder;
    QString path = QFileDialog::getSaveFileName(parent, QStringLiteral("PDF mentése"), QDir(from).filePath(name + QStringLiteral(".pdf")),
                                                ControlTexts::kPdfFiles);
    if (path.isEmpty()) return true;
    if (QFileInfo(path).suffix().isEmpty()) path += QStringLiteral(".pdf");
    return writeReportPdf(doc, path, error);
}

bool previewReport(const ReportDocument& doc, QWidget* parent, QString* error)
{
    QPrinter printer(QPrinter::HighResolution);
    ReportLayout::setUpPage(&printer, doc.file.orientation);
    printer.setDocName(doc.title());
    QPrintPreviewDialog dlg(&printer, parent);
    dlg.setWindowTitle(doc.title());
    dlg.resize(1000, 800);
    bool painted = true;
    QObject::connect(&dlg, &QPrintPreviewDialog::paintRequested, &dlg, [&](QPrinter* p) { painted = paint(doc, p, error) && painted; });
    if (auto* bar = dlg.findChild<QToolBar*>()) {
        bar->addSeparator();
        QAction* save = bar->addAction(QIcon::fromTheme(QStringLiteral("document-save-as")), ControlTexts::kSavePdf);
        save->setObjectName(QStringLiteral("savePdf"));
        save->setToolTip(QStringLiteral("Mentés PDF-fájlba"));
        // The words stay beside an icon the theme may give it: the other buttons are Qt's own.
        if (auto* button = qobject_cast<QToolButton*>(bar->widgetForAction(save)))
            button->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
        QObject::connect(save, &QAction::triggered, &dlg, [&] {
            QString why;
            if (!saveReportPdf(doc, &dlg, &why)) QMessageBox::warning(&dlg, doc.title(), why);
        });
    }
    dlg.exec();
    return painted;
}

bool printReport(const ReportDocument& doc, QWidget* parent, QString* error)
{
    const QList<QPrinterInfo> printers = QPrinterInfo::availablePrinters();
    if (printers.isEmpty()) {
        const QString why = QStringLiteral("Ezen a gépen nincs beállított nyomtató, ezért a riport nem nyomtatható ki.");
        QMessageBox box(QMessageBox::Question, doc.title(), why + QStringLiteral("\nElmenti helyette PDF-fájlba?"), QMessageBox::NoButton,
                        parent);
        QPushButton* save = box.addButton(ControlTexts::kSavePdf, QMessageBox::AcceptRole);
        box.addButton(Texts::kCancel, QMessageBox::RejectRole);
        box.setDefaultButton(save);
        box.exec();
        // Declining is no failure: the user has been told.
        return box.clickedButton() != save || saveReportPdf(doc, parent, error);
    }
    QPrinterInfo info = QPrinterInfo::defaultPrinter();
    if (info.isNull()) info = printers.first();
    QPrinter printer(info, QPrinter::HighResolution);
    ReportLayout::setUpPage(&printer, doc.file.orientation);
    printer.setDocName(doc.title());
    return paint(doc, &printer, error);
}

} // namespace NexoFrame::Controls
