#pragma once
#include <QByteArray>
#include <QDateTime>
#include <QDialog>
#include <QImage>
#include <QStringList>

class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QStackedWidget;

namespace NexoFrame {
class Connection;
class LoginGuard;
}

namespace NexoFrame::Shell {

struct LoginResult;

// The rights key of "Kétlépcsős azonosítás…".
inline const QString kTwoStepRight = QStringLiteral("mainframe_two_step");

// The QR code of `text` (byte mode, medium error correction) with a quiet zone of four
// modules, each `scale` pixels square, black on white. A null image when it cannot be made.
QImage qrImage(const QString& text, int scale = 6);

// "Kétlépcsős azonosítás": a user's own second step. An enrolled user sees that it is on and
// may make a new secret or turn it off (unless it is required of him); otherwise, and for a new
// secret, the secret is shown as a QR code and as text, and is stored only once a code from the
// app confirms it. The recovery codes are shown once, after that, to save or print.
class TwoStepDialog : public QDialog {
    Q_OBJECT
public:
    // `guard`, when given, is the login's: its clock is the dialog's, and a finished enrolment
    // forgives the name's failed logins (the enrolment at the login).
    TwoStepDialog(Connection& connection, int userId, const QString& userName, LoginGuard* guard = nullptr,
                  QWidget* parent = nullptr);

    QLabel* lbl_reason = nullptr;     // at the login: why the enrolment comes first
    QLabel* lbl_state = nullptr;      // on, and why it cannot be turned off
    QPushButton* cmd_new_secret = nullptr;
    QPushButton* cmd_remove = nullptr;
    QLabel* lbl_qr = nullptr;
    QLineEdit* txt_secret = nullptr;  // base32 in groups of four
    QLineEdit* txt_code = nullptr;    // "Ellenőrző kód"
    QPushButton* cmd_ok = nullptr;
    QLabel* lbl_message = nullptr;
    QPlainTextEdit* txt_recovery_codes = nullptr;
    QPushButton* cmd_save_codes = nullptr;
    QPushButton* cmd_print_codes = nullptr;
    QPushButton* cmd_close = nullptr;

    // The address the QR code holds (empty before a secret is made).
    QString uri() const { return m_uri; }
    QStringList recoveryCodes() const { return m_codes; }
    // Whether this dialog has stored a secret.
    bool enrolledHere() const { return !m_codes.isEmpty(); }

    // A fresh secret on the enrolment page (the earlier one stays until a code confirms this).
    void newSecret();
    // Stores the secret if the typed code matches it; false after saying why not.
    bool confirm();
    // Turns the second step off after asking; false when not done.
    bool removeTwoStep();
    // The recovery codes to a text file (asked for when `path` is empty); false when not written.
    bool saveCodes(const QString& path = {});
    // The recovery codes to a printer chosen in the print dialog.
    bool printCodes();

private:
    QDateTime now() const;
    QString codesText() const;
    void showMessage(const QString& text);

    Connection& m_connection;
    int m_userId;
    QString m_userName;
    LoginGuard* m_guard;
    QStackedWidget* m_pages = nullptr;
    QByteArray m_secret;
    QString m_uri;
    QStringList m_codes;
};

// The window's command: the dialog, after the rights test. True when it was shown.
bool manageTwoStep(QWidget* parent, Connection& connection, const LoginResult& user);

// The enrolment a user who must use the second step goes through after his password, before
// any menu. True when he finished it; false when he gave up (the shell then ends).
bool enrolAtLogin(QWidget* parent, Connection& connection, LoginResult& user, LoginGuard& guard);

} // namespace NexoFrame::Shell
