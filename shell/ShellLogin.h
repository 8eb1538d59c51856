#pragma once
#include <QDialog>
#include <QString>

class QLabel;
class QLineEdit;
class QPushButton;

namespace NexoFrame {
class Connection;
}

namespace NexoFrame::Shell {

struct LoginResult {
    enum class Status { Ok, MissingName, BadCredentials, Deleted, AccessDenied, DatabaseError };
    Status status = Status::BadCredentials;
    QString message;           // Hungarian, empty when Ok
    int userId = -1;
    int groupId = -1;
    QString userName;
    QString displayName;

    bool ok() const { return status == Status::Ok; }
};

// Checks a typed user name and password against the user table. Only the password decides
// whether an account's state is revealed: a stranger learns nothing about deleted or
// locked accounts.
LoginResult checkLogin(Connection& connection, const QString& userName, const QString& password);

// "Bejelentkezés": asks until the user gets in or gives up; a refusal is shown in the
// dialog and the typed user name stays.
class LoginDialog : public QDialog {
    Q_OBJECT
public:
    LoginDialog(Connection& connection, const QString& databasePath, QWidget* parent = nullptr);

    LoginResult loginResult() const { return m_result; }
    QLineEdit* userNameEdit() const { return m_user; }
    QLineEdit* passwordEdit() const { return m_password; }
    QLabel* messageLabel() const { return m_message; }
    QPushButton* loginButton() const { return m_ok; }

private:
    void tryLogin();

    Connection& m_connection;
    LoginResult m_result;
    QLineEdit* m_user;
    QLineEdit* m_password;
    QLabel* m_message;
    QPushButton* m_ok;
};

} // namespace NexoFrame::Shell
