#include "QndReport.h"
#include "Connection.h"
#include "DateFormats.h"
#include "ReadOnlySource.h"
#include "Texts.h"
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
            display = v.toDate().toString(DateFormats::kDay);
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
            date->setDisplayFormat(DateFormats::kDay);
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
    buttons->addButton(Texts::kCancel, QDialogButtonBox::RejectRole);
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

    shown.insert(QStringLiteral("today"), today.toString(DateFormats::kDay));
    m_header = companyHeader({{QStringLiteral("Nev"), m_nev}, {QStringLiteral("Tevekenyseg"), m_tevekenyseg},
                              {QStringLiteral("Kapcsolattarto"), m_kapcsolattarto}, {QStringLiteral("Cim"), m_cim},
                              {QStringLiteral("Tel"), m_tel}, {QStringLiteral("Fax"), m_fax}, {QStringLiteral("EMAIL"), m_email},
                              {QStringLiteral("WWW"), m_www}, {QStringLiteral("Bankfiok"), m_bankfiok},
                              {QStringLiteral("Szamlaszam"), m_szamlaszam}, {QStringLiteral("Adoszam"), m_adoszam}});
    m_header.title = title();
    m_header.subtitle = fillPlaceholders(m_file.subtitle, [&](const QString& n) -> QString {
        for (auto it = shown.cbegin(); it != shown.cend(); ++it)
            if (it.key().compare(n, Qt::CaseInsensitive) == 0) return it->toString();
        return QString();
    });
    return Outcome::Ready;
}

ReportDocument QndReport::document() const
{
    ReportDocument doc{m_file, m_rows, m_header};
    if (doc.file.title.isEmpty()) doc.file.title = title();
    return doc;
}

bool QndReport::writePdf(const QString& path)
{
    QString err;
    return writeReportPdf(document(), path, &err) || fail(err);
}

void QndReport::DoReport() { present(true); }

void QndReport::DoPrint() { present(false); }

void QndReport::present(bool preview)
{
    const Outcome o = prepare();
    if (o == Outcome::Failed) warn(nullptr);
    if (o != Outcome::Ready) return;
    QString err;
    const bool ok = preview ? previewReport(document(), dialogParent(), &err) : printReport(document(), dialogParent(), &err);
    if (!ok) {
        fail(err);
        warn(nullptr);
    }
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
