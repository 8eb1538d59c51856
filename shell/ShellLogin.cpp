#include "ShellLogin.h"
#include "Access.h"
#include "Connection.h"
#include "Directory.h"
#include "SchemaUpgrade.h"
#include "Secrets.h"
#include "LoginGuard.h"
#include "Texts.h"
#include <QDebug>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStackedWidget>
#include <QSysInfo>
#include <QVBoxLayout>

namespace NexoFrame::Shell {

namespace {

// The keys the user form ciphers passwords with.
const QString kKey1 = QStringLiteral("tazeq3wnk8");
const QString kKey2 = QStringLiteral("prvd57gh2eb");
const QString kLogin = QStringLiteral("Bejelentkezés");

LoginResult refused(LoginResult::Status s, const QString& message)
{
    LoginResult r;
    r.status = s;
    r.message = message;
    return r;
}

// The refusal of a locked name: until when, and that the right password does not help.
LoginResult locked(const QString& name, const QDateTime& until, const QDateTime& now)
{
    LoginResult r = refused(LoginResult::Status::Locked,
                            QStringLiteral("Túl sok sikertelen bejelentkezés. A(z) „%1” felhasználónév %2-ig zárolva van, "
                                           "addig a helyes jelszóval sem lehet belépni. A zárolást a rendszergazda "
                                           "ennél korábban is feloldhatja.").arg(name, LoginGuard::untilText(until, now)));
    r.lockedUntil = until;
    return r;
}

LoginResult unreadable(const DbError& e)
{
    return refused(LoginResult::Status::DatabaseError, QStringLiteral("A felhasználók nem olvashatók az adatbázisból: %1").arg(e.message()));
}

// A finished login starts the count again; if that cannot be written, the login still stands.
void forgive(LoginGuard& guard, const QString& name)
{
    try {
        guard.clear(name);
    } catch (const DbError& e) {
        qWarning() << e.message();
    }
}

void countFailure(LoginGuard& guard, const QString& name)
{
    try {
        guard.recordFailure(name, QSysInfo::machineHostName());
    } catch (const DbError& e) {
        // The refusal stands; only the count misses this try.
        qWarning() << e.message();
    }
}

} // namespace

LoginResult checkLogin(Connection& c, const QString& typedName, const QString& password)
{
    LoginGuard guard(c);
    return checkLogin(c, typedName, password, guard);
}

namespace {

// The login of one of `matching` (rows whose name and password or directory entry matched):
// the best standing one gets in; otherwise why none may, told only to whoever proved the
// password. Not found: an empty result with status BadCredentials.
LoginResult admit(Connection& c, const QList<int>& matching, const QString& name, LoginGuard& guard)
{
    bool deleted = false, denied = false, groupGone = false;
    for (int id : matching) {
        // Who may get in is the access rule's: a live user who is not barred, of a live group.
        const Holder who = userHolder(c, id);
        deleted |= !who.userFound || !who.userLive;
        denied |= who.userLive && who.userBarred;
        groupGone |= who.userInOrder() && !who.live();
        if (!who.live()) continue;
        LoginResult good;
        good.status = LoginResult::Status::Ok;
        good.userId = id;
        good.groupId = who.groupId;
        good.userName = name;
        good.displayName = who.userName.trimmed();
        if (good.displayName.isEmpty()) good.displayName = name;
        // A second step still ahead keeps the count: a right password alone forgives nothing.
        good.secondStep = TwoStep::need(c, id);
        if (good.secondStep == TwoStep::Need::None) forgive(guard, name);
        return good;
    }
    if (groupGone)
        return refused(LoginResult::Status::GroupDeleted,
                       QStringLiteral("A felhasználó csoportja törölve van vagy nem létezik. Forduljon a rendszergazdához."));
    if (denied)
        return refused(LoginResult::Status::AccessDenied,
                       QStringLiteral("A felhasználó hozzáférése le van tiltva. Forduljon a rendszergazdához."));
    if (deleted)
        return refused(LoginResult::Status::Deleted, QStringLiteral("Ez a felhasználó törölve lett, nem jelentkezhet be."));
    return refused(LoginResult::Status::BadCredentials, QString());
}

LoginResult badCredentials(const QString& name, LoginGuard& guard)
{
    countFailure(guard, name);
    return refused(LoginResult::Status::BadCredentials, QStringLiteral("Hibás felhasználónév vagy jelszó."));
}

// Whether logins are checked by the directory: the users are kept there (central user
// management), a directory is set, and the database has the layout that marks its users.
bool directoryLogins(Connection& c)
{
    return !c.settings().userManagementLocal() && c.schemaState().usable()
        && Directory::Config::load(c).configured();
}

// A directory user: his password is checked by binding as him, never against this database,
// and an unreachable directory refuses the login instead of falling back on anything stored.
LoginResult checkDirectoryLogin(Connection& c, const QString& name, const QString& password, LoginGuard& guard)
{
    // Before any bind: a directory may answer an empty password with an anonymous success.
    if (password.isEmpty())
        return refused(LoginResult::Status::BadCredentials, QStringLiteral("Adja meg a jelszót."));
    Directory::Person person;
    try {
        if (!Directory::authenticate(Directory::Config::load(c), name, password, &person)) return badCredentials(name, guard);
    } catch (const Directory::Error& e) {
        // Whoever stands at the login window learns what kind of fault it is, not the
        // directory's own words: those may name the service user and the server's layout.
        qWarning() << e.message();
        QString what = QStringLiteral("a címtár beállításai vagy válasza hibás.");
        if (e.kind() == Directory::Error::Kind::Unreachable) what = QStringLiteral("a címtárkiszolgáló nem érhető el.");
        if (e.kind() == Directory::Error::Kind::Tls)
            what = QStringLiteral("a titkosított kapcsolat (TLS) nem jött létre a címtárkiszolgálóval.");
        return refused(LoginResult::Status::DirectoryError,
                       QStringLiteral("A bejelentkezés most nem lehetséges: %1 Forduljon a rendszergazdához.").arg(what));
    }
    QList<int> matching;
    QString stored;
    for (const QVariantList& r : c.select(QStringLiteral("SELECT id, user_name FROM qnd_user WHERE directory_dn = ? ORDER BY id"),
                                          {Directory::dnKey(person.dn)})) {
        matching << r.value(0).toInt();
        stored = r.value(1).toString();
    }
    if (matching.isEmpty())
        return refused(LoginResult::Status::AccessDenied,
                       QStringLiteral("A(z) „%1” címtári felhasználó még nincs felvéve a programba: a címtár következő "
                                      "szinkronizálása után jelentkezhet be.").arg(person.login));
    LoginResult r = admit(c, matching, stored.trimmed().isEmpty() ? name : stored.trimmed(), guard);
    if (r.status == LoginResult::Status::BadCredentials) return badCredentials(name, guard);
    return r;
}

} // namespace

LoginResult checkLogin(Connection& c, const QString& typedName, const QString& password, LoginGuard& guard)
{
    const QString name = typedName.trimmed();
    if (name.isEmpty())
        return refused(LoginResult::Status::MissingName, QStringLiteral("Adja meg a felhasználónevet."));

    try {
        // Before the password: a locked name learns nothing, not even that it guessed right.
        const QDateTime until = guard.lockedUntil(name);
        if (until.isValid()) return locked(name, until, guard.now());
        // The name index is not unique: a deleted account may share its name with a live one,
        // so every row of the name is weighed and the best standing one decides. Only the
        // columns every layout has: the login comes before an older database's upgrade.
        auto rs = c.openRecordset(Tables::User, {QStringLiteral("user_name"), QStringLiteral("password")});
        rs->setIndex(QStringLiteral("user_name"));
        const bool directory = directoryLogins(c);
        // A local user of the name (made here, not read from the directory) keeps his stored password.
        if (directory
            && c.select(QStringLiteral("SELECT COUNT(*) FROM qnd_user WHERE user_name = ? AND (directory_dn IS NULL OR directory_dn = '')"),
                        {name}).value(0).value(0).toInt() == 0)
            return checkDirectoryLogin(c, name, password, guard);
        const QString stored = Secrets::ciphered(password, kKey1, kKey2);
        QList<int> matching;
        for (rs->seek({name}); !rs->eof() && rs->field(QStringLiteral("user_name")).toString() == name; rs->moveNext())
            if (rs->field(QStringLiteral("password")).toString() == stored) matching << rs->field(QStringLiteral("id")).toInt();
        LoginResult r = admit(c, matching, name, guard);
        if (r.status == LoginResult::Status::BadCredentials) return badCredentials(name, guard);
        return r;
    } catch (const DbError& e) {
        return unreadable(e);
    }
}

LoginResult checkCode(Connection& c, const LoginResult& afterPassword, const QString& typedCode, LoginGuard& guard)
{
    const QString& name = afterPassword.userName;
    TwoStep::Check check;
    try {
        // Failures of the code lock the name as wrong passwords do, and the lock holds here too.
        const QDateTime until = guard.lockedUntil(name);
        if (until.isValid()) return locked(name, until, guard.now());
        check = TwoStep::verify(c, afterPassword.userId, typedCode, guard.now());
    } catch (const DbError& e) {
        return unreadable(e);
    }
    if (check.ok()) {
        forgive(guard, name);
        LoginResult r = afterPassword;
        r.secondStep = TwoStep::Need::None;
        if (check.recoveryUsed)
            r.notice = QStringLiteral("Helyreállító kóddal lépett be, ez a kód többé nem használható. Még %1 helyreállító kódja "
                                      "maradt. Ha a hitelesítő alkalmazás elveszett, készítsen új titkos kulcsot: "
                                      "Keretrendszer → Kétlépcsős azonosítás…").arg(check.recoveryLeft);
        return r;
    }
    if (check.counts()) countFailure(guard, name);
    return refused(check.status == TwoStep::Check::Status::DatabaseError ? LoginResult::Status::DatabaseError
                                                                         : LoginResult::Status::BadCode,
                   check.message);
}

LoginDialog::LoginDialog(Connection& connection, const QString& databasePath, QWidget* parent)
    : QDialog(parent), m_connection(connection), m_guard(std::make_unique<LoginGuard>(connection))
{
    setWindowTitle(kLogin);
    setObjectName(QStringLiteral("frmLogin"));

    auto* title = new QLabel(QStringLiteral("Quandra Express Keretrendszer – NexoFrame"), this);
    QFont f = title->font();
    f.setBold(true);
    f.setPointSizeF(f.pointSizeF() * 1.2);
    title->setFont(f);

    m_user = new QLineEdit(this);
    m_user->setObjectName(QStringLiteral("txt_user_name"));
    m_user->setMaxLength(100);
    m_password = new QLineEdit(this);
    m_password->setObjectName(QStringLiteral("txt_password"));
    m_password->setEchoMode(QLineEdit::Password);
    // As long as a directory's passwords may be (a local one is cut to its column by the form).
    m_password->setMaxLength(1024);

    auto* passwordPage = new QWidget(this);
    auto* form = new QFormLayout(passwordPage);
    form->setContentsMargins(0, 0, 0, 0);
    form->addRow(QStringLiteral("&Felhasználónév:"), m_user);
    form->addRow(QStringLiteral("&Jelszó:"), m_password);

    auto* codePage = new QWidget(this);
    auto* codeForm = new QFormLayout(codePage);
    codeForm->setContentsMargins(0, 0, 0, 0);
    auto* codeHelp = new QLabel(QStringLiteral("Írja be a hitelesítő alkalmazás által mutatott 6 jegyű kódot, "
                                               "vagy egy helyreállító kódot."), codePage);
    codeHelp->setObjectName(QStringLiteral("lbl_code_help"));
    codeHelp->setWordWrap(true);
    m_code = new QLineEdit(codePage);
    m_code->setObjectName(QStringLiteral("txt_code"));
    // Room for a recovery code typed with blanks and dashes.
    m_code->setMaxLength(40);
    m_code->setInputMethodHints(Qt::ImhPreferNumbers);
    m_codeUser = new QLabel(codePage);
    m_codeUser->setObjectName(QStringLiteral("lbl_code_user"));
    codeForm->addRow(QStringLiteral("Felhasználónév:"), m_codeUser);
    codeForm->addRow(codeHelp);
    codeForm->addRow(QStringLiteral("&Ellenőrző kód:"), m_code);

    m_pages = new QStackedWidget(this);
    m_pages->setObjectName(QStringLiteral("stk_pages"));
    m_pages->addWidget(passwordPage);
    m_pages->addWidget(codePage);

    auto* db = new QLabel(QStringLiteral("Adatbázis: %1").arg(databasePath), this);
    db->setObjectName(QStringLiteral("lbl_database"));
    db->setWordWrap(true);
    db->setForegroundRole(QPalette::PlaceholderText);

    m_message = new QLabel(this);
    m_message->setObjectName(QStringLiteral("lbl_message"));
    m_message->setWordWrap(true);
    m_message->setStyleSheet(QStringLiteral("color: #b00020;"));
    m_message->hide();

    auto* buttons = new QDialogButtonBox(this);
    m_ok = buttons->addButton(kLogin, QDialogButtonBox::AcceptRole);
    m_ok->setObjectName(QStringLiteral("cmd_ok"));
    m_ok->setDefault(true);
    QPushButton* cancel = buttons->addButton(Texts::kCancel, QDialogButtonBox::RejectRole);
    cancel->setObjectName(QStringLiteral("cmd_cancel"));
    connect(m_ok, &QPushButton::clicked, this, &LoginDialog::tryLogin);
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(title);
    layout->addWidget(m_pages);
    layout->addWidget(db);
    layout->addWidget(m_message);
    layout->addWidget(buttons);
    setMinimumWidth(380);
    m_user->setFocus();
}

LoginDialog::~LoginDialog() = default;

bool LoginDialog::atCodePage() const { return m_pages->currentIndex() == 1; }

void LoginDialog::startAtCode(const LoginResult& afterPassword)
{
    m_afterPassword = afterPassword;
    m_result = afterPassword;
    m_user->setText(afterPassword.userName);
    m_codeUser->setText(afterPassword.userName);
    m_message->hide();
    m_code->clear();
    m_pages->setCurrentIndex(1);
    m_code->setFocus();
}

void LoginDialog::tryLogin()
{
    if (atCodePage()) {
        tryCode();
        return;
    }
    m_result = checkLogin(m_connection, m_user->text(), m_password->text(), *m_guard);
    if (m_result.ok()) {
        m_password->clear();
        // The enrolment comes after the dialog, before any menu.
        if (m_result.secondStep == TwoStep::Need::Code)
            startAtCode(m_result);
        else
            accept();
        return;
    }
    showMessage(m_result.message);
    // The name stays for another try; a wrong password is typed again from scratch.
    if (m_result.status == LoginResult::Status::MissingName) {
        m_user->setFocus();
    } else {
        m_password->clear();
        m_password->setFocus();
    }
}

void LoginDialog::tryCode()
{
    m_result = checkCode(m_connection, m_afterPassword, m_code->text(), *m_guard);
    if (m_result.ok()) {
        accept();
        return;
    }
    showMessage(m_result.message);
    m_code->clear();
    m_code->setFocus();
}

void LoginDialog::showMessage(const QString& text)
{
    m_message->setText(text);
    m_message->show();
    // A long refusal (a lock says until when) wraps: the dialog grows to show all of it.
    layout()->activate();
    const int needed = layout()->hasHeightForWidth() ? layout()->totalHeightForWidth(width()) : sizeHint().height();
    if (needed > height()) resize(width(), needed);
}

} // namespace NexoFrame::Shell
