#include "QndReport.h"
#include "Connection.h"
#include "ReadOnlySource.h"
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QDateEdit>
#include <QDialog>
#include <QDialogButtonBox>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPdfWriter>
#include <QPrintPreviewDialog>
#include <QPrinter>
#include <QPrinterInfo>
#include <QPushButton>
#include <QSpinBox>
#include <QStandardPaths>
#include <QToolBar>
#include <QToolButton>
#include <QVBoxLayout>
#include <atomic>

namespace NexoFrame::Controls {

namespace {

std::atomic<int> g_live{0};

// The wait cursor while the database works, put back however the work ends.
class WaitCursor {
public:
    WaitCursor() : m_on(qobject_cast<QGuiApplication*>(QCoreApplication::instance()) != nullptr)
    {
        if (m_on) QGuiApplication::setOverrideCursor(Qt::WaitCursor);
    }
    ~WaitCursor()
    {
        if (m_on) QGuiApplication::restoreOverrideCursor();
    }
    WaitCursor(const WaitCursor&) = delete;
    WaitCursor& operator=(const WaitCursor&) = delete;

private:
    bool m_on;
};

QWidget* dialogParent() { return QApplication::activeWindow(); }

QString caption(const ReportParameter& p) { return p.caption.isEmpty() ? p.name : p.caption; }

} // namespace

QndReport::QndReport(QObject* parent) : QObject(parent) { ++g_live; }

QndReport::~QndReport() { --g_live; }

int QndReport::liveObjects() { return g_live.load(); }

QString QndReport::stringPar(int n) const
{
    switch (n) {
    case 1: return m_stringPar1;
    case 2: return m_stringPar2;
    case 3: return m_stringPar3;
    case 4: return m_stringPar4;
    case 5: return m_stringPar5;
    }
    return QString();
}

QString QndReport::title() const
{
    if (!m_file.title.isEmpty()) return m_file.title;
    if (!m_reportName.trimmed().isEmpty()) return m_reportName.trimmed();
    return QStringLiteral("Riport");
}

bool QndReport::fail(const QString& message)
{
    m_lastError = message;
    return false;
}

void QndReport::warn(QWidget* parent) const
{
    QMessageBox::warning(parent ? parent : dialogParent(), title(), m_lastError);
}

bool QndReport::resolveParameters(const QVariantMap& chosen, QVariantMap* values, QVariantMap* shown)
{
    const QDate today = QDate::currentDate();
    values->clear();
    shown->clear();
    for (const ReportParameter& p : m_file.parameters) {
        QVariant v;
        if (chosen.contains(p.name)) {
            v = chosen.value(p.name);
        } else {
            // StringParN from the host beats the file's default.
            const QString given = stringPar(p.stringPar).trimmed();
            const QString text = given.isEmpty() ? p.defaultValue : given;
            if (text.trimmed().isEmpty() && (p.type == ParameterType::Int || p.type == ParameterType::Date))
                return fail(QStringLiteral("A(z) „%1” paraméternek nincs értéke.").arg(caption(p)));
            QString err;
            if (!parameterValue(p, text, today, *values, &v, &err)) return fail(err);
        }
        QString display;
        if (p.type == ParameterType::Choice) {
            const auto& options = m_choices.value(p.name);
            if (options.isEmpty())
                return fail(QStringLiteral("A(z) „%1” paraméternek nincs választható értéke.").arg(caption(p)));
            const QString wanted = v.toString().trimmed();
            auto it = std::find_if(options.cbegin(), options.cend(),
                                   [&](const auto& o) { return o.first.toString() == wanted; });
            if (wanted.isEmpty()) it = options.cbegin();
            if (it == options.cend())
                return fail(QStringLiteral("A(z) „%1” paraméter értéke („%2”) nem választható.").arg(caption(p), wanted));
            v = it->first;
            display = it->second;
        } else if (p.type == ParameterType::Date) {
            display = v.toDate().toString(QStringLiteral("yyyy.MM.dd."));
        } else {
            display = v.toString();
        }
        values->insert(p.name, v);
        shown->insert(p.name, display);
    }
    return true;
}

bool QndReport::askParameters(QVariantMap* chosen)
{
    QDialog dlg(dialogParent());
    dlg.setWindowTitle(QStringLiteral("A riport paraméterei"));
    auto* layout = new QVBoxLayout(&dlg);
    auto* heading = new QLabel(title(), &dlg);
    QFont bold = heading->font();
    bold.setBold(true);
    heading->setFont(bold);
    layout->addWidget(heading);
    auto* form = new QFormLayout;
    layout->addLayout(form);
    QList<std::pair<const ReportParameter*, QWidget*>> editors;
    for (const ReportParameter& p : m_file.parameters) {
        if (!p.ask) continue;
        const QVariant v = chosen->value(p.name);
        QWidget* editor = nullptr;
        switch (p.type) {
        case ParameterType::Int: {
            auto* spin = new QSpinBox(&dlg);
            spin->setRange(p.min, p.max);
            spin->setValue(v.toInt());
            editor = spin;
            break;
        }
        case ParameterType::Date: {
            auto* date = new QDateEdit(v.toDate(), &dlg);
            date->setDisplayFormat(QStringLiteral("yyyy.MM.dd."));
            date->setCalendarPopup(true);
            editor = date;
            break;
        }
        case ParameterType::Choice: {
            auto* combo = new QComboBox(&dlg);
            for (const auto& [value, text] : m_choices.value(p.name)) combo->addItem(text, value);
            combo->setCurrentIndex(std::max(0, combo->findData(v)));
            editor = combo;
            break;
        }
        case ParameterType::Text: editor = new QLineEdit(v.toString(), &dlg); break;
        }
        editor->setObjectName(p.name);
        form->addRow(caption(p) + QLatin1Char(':'), editor);
        editors.append({&p, editor});
    }
    auto* buttons = new QDialogButtonBox(&dlg);
    buttons->addButton(QStringLiteral("Rendben"), QDialogButtonBox::AcceptRole)->setDefault(true);
    buttons->addButton(QStringLiteral("Mégse"), QDialogButtonBox::RejectRole);
    connect(buttons, &QDialogButtonBox::accepted, &dlg, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, &dlg, &QDialog::reject);
    layout->addWidget(buttons);
    if (dlg.exec() != QDialog::Accepted) return false;
    for (const auto& [p, editor] : editors) {
        if (auto* spin = qobject_cast<QSpinBox*>(editor)) chosen->insert(p->name, spin->value());
        else if (auto* date = qobject_cast<QDateEdit*>(editor)) chosen->insert(p->name, date->date());
        else if (auto* combo = qobject_cast<QComboBox*>(editor)) chosen->insert(p->name, combo->currentData());
        else if (auto* line = qobject_cast<QLineEdit*>(editor)) chosen->insert(p->name, line->text());
    }
    return true;
}

QndReport::Outcome QndReport::prepare()
{
    m_lastError.clear();
    m_file = ReportFile();
    m_rows = ReportRows();
    auto failed = [this](const QString& message) {
        m_lastError = message;
        return Outcome::Failed;
    };
    auto* connection = qobject_cast<Connection*>(m_connection.data());
    if (!connection || !connection->isOpen())
        return failed(QStringLiteral("A riport nem készíthető el: nincs megnyitott adatbázis-kapcsolat."));
    if (m_fileName.trimmed().isEmpty())
        return failed(QStringLiteral("A riport nem készíthető el: nincs megadva a riportfájl neve."));
    QString err;
    ReportFile file;
    if (!ReportFile::load(ReportFile::resolve(m_fileName.trimmed()), &file, &err)) return failed(err);
    m_file = file;

    const QDate today = QDate::currentDate();
    std::unique_ptr<ReadOnlySource> source;
    {
        WaitCursor wait;
        source = ReadOnlySource::open(*connection, &err);
        if (!source) return failed(err);
        m_choices.clear();
        for (const ReportParameter& p : m_file.parameters) {
            if (p.type != ParameterType::Choice) continue;
            QString statement;
            QVariantList bound;
            auto& options = m_choices[p.name];
            const bool ok = bindNamed(p.choices, {{QStringLiteral("today"), today}}, &statement, &bound, &err)
                && source->run(statement, bound, nullptr,
                               [&](const QVariantList& row) {
                                   options.append({row.value(0), row.value(row.size() > 1 ? 1 : 0).toString()});
                                   return true;
                               },
                               &err);
            if (!ok)
                return failed(QStringLiteral("A(z) „%1” paraméter választéka nem olvasható be. %2").arg(caption(p), err));
        }
    }

    QVariantMap values, shown, chosen;
    if (!resolveParameters(chosen, &values, &shown)) return Outcome::Failed;
    const bool asks = std::any_of(m_file.parameters.cbegin(), m_file.parameters.cend(), [](const auto& p) { return p.ask; });
    if (m_askParameters && asks) {
        for (const ReportParameter& p : m_file.parameters)
            if (p.ask) chosen.insert(p.name, values.value(p.name));
        if (!askParameters(&chosen)) return Outcome::Cancelled;
        // What the others derive from ("today+{days}") may have changed.
        if (!resolveParameters(chosen, &values, &shown)) return Outcome::Failed;
    }

    QVariantMap bound = values;
    bound.insert(QStringLiteral("today"), today);
    for (const ReportParameter& p : m_file.parameters)
        if (p.type == ParameterType::Date) bound.insert(p.name + QStringLiteral("_next"), values.value(p.name).toDate().addDays(1));
    {
        WaitCursor wait;
        if (!fetchRows(*source, m_file, bound, &m_rows, &err))
            return failed(QStringLiteral("A riport lekérdezése nem futott le. %1").arg(err));
    }

    shown.insert(QStringLiteral("today"), today.toString(QStringLiteral("yyyy.MM.dd.")));
    m_header = ReportHeader();
    m_header.company = m_nev.trimmed();
    // Labelled pairs on one line each; an empty value drops its label, an empty pair its line.
    auto line = [](std::initializer_list<std::pair<const char*, QString>> items) {
        QStringList parts;
        for (const auto& [label, value] : items)
            if (!value.trimmed().isEmpty()) parts << QString::fromUtf8(label) + value.trimmed();
        return parts.join(QStringLiteral("   ·   "));
    };
    QString bank = m_szamlaszam.trimmed();
    if (!m_bankfiok.trimmed().isEmpty()) bank = bank.isEmpty() ? m_bankfiok.trimmed() : bank + QStringLiteral(" (%1)").arg(m_bankfiok.trimmed());
    for (const QString& l : {line({{"", m_tevekenyseg}}), line({{"", m_cim}}),
                             line({{"Telefon: ", m_tel}, {"Fax: ", m_fax}}),
                             line({{"E-mail: ", m_email}, {"Web: ", m_www}}),
                             line({{"Adószám: ", m_adoszam}, {"Bankszámla: ", bank}}),
                             line({{"Kapcsolattartó: ", m_kapcsolattarto}})})
        if (!l.isEmpty()) m_header.details << l;
    m_header.title = title();
    m_header.subtitle = fillPlaceholders(m_file.subtitle, [&](const QString& n) -> QString {
        for (auto it = shown.cbegin(); it != shown.cend(); ++it)
            if (it.key().compare(n, Qt::CaseInsensitive) == 0) return it->toString();
        return QString();
    });
    m_header.printed = QDateTime::currentDateTime();
    return Outcome::Ready;
}

bool QndReport::paint(QPagedPaintDevice* device)
{
    ReportLayout layout(m_file, m_rows, m_header);
    QString err;
    if (!layout.print(device, &err)) return fail(err);
    return true;
}

bool QndReport::writePdf(const QString& path)
{
    {
        // QPdfWriter only says that it failed; the file says why.
        QFile probe(path);
        if (!probe.open(QIODevice::WriteOnly))
            return fail(QStringLiteral("A(z) „%1” fájl nem írható: %2").arg(QDir::toNativeSeparators(path), probe.errorString()));
    }
    QPdfWriter writer(path);
    ReportLayout::setUpPage(&writer, m_file.orientation);
    writer.setResolution(600);
    writer.setTitle(title());
    writer.setCreator(QStringLiteral("NexoFrame"));
    return paint(&writer);
}

void QndReport::saveAsPdf(QWidget* parent)
{
    QString name = title();
    name.replace(QLatin1Char('/'), QLatin1Char('-'));
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    QString path = QFileDialog::getSaveFileName(parent, QStringLiteral("PDF mentése"), QDir(folder).filePath(name + QStringLiteral(".pdf")),
                                                QStringLiteral("PDF-fájl (*.pdf)"));
    if (path.isEmpty()) return;
    if (QFileInfo(path).suffix().isEmpty()) path += QStringLiteral(".pdf");
    if (!writePdf(path)) warn(parent);
}

void QndReport::DoReport()
{
    const Outcome o = prepare();
    if (o == Outcome::Failed) warn(nullptr);
    if (o != Outcome::Ready) return;

    QPrinter printer(QPrinter::HighResolution);
    ReportLayout::setUpPage(&printer, m_file.orientation);
    printer.setDocName(title());
    QPrintPreviewDialog dlg(&printer, dialogParent());
    dlg.setWindowTitle(title());
    dlg.resize(1000, 800);
    bool painted = true;
    connect(&dlg, &QPrintPreviewDialog::paintRequested, this, [&](QPrinter* p) { painted = paint(p) && painted; });
    if (auto* bar = dlg.findChild<QToolBar*>()) {
        bar->addSeparator();
        QAction* save = bar->addAction(QIcon::fromTheme(QStringLiteral("document-save-as")), QStringLiteral("PDF mentése…"));
        save->setObjectName(QStringLiteral("savePdf"));
        save->setToolTip(QStringLiteral("A riport mentése PDF-fájlba"));
        // The words stay beside an icon the theme may give it: the other buttons are Qt's own.
        if (auto* button = qobject_cast<QToolButton*>(bar->widgetForAction(save)))
            button->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
        connect(save, &QAction::triggered, this, [this, &dlg] { saveAsPdf(&dlg); });
    }
    dlg.exec();
    if (!painted) warn(nullptr);
}

void QndReport::DoPrint()
{
    const Outcome o = prepare();
    if (o == Outcome::Failed) warn(nullptr);
    if (o != Outcome::Ready) return;

    const QList<QPrinterInfo> printers = QPrinterInfo::availablePrinters();
    if (printers.isEmpty()) {
        fail(QStringLiteral("Ezen a gépen nincs beállított nyomtató, ezért a riport nem nyomtatható ki."));
        QMessageBox box(QMessageBox::Question, title(), m_lastError + QStringLiteral("\nElmenti helyette PDF-fájlba?"),
                        QMessageBox::NoButton, dialogParent());
        QPushButton* save = box.addButton(QStringLiteral("PDF mentése…"), QMessageBox::AcceptRole);
        box.addButton(QStringLiteral("Mégse"), QMessageBox::RejectRole);
        box.setDefaultButton(save);
        box.exec();
        if (box.clickedButton() == save) saveAsPdf(dialogParent());
        return;
    }
    QPrinterInfo info = QPrinterInfo::defaultPrinter();
    if (info.isNull()) info = printers.first();
    QPrinter printer(info, QPrinter::HighResolution);
    ReportLayout::setUpPage(&printer, m_file.orientation);
    printer.setDocName(title());
    if (!paint(&printer)) warn(nullptr);
}

bool QndReport::ExportPdf(const QString& path)
{
    if (path.trimmed().isEmpty()) return fail(QStringLiteral("Nincs megadva a PDF-fájl neve."));
    if (prepare() != Outcome::Ready) {
        if (m_lastError.isEmpty()) m_lastError = QStringLiteral("A riport paramétereinek megadása megszakítva.");
        return false;
    }
    return writePdf(path);
}

} // namespace NexoFrame::Controls
