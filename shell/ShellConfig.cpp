#include "ShellConfig.h"
#include "Access.h"
#include "Backup.h"
#include "Connection.h"
#include "DateFormats.h"
#include "ShellNotices.h"
#include "Texts.h"
#include <QApplication>
#include <QCheckBox>
#include <QDate>
#include <QDateTime>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QHeaderView>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QTreeWidget>
#include <QUrl>
#include <QVBoxLayout>

namespace NexoFrame::Shell {

namespace {

struct BusyCursor {
    BusyCursor() { QApplication::setOverrideCursor(Qt::WaitCursor); }
    ~BusyCursor() { QApplication::restoreOverrideCursor(); }
};

QString kindText(ConfigChange::Kind k)
{
    switch (k) {
    case ConfigChange::Add: return QStringLiteral("új");
    case ConfigChange::Change: return QStringLiteral("módosul");
    case ConfigChange::Same: return QStringLiteral("változatlan");
    case ConfigChange::Leave: return QStringLiteral("marad");
    }
    return QString();
}

QColor kindColor(ConfigChange::Kind k)
{
    switch (k) {
    case ConfigChange::Add: return QColor(0x1b, 0x7f, 0x2a);
    case ConfigChange::Change: return QColor(0xa8, 0x5a, 0x00);
    default: return QColor(0x70, 0x70, 0x70);
    }
}

QString summary(const ConfigImport& plan)
{
    return QStringLiteral("%1 új, %2 módosul, %3 változatlan; %4 csak ebben az adatbázisban van, az marad.")
        .arg(plan.count(ConfigChange::Add))
        .arg(plan.count(ConfigChange::Change))
        .arg(plan.count(ConfigChange::Same))
        .arg(plan.count(ConfigChange::Leave));
}

} // namespace

ConfigImportDialog::ConfigImportDialog(Connection& connection, ConfigImport plan, QWidget* parent)
    : QDialog(parent), m_connection(connection), m_plan(std::move(plan))
{
    setWindowTitle(QStringLiteral("Beállítások importálása"));
    setObjectName(QStringLiteral("frmConfigImport"));
    auto* file = new QLabel(QStringLiteral("Fájl: %1").arg(QDir::toNativeSeparators(m_plan.path)), this);
    file->setWordWrap(true);
    lbl_summary = new QLabel(this);
    lbl_summary->setObjectName(QStringLiteral("lbl_summary"));
    lbl_summary->setWordWrap(true);
    tree_changes = new QTreeWidget(this);
    tree_changes->setObjectName(QStringLiteral("tree_changes"));
    tree_changes->setHeaderLabels({QStringLiteral("Elem"), QStringLiteral("Változás"), QStringLiteral("Részletek")});
    tree_changes->header()->setSectionResizeMode(0, QHeaderView::Interactive);
    tree_changes->setColumnWidth(0, 320);
    tree_changes->setColumnWidth(1, 90);
    chk_same = new QCheckBox(QStringLiteral("A változatlan elemek is látszanak"), this);
    chk_same->setObjectName(QStringLiteral("chk_same"));
    connect(chk_same, &QCheckBox::toggled, this, &ConfigImportDialog::fill);
    auto* note = new QLabel(QStringLiteral("A betöltés egyetlen lépésben történik: vagy minden változás bekerül, vagy egyik sem. "
                                           "A szerepkörök változásai a jogosultság-előzmények közé kerülnek."),
                            this);
    note->setWordWrap(true);
    note->setForegroundRole(QPalette::PlaceholderText);
    auto* buttons = new QDialogButtonBox(this);
    cmd_import = buttons->addButton(QStringLiteral("Betöltés"), QDialogButtonBox::AcceptRole);
    cmd_import->setObjectName(QStringLiteral("cmd_import"));
    QPushButton* cancel = buttons->addButton(Texts::kCancel, QDialogButtonBox::RejectRole);
    cancel->setObjectName(QStringLiteral("cmd_cancel"));
    connect(cmd_import, &QPushButton::clicked, this, &ConfigImportDialog::runImport);
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(file);
    layout->addWidget(lbl_summary);
    layout->addWidget(tree_changes, 1);
    layout->addWidget(chk_same);
    layout->addWidget(note);
    layout->addWidget(buttons);
    resize(820, 560);
    fill();
}

void ConfigImportDialog::fill()
{
    tree_changes->clear();
    const bool same = chk_same->isChecked();
    QHash<QString, QTreeWidgetItem*> sections;
    QHash<QString, QHash<int, int>> counts;
    for (const ConfigChange& ch : std::as_const(m_plan.changes)) {
        QTreeWidgetItem*& section = sections[ch.section];
        if (!section) {
            section = new QTreeWidgetItem(tree_changes, {ch.section});
            QFont f = section->font(0);
            f.setBold(true);
            section->setFont(0, f);
        }
        ++counts[ch.section][ch.kind];
        if (ch.kind == ConfigChange::Same && !same) continue;
        auto* item = new QTreeWidgetItem(section, {ch.what, kindText(ch.kind), ch.details.join(QStringLiteral("; "))});
        item->setForeground(1, kindColor(ch.kind));
        item->setToolTip(2, ch.details.join(QLatin1Char('\n')));
    }
    for (auto it = sections.begin(); it != sections.end(); ++it) {
        const QHash<int, int>& n = counts[it.key()];
        it.value()->setText(2, QStringLiteral("%1 új, %2 módosul, %3 változatlan, %4 marad")
                                   .arg(n.value(ConfigChange::Add))
                                   .arg(n.value(ConfigChange::Change))
                                   .arg(n.value(ConfigChange::Same))
                                   .arg(n.value(ConfigChange::Leave)));
        it.value()->setExpanded(n.value(ConfigChange::Add) + n.value(ConfigChange::Change) > 0);
    }
    lbl_summary->setText(summary(m_plan));
    cmd_import->setEnabled(m_plan.changesAnything());
    if (!m_plan.changesAnything()) lbl_summary->setText(lbl_summary->text() + QStringLiteral(" Nincs mit betölteni: az adatbázis már ezt tartalmazza."));
}

void ConfigImportDialog::runImport()
{
    QString why;
    bool ok;
    {
        BusyCursor busy;
        ok = importConfig(m_connection, &m_plan, &why, Notices::lockQuestion(this));
    }
    if (!ok) {
        Notices::error(this, why);
        return;
    }
    accept();
}

bool exportConfiguration(QWidget* parent, Connection& c, int userId, QString path)
{
    if (!Notices::allowed(parent, c, userId, kConfigExportRight, QStringLiteral("a beállítások exportálásához"))) return false;
    if (path.isEmpty()) {
        const QString suggested = QDir::home().filePath(
            QStringLiteral("nexoframe-beallitasok-%1.json").arg(QDate::currentDate().toString(DateFormats::kFileDay)));
        path = QFileDialog::getSaveFileName(parent, QStringLiteral("Beállítások exportálása"), suggested,
                                            QStringLiteral("NexoFrame-beállítások (*.json)"));
        if (path.isEmpty()) return false;
    }
    QString why;
    bool ok;
    {
        BusyCursor busy;
        ok = exportConfig(c, path, &why);
    }
    if (!ok) Notices::error(parent, why);
    return ok;
}

bool importConfiguration(QWidget* parent, Connection& c, int userId, QString path)
{
    if (!Notices::allowed(parent, c, userId, kConfigImportRight, QStringLiteral("a beállítások importálásához"))) return false;
    if (path.isEmpty()) {
        path = QFileDialog::getOpenFileName(parent, QStringLiteral("Beállítások importálása"), QDir::homePath(),
                                            QStringLiteral("NexoFrame-beállítások (*.json);;Minden fájl (*)"));
        if (path.isEmpty()) return false;
    }
    ConfigImport plan;
    QString why;
    bool ok;
    {
        BusyCursor busy;
        ok = previewConfig(c, path, &plan, &why);
    }
    if (!ok) {
        Notices::error(parent, why);
        return false;
    }
    ConfigImportDialog dialog(c, std::move(plan), parent);
    return dialog.exec() == QDialog::Accepted;
}

bool backupDatabase(QWidget* parent, Connection& c, int userId, QString path)
{
    if (!Notices::allowed(parent, c, userId, kDatabaseBackupRight, QStringLiteral("az adatbázis mentéséhez"))) return false;
    if (path.isEmpty()) {
        const bool server = isServerTarget(c.target());
        const QString name = server ? QUrl(c.target()).path().mid(1) : QFileInfo(c.databaseName()).completeBaseName();
        const QString suggested = QDir(c.databaseFolder()).filePath(
            QStringLiteral("%1-mentes-%2.%3")
                .arg(name, QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmm")),
                     server ? QStringLiteral("dump") : QStringLiteral("sqlite")));
        path = QFileDialog::getSaveFileName(parent, QStringLiteral("Adatbázis mentése"), suggested,
                                            server ? QStringLiteral("PostgreSQL-mentés (*.dump);;Minden fájl (*)")
                                                   : QStringLiteral("SQLite-adatbázis (*.sqlite);;Minden fájl (*)"));
        if (path.isEmpty()) return false;
    }
    QString message;
    bool ok;
    {
        BusyCursor busy;
        ok = Backup::backup(c, path, &message);
    }
    if (!ok)
        Notices::error(parent, message);
    else if (Notices::console())
        Notices::info(message);
    else
        QMessageBox::information(parent, QStringLiteral("Adatbázis mentése"), message);
    return ok;
}

} // namespace NexoFrame::Shell
