#pragma once
#include <QDateTime>
#include <QDialog>
#include <QString>
#include <memory>

class QLabel;
class QLineEdit;
class QPushButton;

namespace NexoFrame {
class Connection;
class LoginGuard;
}

namespace NexoFrame::Shell {

struct LoginResult {
    enum class Status { Ok, MissingName, BadCredentials, Deleted, AccessDenied, GroupDeleted, DatabaseError, Locked, DirectoryError };
    Status status = Status::BadCredentials;
    QString message;           // Hungarian, empty when Ok
    int userId = -1;
    int groupId = -1;
    QString userName;
    QString displayName;
    QDateTime lockedUntil;     // Locked: when the name may try again

    bool ok() const { return status == Status::Ok; }
};

// Checks a typed user name and password against the user table. Only the password decides
// whether an account's state is revealed: a stranger learns nothing about deleted or
// locked accounts. A name locked by its failed logins is refused before the password is looked
// at; a wrong password or an unknown name is a failure that `guard` records, and a
// successful login forgives the name's earlier failures.
LoginResult checkLogin(Connection& connection, const QString& userName, const QString& password, LoginGuard& guard);
// The same with a guard on the machine's clock.
LoginResult checkLogin(Connection& connection, const QString& userName, const QString& password);

// "Bejelentkezés": asks until the user gets in or gives up; a refusal is shown in the
// dialog and the typed user name stays.
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
    // The lock-out the dialog asks; its clock may be set (tests move time with it).
    LoginGuard& loginGuard() const { return *m_guard; }

private:
    void tryLogin();

    Connection& m_connection;
    std::unique_ptr<LoginGuard> m_guard;
    LoginResult m_result;
    QLineEdit* m_user;
    QLineEdit* m_password;
    QLabel* m_message;
    QPushButton* m_ok;
};

} // namespace NexoFrame::Shell
