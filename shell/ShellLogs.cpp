#include "ShellLogs.h"
#include "Access.h"
#include "Connection.h"
#include "DateFormats.h"
#include "LogKeeping.h"
#include "ShellNotices.h"
#include "Texts.h"
#include <QApplication>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileDialog>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

namespace NexoFrame::Shell {

namespace {

const QString kTitle = QStringLiteral("Naplók karbantartása");

LogKeeping::Periods shown(QSpinBox* const (&spins)[4])
{
    LogKeeping::Periods p;
    for (int i = 0; i < LogKeeping::LogCount; ++i) p.days[i] = spins[i]->value();
    return p;
}

} // namespace

LogMaintenanceDialog::LogMaintenanceDialog(Connection& connection, QWidget* parent) : QDialog(parent), m_connection(connection)
{
    setObjectName(QStringLiteral("frmLogMaintenance"));
    setWindowTitle(kTitle);
    auto* hint = new QLabel(QStringLiteral("Minden napló ennyi napig őrzi a sorait (0: örökre). Az archiválás a régebbi sorokat "
                                           "naplónként egy CSV-fájlba írja, majd egyetlen lépésben törli őket; a jogosultság-előzmények "
                                           "a levágás pillanatának állapotától kezdve maradnak meg."),
                            this);
    hint->setWordWrap(true);
    auto* grid = new QGridLayout;
    static const char* const names[] = {"spn_menu_log", "spn_report_log", "spn_login_failures", "spn_rights_history"};
    const LogKeeping::Periods kept = LogKeeping::periods(m_connection);
    for (int i = 0; i < LogKeeping::LogCount; ++i) {
        grid->addWidget(new QLabel(LogKeeping::info(LogKeeping::Log(i)).caption + QLatin1Char(':'), this), i, 0);
        spn_days[i] = new QSpinBox(this);
        spn_days[i]->setObjectName(QString::fromLatin1(names[i]));
        spn_days[i]->setRange(0, 36500);
        spn_days[i]->setSuffix(QStringLiteral(" nap"));
        spn_days[i]->setSpecialValueText(QStringLiteral("örökre"));
        spn_days[i]->setValue(kept.days[i]);
        grid->addWidget(spn_days[i], i, 1);
        lbl_older[i] = new QLabel(this);
        lbl_older[i]->setObjectName(QStringLiteral("lbl_older_%1").arg(i));
        grid->addWidget(lbl_older[i], i, 2);
        connect(spn_days[i], &QSpinBox::valueChanged, this, &LogMaintenanceDialog::countOlder);
    }
    txt_folder = new QLineEdit(QDir::toNativeSeparators(m_connection.databaseFolder()), this);
    txt_folder->setObjectName(QStringLiteral("txt_folder"));
    auto* browse = new QPushButton(QStringLiteral("Tallózás…"), this);
    browse->setAutoDefault(false);
    connect(browse, &QPushButton::clicked, this, [this] {
        const QString folder = QFileDialog::getExistingDirectory(this, QStringLiteral("Az archívum mappája"), txt_folder->text());
        if (!folder.isEmpty()) txt_folder->setText(QDir::toNativeSeparators(folder));
    });
    auto* folderRow = new QHBoxLayout;
    folderRow->addWidget(new QLabel(QStringLiteral("Archívum mappája:"), this));
    folderRow->addWidget(txt_folder, 1);
    folderRow->addWidget(browse);
    lbl_result = new QLabel(this);
    lbl_result->setObjectName(QStringLiteral("lbl_result"));
    lbl_result->setWordWrap(true);
    auto* buttons = new QDialogButtonBox(this);
    cmd_save = buttons->addButton(QStringLiteral("Megőrzési idők mentése"), QDialogButtonBox::ApplyRole);
    cmd_save->setObjectName(QStringLiteral("cmd_save"));
    cmd_prune = buttons->addButton(QStringLiteral("Archiválás és törlés…"), QDialogButtonBox::ActionRole);
    cmd_prune->setObjectName(QStringLiteral("cmd_prune"));
    cmd_close = buttons->addButton(Texts::kClose, QDialogButtonBox::RejectRole);
    cmd_close->setObjectName(QStringLiteral("cmd_close"));
    for (QPushButton* b : {cmd_save, cmd_prune, cmd_close}) b->setAutoDefault(false);
    connect(cmd_save, &QPushButton::clicked, this, [this] {
        if (savePeriods()) lbl_result->setText(QStringLiteral("A megőrzési idők elmentve."));
    });
    connect(cmd_prune, &QPushButton::clicked, this, &LogMaintenanceDialog::prune);
    connect(cmd_close, &QPushButton::clicked, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(hint);
    layout->addLayout(grid);
    layout->addLayout(folderRow);
    layout->addWidget(lbl_result);
    layout->addStretch();
    layout->addWidget(buttons);
    resize(640, 320);
    countOlder();
}

void LogMaintenanceDialog::countOlder()
{
    const QDateTime now = QDateTime::currentDateTime();
    for (int i = 0; i < LogKeeping::LogCount; ++i) {
        const LogKeeping::LogInfo& l = LogKeeping::info(LogKeeping::Log(i));
        const QDateTime cut = LogKeeping::cutOf(spn_days[i]->value(), now);
        if (!cut.isValid() || m_connection.schemaState().missing.contains(l.table)) {
            lbl_older[i]->clear();
            continue;
        }
        const qint64 rows = m_connection.select(QStringLiteral("SELECT COUNT(*) FROM %1 WHERE %2 < ?").arg(l.table, l.timeColumn),
                                                {cut.toString(DateFormats::kStored)})
                                .value(0).value(0).toLongLong();
        lbl_older[i]->setText(QStringLiteral("%1 sor régebbi ennél").arg(rows));
    }
}

bool LogMaintenanceDialog::savePeriods()
{
    QString error;
    if (LogKeeping::savePeriods(m_connection, shown(spn_days), &error, Notices::lockQuestion(this))) return true;
    Notices::warning(this, error);
    return false;
}

bool LogMaintenanceDialog::prune()
{
    if (!savePeriods()) return false;
    const QString folder = QDir::fromNativeSeparators(txt_folder->text().trimmed());
    if (!Notices::console()
        && QMessageBox::question(this, kTitle,
                                 QStringLiteral("A megőrzési időknél régebbi naplósorok a(z) %1 mappába kerülnek, majd törlődnek "
                                                "az adatbázisból. Folytatja?")
                                     .arg(QDir::toNativeSeparators(folder)))
               != QMessageBox::Yes)
        return false;
    QList<LogKeeping::Pruned> done;
    QString error;
    bool ok;
    {
        QApplication::setOverrideCursor(Qt::WaitCursor);
        ok = LogKeeping::prune(m_connection, folder, QDateTime::currentDateTime(), &done, &error, Notices::lockQuestion(this));
        QApplication::restoreOverrideCursor();
    }
    if (!ok) {
        Notices::error(this, error);
        return false;
    }
    QStringList lines;
    for (const LogKeeping::Pruned& p : std::as_const(done))
        lines << QStringLiteral("%1: %2 sor → %3").arg(LogKeeping::info(p.log).caption).arg(p.rows).arg(QDir::toNativeSeparators(p.file));
    lbl_result->setText(lines.isEmpty() ? QStringLiteral("Nincs a megőrzési időknél régebbi naplósor.")
                                        : QStringLiteral("Archiválva és törölve:\n") + lines.join(QLatin1Char('\n')));
    countOlder();
    return true;
}

bool maintainLogs(QWidget* parent, Connection& connection, int userId)
{
    if (!Notices::allowed(parent, connection, userId, kLogMaintenanceRight, QStringLiteral("a naplók karbantartásához")))
        return false;
    LogMaintenanceDialog dialog(connection, parent);
    dialog.exec();
    return true;
}

} // namespace NexoFrame::Shell
