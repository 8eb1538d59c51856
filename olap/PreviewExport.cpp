#include "PreviewExport.h"
#include "ControlTexts.h"
#include "Module.h"
#include "OlapPreview.h"
#include "cMessage2.h"
#include <QFileDialog>
#include <QPushButton>

namespace NexoFrame {

QList<QPushButton*> previewExportButtons(Olap::OlapPreview* preview, QWidget* parent, const std::function<QString()>& title)
{
    const auto save = [preview, parent, title](bool asPdf) {
        const QString name = title();
        const QString path = QFileDialog::getSaveFileName(parent, asPdf ? QStringLiteral("PDF mentése") : QStringLiteral("CSV mentése"),
                                                          name + (asPdf ? QStringLiteral(".pdf") : QStringLiteral(".csv")),
                                                          asPdf ? QStringLiteral("PDF (*.pdf)") : QStringLiteral("CSV (*.csv)"));
        if (path.isEmpty()) return;
        QString error;
        const bool ok = asPdf ? preview->exportPdf(path, name, &error) : preview->exportCsv(path, &error);
        if (!ok) module().message().MsgError(QStringLiteral("A mentés nem sikerült."), error);
    };
    auto* csv = new QPushButton(QStringLiteral("CSV mentése…"), parent);
    auto* pdf = new QPushButton(ControlTexts::kSavePdf, parent);
    csv->setObjectName(QStringLiteral("cmd_csv"));
    pdf->setObjectName(QStringLiteral("cmd_pdf"));
    for (QPushButton* b : {csv, pdf}) b->setAutoDefault(false);
    QObject::connect(csv, &QPushButton::clicked, preview, [save] { save(false); });
    QObject::connect(pdf, &QPushButton::clicked, preview, [save] { save(true); });
    return {csv, pdf};
}

} // namespace NexoFrame
