#include "ShellDirectory.h"
#include "Access.h"
#include "Connection.h"
#include "DbError.h"
#include "ShellNotices.h"
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QHeaderView>
#include <QToolButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace NexoFrame::Shell {

using Directory::Membership;

namespace {

QLineEdit* field(QWidget* parent, const char* name, const QString& value)
{
    auto* e = new QLineEdit(value, parent);
    e->setObjectName(QLatin1String(name));
    return e;
}

} // namespace

DirectorySettingsDialog::DirectorySettingsDialog(Connection& connection, QWidget* parent)
    : QDialog(parent), m_connection(connection)
{
    setWindowTitle(QStringLiteral("Címtár beállításai"));
    setObjectName(QStringLiteral("frmDirectorySettings"));
    const Directory::Config c = Directory::Config::load(connection);

    cbo_preset = new QComboBox(this);
    cbo_preset->setObjectName(QStringLiteral("cbo_preset"));
    cbo_preset->addItems({QStringLiteral("(saját beállítás)"), QStringLiteral("Active Directory"), QStringLiteral("OpenLDAP")});
    connect(cbo_preset, &QComboBox::activated, this, &DirectorySettingsDialog::applyPreset);

    txt_urls = field(this, "txt_urls", c.urls);
    txt_urls->setPlaceholderText(QStringLiteral("ldaps://dc1.ceg.hu ldaps://dc2.ceg.hu"));
    chk_start_tls = new QCheckBox(QStringLiteral("StartTLS (titkosítás ldap:// címen is)"), this);
    chk_start_tls->setObjectName(QStringLiteral("chk_start_tls"));
    chk_start_tls->setChecked(c.startTls);
    txt_ca_file = field(this, "txt_ca_file", c.caFile);
    auto* browse = new QToolButton(this);
    browse->setText(QStringLiteral("…"));
    connect(browse, &QToolButton::clicked, this, [this] {
        const QString f = QFileDialog::getOpenFileName(this, QStringLiteral("Hitelesítésszolgáltató tanúsítványa"),
                                                       txt_ca_file->text(), QStringLiteral("Tanúsítványok (*.pem *.crt *.cer);;Minden fájl (*)"));
        if (!f.isEmpty()) txt_ca_file->setText(f);
    });
    auto* caRow = new QHBoxLayout;
    caRow->addWidget(txt_ca_file);
    caRow->addWidget(browse);
    txt_bind_dn = field(this, "txt_bind_dn", c.bindDn);
    txt_bind_password = field(this, "txt_bind_password", c.bindPassword);
    txt_bind_password->setEchoMode(QLineEdit::Password);
    txt_user_base = field(this, "txt_user_base", c.userBase);
    txt_user_filter = field(this, "txt_user_filter", c.userFilter);
    txt_login_attribute = field(this, "txt_login_attribute", c.loginAttribute);
    txt_name_attribute = field(this, "txt_name_attribute", c.nameAttribute);
    txt_mail_attribute = field(this, "txt_mail_attribute", c.mailAttribute);
    txt_phone_attribute = field(this, "txt_phone_attribute", c.phoneAttribute);
    txt_group_base = field(this, "txt_group_base", c.groupBase);
    txt_group_filter = field(this, "txt_group_filter", c.groupFilter);
    cbo_membership = new QComboBox(this);
    cbo_membership->setObjectName(QStringLiteral("cbo_membership"));
    cbo_membership->addItem(QStringLiteral("a csoport tagjai (member)"), int(Membership::Member));
    cbo_membership->addItem(QStringLiteral("a felhasználó csoportjai (memberOf)"), int(Membership::MemberOf));
    cbo_membership->addItem(QStringLiteral("a csoport tagjainak neve (memberUid)"), int(Membership::MemberUid));
    cbo_membership->setCurrentIndex(cbo_membership->findData(int(c.membership)));

    auto* form = new QFormLayout;
    form->addRow(QStringLiteral("Minta:"), cbo_preset);
    form->addRow(QStringLiteral("Kiszolgáló(k) címe:"), txt_urls);
    form->addRow(QString(), chk_start_tls);
    form->addRow(QStringLiteral("Hitelesítésszolgáltató (CA) fájl:"), caRow);
    form->addRow(QStringLiteral("Kapcsolódó felhasználó (DN):"), txt_bind_dn);
    form->addRow(QStringLiteral("Jelszava:"), txt_bind_password);
    form->addRow(QStringLiteral("Felhasználók ága:"), txt_user_base);
    form->addRow(QStringLiteral("Felhasználók szűrője:"), txt_user_filter);
    form->addRow(QStringLiteral("Bejelentkezési név attribútuma:"), txt_login_attribute);
    form->addRow(QStringLiteral("Teljes név attribútuma:"), txt_name_attribute);
    form->addRow(QStringLiteral("E-mail attribútuma:"), txt_mail_attribute);
    form->addRow(QStringLiteral("Telefon attribútuma:"), txt_phone_attribute);
    form->addRow(QStringLiteral("Csoportok ága:"), txt_group_base);
    form->addRow(QStringLiteral("Csoportok szűrője:"), txt_group_filter);
    form->addRow(QStringLiteral("Tagság olvasása:"), cbo_membership);

    cmd_test = new QPushButton(QStringLiteral("Kapcsolat próbája"), this);
    cmd_test->setObjectName(QStringLiteral("cmd_test"));
    connect(cmd_test, &QPushButton::clicked, this, [this] { testConnection(); });
    lbl_result = new QLabel(this);
    lbl_result->setObjectName(QStringLiteral("lbl_result"));
    lbl_result->setWordWrap(true);
    lbl_result->setTextInteractionFlags(Qt::TextSelectableByMouse);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    buttons->button(QDialogButtonBox::Ok)->setText(QStringLiteral("Mentés"));
    buttons->button(QDialogButtonBox::Cancel)->setText(QStringLiteral("Mégse"));
    connect(buttons, &QDialogButtonBox::accepted, this, &DirectorySettingsDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    auto* testRow = new QHBoxLayout;
    testRow->addWidget(cmd_test);
    testRow->addStretch();
    layout->addLayout(testRow);
    layout->addWidget(lbl_result);
    layout->addWidget(buttons);
    resize(620, sizeHint().height());
}

void DirectorySettingsDialog::applyPreset(int index)
{
    // The attributes each kind of directory keeps its people and groups in, in the order the
    // preset box lists them (after "saját beállítás").
    struct Preset {
        const char *userFilter, *login, *name, *groupFilter;
        Membership membership;
    };
    static const Preset presets[] = {
        {"(&(objectCategory=person)(objectClass=user))", "sAMAccountName", "displayName", "(objectClass=group)",
         Membership::MemberOf},
        {"(objectClass=inetOrgPerson)", "uid", "cn", "(objectClass=groupOfNames)", Membership::Member},
    };
    if (index < 1 || index > int(std::size(presets))) return;
    const Preset& p = presets[index - 1];
    txt_user_filter->setText(QLatin1String(p.userFilter));
    txt_login_attribute->setText(QLatin1String(p.login));
    txt_name_attribute->setText(QLatin1String(p.name));
    txt_mail_attribute->setText(QStringLiteral("mail"));
    txt_phone_attribute->setText(QStringLiteral("telephoneNumber"));
    txt_group_filter->setText(QLatin1String(p.groupFilter));
    cbo_membership->setCurrentIndex(cbo_membership->findData(int(p.membership)));
}

Directory::Config DirectorySettingsDialog::config() const
{
    Directory::Config c;
    c.urls = txt_urls->text().trimmed();
    c.startTls = chk_start_tls->isChecked();
    c.caFile = txt_ca_file->text().trimmed();
    c.bindDn = txt_bind_dn->text().trimmed();
    c.bindPassword = txt_bind_password->text();
    c.userBase = txt_user_base->text().trimmed();
    c.userFilter = txt_user_filter->text().trimmed();
    c.loginAttribute = txt_login_attribute->text().trimmed();
    c.nameAttribute = txt_name_attribute->text().trimmed();
    c.mailAttribute = txt_mail_attribute->text().trimmed();
    c.phoneAttribute = txt_phone_attribute->text().trimmed();
    c.groupBase = txt_group_base->text().trimmed();
    c.groupFilter = txt_group_filter->text().trimmed();
    c.membership = Membership(cbo_membership->currentData().toInt());
    return c;
}

bool DirectorySettingsDialog::testConnection()
{
    QApplication::setOverrideCursor(Qt::WaitCursor);
    bool ok = false;
    QString text;
    try {
        const Directory::Census n = Directory::probe(config());
        text = QStringLiteral("A kapcsolat rendben: %1 felhasználó és %2 csoport olvasható.").arg(n.people).arg(n.groups);
        ok = true;
    } catch (const Directory::Error& e) {
        text = e.message();
    }
    QApplication::restoreOverrideCursor();
    lbl_result->setText(text);
    lbl_result->setStyleSheet(ok ? QString() : QStringLiteral("color: #b00020;"));
    return ok;
}

void DirectorySettingsDialog::accept()
{
    const Directory::Config c = config();
    if (c.loginAttribute.isEmpty() || c.urls.isEmpty() != c.userBase.isEmpty()) {
        Notices::error(this, QStringLiteral("Adja meg a kiszolgáló címét, a felhasználók ágát és a bejelentkezési név "
                                            "attribútumát (vagy hagyja üresen a kiszolgáló címét és az ágat)."));
        return;
    }
    try {
        c.save(m_connection);
    } catch (const DbError& e) {
        Notices::error(this, e.message());
        return;
    }
    QDialog::accept();
}

bool editDirectorySettings(QWidget* parent, Connection& c, int userId)
{
    if (!Notices::allowed(parent, c, userId, kDirectorySettingsRight, QStringLiteral("a címtár beállításához"))) return false;
    DirectorySettingsDialog dialog(c, parent);
    return dialog.exec() == QDialog::Accepted;
}

namespace {

QString changeText(const Directory::SyncChange& ch)
{
    using K = Directory::SyncChange::Kind;
    switch (ch.kind) {
    case K::New: return QStringLiteral("%1 (%2) → %3").arg(ch.name, ch.login, ch.groupName);
    case K::Changed: return QStringLiteral("%1: %2").arg(ch.login, ch.what.join(QStringLiteral("; ")));
    default: return QStringLiteral("%1 (%2)").arg(ch.name, ch.login);
    }
}

} // namespace

DirectorySyncDialog::DirectorySyncDialog(Connection& connection, Directory::SyncPlan plan, QWidget* parent)
    : QDialog(parent), m_connection(connection), m_plan(std::move(plan))
{
    setWindowTitle(QStringLiteral("Címtár szinkronizálása"));
    setObjectName(QStringLiteral("frmDirectorySync"));
    lbl_summary = new QLabel(m_plan.summary(), this);
    lbl_summary->setObjectName(QStringLiteral("lbl_summary"));
    lbl_summary->setWordWrap(true);
    tree_changes = new QTreeWidget(this);
    tree_changes->setObjectName(QStringLiteral("tree_changes"));
    tree_changes->setHeaderLabels({QStringLiteral("Változás"), QStringLiteral("Felhasználó")});
    tree_changes->setRootIsDecorated(false);
    tree_changes->header()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
    QList<QTreeWidgetItem*> items;
    for (const Directory::SyncChange& ch : std::as_const(m_plan.changes))
        items << new QTreeWidgetItem({Directory::kindText(ch.kind), changeText(ch)});
    tree_changes->addTopLevelItems(items);
    cmd_apply = new QPushButton(QStringLiteral("Végrehajtás"), this);
    cmd_apply->setObjectName(QStringLiteral("cmd_apply"));
    cmd_apply->setEnabled(m_plan.count(Directory::SyncChange::Kind::Clash) < m_plan.changes.size());
    connect(cmd_apply, &QPushButton::clicked, this, &DirectorySyncDialog::apply);
    auto* close = new QPushButton(QStringLiteral("Mégse"), this);
    close->setObjectName(QStringLiteral("cmd_cancel"));
    connect(close, &QPushButton::clicked, this, &QDialog::reject);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(cmd_apply);
    buttons->addWidget(close);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(lbl_summary);
    layout->addWidget(tree_changes);
    layout->addLayout(buttons);
    resize(720, 480);
}

void DirectorySyncDialog::apply()
{
    QString why;
    QApplication::setOverrideCursor(Qt::WaitCursor);
    const bool ok = Directory::applySync(m_connection, m_plan, &why);
    QApplication::restoreOverrideCursor();
    if (!ok) {
        Notices::error(this, why);
        return;
    }
    accept();
}

bool syncDirectory(QWidget* parent, Connection& c, int userId)
{
    if (!Notices::allowed(parent, c, userId, kDirectorySyncRight, QStringLiteral("a címtár szinkronizálásához"))) return false;
    Directory::SyncPlan plan;
    QApplication::setOverrideCursor(Qt::WaitCursor);
    QString failed;
    try {
        plan = Directory::planSync(c, Directory::Config::load(c));
    } catch (const Directory::Error& e) {
        failed = e.message();
    } catch (const DbError& e) {
        failed = e.message();
    }
    QApplication::restoreOverrideCursor();
    if (!failed.isEmpty()) {
        Notices::error(parent, Directory::unreadable(failed));
        return false;
    }
    DirectorySyncDialog dialog(c, std::move(plan), parent);
    return dialog.exec() == QDialog::Accepted;
}

bool syncDirectory(Connection& c, QString* message)
{
    Directory::SyncPlan made;
    try {
        if (!Directory::syncNow(c, Directory::Config::load(c), &made, message)) return false;
    } catch (const DbError& e) {
        *message = e.message();
        return false;
    }
    for (const Directory::SyncChange& ch : std::as_const(made.changes))
        Notices::info(QStringLiteral("- %1: %2").arg(Directory::kindText(ch.kind), changeText(ch)));
    Notices::info(made.summary());
    return true;
}

bool addDirectoryCommands(QMenu* menu, Connection& c, int userId)
{
    bool any = false;
    if (rightsTest(c, userId, kDirectorySettingsRight)) {
        QAction* a = menu->addAction(QStringLiteral("&Címtár beállításai…"), menu,
                                     [menu, &c, userId] { editDirectorySettings(menu->parentWidget() ? menu->parentWidget()->window() : nullptr, c, userId); });
        a->setObjectName(QStringLiteral("act_directory_settings"));
        any = true;
    }
    if (rightsTest(c, userId, kDirectorySyncRight)) {
        QAction* a = menu->addAction(QStringLiteral("Címtár &szinkronizálása…"), menu, [menu, &c, userId] {
            syncDirectory(menu->parentWidget() ? menu->parentWidget()->window() : nullptr, c, userId);
        });
        a->setObjectName(QStringLiteral("act_directory_sync"));
        any = true;
    }
    return any;
}

} // namespace NexoFrame::Shell
