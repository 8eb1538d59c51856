#pragma once
#include <QDateTime>
#include <QDialog>
#include <QString>
#include "TwoStep.h"
#include <memory>

class QLabel;
class QLineEdit;
class QPushButton;
class QStackedWidget;

namespace NexoFrame {
class Connection;
class LoginGuard;
}

namespace NexoFrame::Shell {

struct LoginResult {
    enum class Status { Ok, MissingName, BadCredentials, Deleted, AccessDenied, GroupDeleted, DatabaseError, Locked, DirectoryError, BadCode };
    Status status = Status::BadCredentials;
    QString message;           // Hungarian, empty when Ok
    int userId = -1;
    int groupId = -1;
    QString userName;
    QString displayName;
    QDateTime lockedUntil;     // Locked: when the name may try again
    // Ok: what is still asked before the menu (a code, or the enrolment first).
    TwoStep::Need secondStep = TwoStep::Need::None;
    QString notice;            // Ok: what the user is told once he is in (a recovery code spent)

    bool ok() const { return status == Status::Ok; }
};

// Checks a typed user name and password against the user table. Only the password decides
// whether an account's state is revealed: a stranger learns nothing about deleted or
// locked accounts. A name locked by its failed logins is refused before the password is looked
// at; a wrong password or an unknown name is a failure that `guard` records, and a
// successful login forgives the name's earlier failures. A user with a second step gets Ok with
// `secondStep` set and his failures still counting: only the finished second step forgives them.
LoginResult checkLogin(Connection& connection, const QString& userName, const QString& password, LoginGuard& guard);
// The same with a guard on the machine's clock.
LoginResult checkLogin(Connection& connection, const QString& userName, const QString& password);

// The second step after a password that asked for a code: a locked name is refused first; a
// wrong code counts as a wrong password does; the right one forgives the name's failures.
LoginResult checkCode(Connection& connection, const LoginResult& afterPassword, const QString& typedCode, LoginGuard& guard);

// "Bejelentkezés": asks until the user gets in or gives up; a refusal is shown in the
// dialog and the typed user name stays. A user with a second step is asked his code on a
// second page; one who must enrol first leaves the dialog accepted, `secondStep` saying so.
class LoginDialog : public QDialog {
    Q_OBJECT
public:
    LoginDialog(Connection& connection, const QString& databasePath, QWidget* parent = nullptr);
    ~LoginDialog() override;

    LoginResult loginResult() const { return m_result; }
    QLineEdit* userNameEdit() const { return m_user; }
    QLineEdit* passwordEdit() const { return m_password; }
    QLabel* messageLabel() const { return m_message; }
    QPushButton* loginButton() const { return m_ok; }
    QLineEdit* codeEdit() const { return m_code; }
    bool atCodePage() const;
    // Asks only the code, for a user whose password (given on the command line) asked for one.
    void startAtCode(const LoginResult& afterPassword);
    // The lock-out the dialog asks; its clock may be set (tests move time with it).
    LoginGuard& loginGuard() const { return *m_guard; }

private:
    void tryLogin();
    void tryCode();
    void showMessage(const QString& text);

    Connection& m_connection;
    std::unique_ptr<LoginGuard> m_guard;
    LoginResult m_result;
    LoginResult m_afterPassword;
    QStackedWidget* m_pages;
    QLineEdit* m_code;
    QLabel* m_codeUser;
    QLineEdit* m_user;
    QLineEdit* m_password;
    QLabel* m_message;
    QPushButton* m_ok;
};

} // namespace NexoFrame::Shell
