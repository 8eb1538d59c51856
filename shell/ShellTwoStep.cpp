#include "ShellTwoStep.h"
#include "Access.h"
#include "Connection.h"
#include "DateFormats.h"
#include "LoginGuard.h"
#include "ShellLogin.h"
#include "ShellNotices.h"
#include "Texts.h"
#include "TwoStep.h"
#include <QDebug>
#include <QDialogButtonBox>
#include <QFile>
#include <QFileDialog>
#include <QFontDatabase>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPainter>
#include <QPlainTextEdit>
#include <QPrintDialog>
#include <QPrinter>
#include <QPushButton>
#include <QSaveFile>
#include <QStackedWidget>
#include <QTextDocument>
#include <QVBoxLayout>
#include <qrencode.h>

namespace NexoFrame::Shell {

namespace {

const QString kTitle = QStringLiteral("Kétlépcsős azonosítás");
enum Page { StatePage, EnrolPage, CodesPage };

QLabel* wrapped(const QString& text, QWidget* parent)
{
    auto* l = new QLabel(text, parent);
    l->setWordWrap(true);
    return l;
}

QPushButton* button(const QString& text, const char* name, QWidget* parent)
{
    auto* b = new QPushButton(text, parent);
    b->setObjectName(QString::fromLatin1(name));
    return b;
}

// Two buttons side by side on the left.
QHBoxLayout* buttonRow(QPushButton* first, QPushButton* second)
{
    auto* row = new QHBoxLayout;
    row->addWidget(first);
    row->addWidget(second);
    row->addStretch();
    return row;
}

} // namespace

QImage qrImage(const QString& text, int scale)
{
    const QByteArray bytes = text.toUtf8();
    QRcode* code = QRcode_encodeString(bytes.constData(), 0, QR_ECLEVEL_M, QR_MODE_8, 1);
    if (!code) return {};
    constexpr int quiet = 4;
    const int side = (code->width + 2 * quiet) * scale;
    QImage image(side, side, QImage::Format_RGB32);
    image.fill(Qt::white);
    {
        QPainter p(&image);
        for (int y = 0; y < code->width; ++y)
            for (int x = 0; x < code->width; ++x)
                if (code->data[y * code->width + x] & 1)
                    p.fillRect((x + quiet) * scale, (y + quiet) * scale, scale, scale, Qt::black);
    }
    QRcode_free(code);
    return image;
}

TwoStepDialog::TwoStepDialog(Connection& connection, int userId, const QString& userName, LoginGuard* guard, QWidget* parent)
    : QDialog(parent), m_connection(connection), m_userId(userId), m_userName(userName), m_guard(guard)
{
    setWindowTitle(kTitle);
    setObjectName(QStringLiteral("frmTwoStep"));
    m_pages = new QStackedWidget(this);

    // Already on: a new secret, or off when nothing requires it.
    auto* state = new QWidget(m_pages);
    auto* stateLayout = new QVBoxLayout(state);
    lbl_state = wrapped(QString(), state);
    lbl_state->setObjectName(QStringLiteral("lbl_state"));
    cmd_new_secret = button(QStringLiteral("Új titkos &kulcs…"), "cmd_new_secret", state);
    cmd_remove = button(QStringLiteral("&Kikapcsolás"), "cmd_remove", state);
    stateLayout->addWidget(lbl_state);
    stateLayout->addLayout(buttonRow(cmd_new_secret, cmd_remove));
    stateLayout->addStretch();

    // The secret, and the code that proves the app has it.
    auto* enrol = new QWidget(m_pages);
    auto* enrolLayout = new QVBoxLayout(enrol);
    enrolLayout->addWidget(wrapped(QStringLiteral("Olvassa be a QR-kódot a telefonja hitelesítő alkalmazásával (például "
                                                  "Google Authenticator, Microsoft Authenticator, FreeOTP), vagy írja be "
                                                  "kézzel a titkos kulcsot. Utána írja be az alkalmazás által mutatott "
                                                  "6 jegyű kódot."), enrol));
    lbl_qr = new QLabel(enrol);
    lbl_qr->setObjectName(QStringLiteral("lbl_qr"));
    lbl_qr->setAlignment(Qt::AlignCenter);
    enrolLayout->addWidget(lbl_qr);
    txt_secret = new QLineEdit(enrol);
    txt_secret->setObjectName(QStringLiteral("txt_secret"));
    txt_secret->setReadOnly(true);
    txt_secret->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    txt_code = new QLineEdit(enrol);
    txt_code->setObjectName(QStringLiteral("txt_code"));
    txt_code->setMaxLength(20);
    cmd_ok = button(QStringLiteral("&Bekapcsolás"), "cmd_ok", enrol);
    cmd_ok->setDefault(true);
    auto* form = new QFormLayout;
    form->addRow(QStringLiteral("Titkos kulcs:"), txt_secret);
    auto* codeRow = new QHBoxLayout;
    codeRow->addWidget(txt_code);
    codeRow->addWidget(cmd_ok);
    auto* codeLabel = new QLabel(QStringLiteral("&Ellenőrző kód:"), enrol);
    codeLabel->setBuddy(txt_code);
    form->addRow(codeLabel, codeRow);
    enrolLayout->addLayout(form);
    enrolLayout->addStretch();

    // The recovery codes, once.
    auto* codes = new QWidget(m_pages);
    auto* codesLayout = new QVBoxLayout(codes);
    codesLayout->addWidget(wrapped(QStringLiteral("A kétlépcsős azonosítás be van kapcsolva. Ha a hitelesítő alkalmazás "
                                                  "nem érhető el, az alábbi helyreállító kódok mindegyikével egyszer "
                                                  "beléphet. Mentse el vagy nyomtassa ki őket most, és tartsa biztos "
                                                  "helyen: többé nem jelennek meg."), codes));
    txt_recovery_codes = new QPlainTextEdit(codes);
    txt_recovery_codes->setObjectName(QStringLiteral("txt_recovery_codes"));
    txt_recovery_codes->setReadOnly(true);
    txt_recovery_codes->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    // As high as the codes, no higher: the buttons stay beside them.
    const QFontMetrics codeFont(txt_recovery_codes->font());
    txt_recovery_codes->setFixedHeight(codeFont.lineSpacing() * (TwoStep::kRecoveryCodes + 1) + 2 * txt_recovery_codes->frameWidth()
                                       + int(2 * txt_recovery_codes->document()->documentMargin()));
    codesLayout->addWidget(txt_recovery_codes);
    cmd_save_codes = button(QStringLiteral("&Mentés fájlba…"), "cmd_save_codes", codes);
    cmd_print_codes = button(QStringLiteral("&Nyomtatás…"), "cmd_print_codes", codes);
    codesLayout->addLayout(buttonRow(cmd_save_codes, cmd_print_codes));
    codesLayout->addStretch();

    m_pages->insertWidget(StatePage, state);
    m_pages->insertWidget(EnrolPage, enrol);
    m_pages->insertWidget(CodesPage, codes);

    lbl_message = wrapped(QString(), this);
    lbl_message->setObjectName(QStringLiteral("lbl_message"));
    lbl_message->setStyleSheet(QStringLiteral("color: #b00020;"));
    lbl_message->hide();
    auto* buttons = new QDialogButtonBox(this);
    cmd_close = buttons->addButton(Texts::kClose, QDialogButtonBox::RejectRole);
    cmd_close->setObjectName(QStringLiteral("cmd_close"));
    cmd_close->setAutoDefault(false);

    lbl_reason = wrapped(QString(), this);
    lbl_reason->setObjectName(QStringLiteral("lbl_reason"));
    QFont bold = lbl_reason->font();
    bold.setBold(true);
    lbl_reason->setFont(bold);
    lbl_reason->hide();

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(lbl_reason);
    layout->addWidget(m_pages);
    layout->addWidget(lbl_message);
    layout->addWidget(buttons);
    setMinimumWidth(460);

    connect(cmd_new_secret, &QPushButton::clicked, this, &TwoStepDialog::newSecret);
    connect(cmd_remove, &QPushButton::clicked, this, &TwoStepDialog::removeTwoStep);
    connect(cmd_ok, &QPushButton::clicked, this, &TwoStepDialog::confirm);
    connect(txt_code, &QLineEdit::returnPressed, this, &TwoStepDialog::confirm);
    connect(cmd_save_codes, &QPushButton::clicked, this, [this] { saveCodes(); });
    connect(cmd_print_codes, &QPushButton::clicked, this, &TwoStepDialog::printCodes);
    connect(cmd_close, &QPushButton::clicked, this, [this] { enrolledHere() ? accept() : reject(); });

    bool on = false;
    QString because;
    try {
        on = TwoStep::enrolled(m_connection, m_userId);
        because = TwoStep::requiredBecause(m_connection, m_userId);
    } catch (const DbError& e) {
        showMessage(QStringLiteral("A kétlépcsős azonosítás állapota nem olvasható az adatbázisból: %1").arg(e.message()));
    }
    if (on) {
        QString text = QStringLiteral("A kétlépcsős azonosítás be van kapcsolva: belépéskor a jelszó után a hitelesítő "
                                      "alkalmazás kódját is meg kell adnia. Új titkos kulcsot készíthet (például új "
                                      "telefonhoz): a régi kulcs és a régi helyreállító kódok ekkor érvényüket vesztik.");
        if (!because.isEmpty()) text += QStringLiteral("\n\nNem kapcsolható ki, mert %1.").arg(because);
        lbl_state->setText(text);
        cmd_remove->setVisible(because.isEmpty());
        m_pages->setCurrentIndex(StatePage);
    } else {
        newSecret();
    }
}

QDateTime TwoStepDialog::now() const { return m_guard ? m_guard->now() : QDateTime::currentDateTime(); }

void TwoStepDialog::showMessage(const QString& text)
{
    lbl_message->setText(text);
    lbl_message->setVisible(!text.isEmpty());
}

void TwoStepDialog::newSecret()
{
    m_secret = TwoStep::newSecret();
    QString installation;
    try {
        installation = TwoStep::installationName(m_connection);
    } catch (const DbError& e) {
        qWarning() << e.message();
    }
    m_uri = TwoStep::otpauthUri(m_secret, m_userName, installation);
    lbl_qr->setPixmap(QPixmap::fromImage(qrImage(m_uri)));
    // Typed by hand in groups of four, as the apps show it.
    txt_secret->setText(TwoStep::inGroups(TwoStep::base32(m_secret), QLatin1Char(' ')));
    txt_code->clear();
    showMessage(QString());
    m_pages->setCurrentIndex(EnrolPage);
    txt_code->setFocus();
}

bool TwoStepDialog::confirm()
{
    QString error;
    const QStringList codes = TwoStep::enrol(m_connection, m_userId, m_secret, txt_code->text(), now(), &error);
    if (codes.isEmpty()) {
        showMessage(error);
        txt_code->clear();
        txt_code->setFocus();
        return false;
    }
    m_codes = codes;
    // The secret leaves the dialog with the page that showed it.
    m_secret.clear();
    lbl_qr->clear();
    txt_secret->clear();
    txt_recovery_codes->setPlainText(m_codes.join(QLatin1Char('\n')));
    if (m_guard) {
        try {
            m_guard->clear(m_userName);
        } catch (const DbError& e) {
            qWarning() << e.message();
        }
    }
    showMessage(QString());
    cmd_close->setText(Texts::kClose);
    m_pages->setCurrentIndex(CodesPage);
    return true;
}

bool TwoStepDialog::removeTwoStep()
{
    QMessageBox ask(QMessageBox::Question, kTitle,
                    QStringLiteral("Kikapcsolja a kétlépcsős azonosítást? Belépéskor ezután a jelszó is elég lesz, "
                                   "a helyreállító kódok érvényüket vesztik."),
                    QMessageBox::NoButton, this);
    QPushButton* yes = ask.addButton(QStringLiteral("Kikapcsolás"), QMessageBox::AcceptRole);
    ask.addButton(Texts::kCancel, QMessageBox::RejectRole);
    ask.exec();
    if (ask.clickedButton() != yes) return false;
    QString error;
    if (!TwoStep::remove(m_connection, m_userId, &error)) {
        showMessage(error);
        return false;
    }
    accept();
    return true;
}

QString TwoStepDialog::codesText() const
{
    QString installation;
    try {
        installation = TwoStep::installationName(m_connection);
    } catch (const DbError& e) {
        qWarning() << e.message();
    }
    return QStringLiteral("NexoFrame – helyreállító kódok\n\nFelhasználó: %1\nTelepítés: %2\nKészült: %3\n\n"
                          "Mindegyik kód egyszer használható belépéskor a hitelesítő alkalmazás kódja helyett.\n"
                          "Új titkos kulcs készítésekor ezek a kódok érvényüket vesztik.\n\n%4\n")
        .arg(m_userName, installation, now().toString(DateFormats::kMinute), m_codes.join(QLatin1Char('\n')));
}

bool TwoStepDialog::saveCodes(const QString& path)
{
    QString file = path;
    if (file.isEmpty())
        file = QFileDialog::getSaveFileName(this, QStringLiteral("Helyreállító kódok mentése"),
                                            QStringLiteral("helyreallito-kodok.txt"), QStringLiteral("Szövegfájl (*.txt)"));
    if (file.isEmpty()) return false;
    QSaveFile out(file);
    if (!out.open(QIODevice::WriteOnly | QIODevice::Text) || out.write(codesText().toUtf8()) < 0 || !out.commit()) {
        showMessage(QStringLiteral("A helyreállító kódok nem menthetők ide: %1 (%2)").arg(file, out.errorString()));
        return false;
    }
    showMessage(QString());
    return true;
}

bool TwoStepDialog::printCodes()
{
    QPrinter printer;
    QPrintDialog ask(&printer, this);
    ask.setWindowTitle(QStringLiteral("Helyreállító kódok nyomtatása"));
    if (ask.exec() != QDialog::Accepted) return false;
    QTextDocument document;
    document.setDefaultFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    document.setPlainText(codesText());
    document.print(&printer);
    return true;
}

bool manageTwoStep(QWidget* parent, Connection& connection, const LoginResult& user)
{
    if (!Notices::allowed(parent, connection, user.userId, kTwoStepRight, QStringLiteral("a kétlépcsős azonosítás beállításához")))
        return false;
    TwoStepDialog dialog(connection, user.userId, user.userName, nullptr, parent);
    dialog.exec();
    return true;
}

bool enrolAtLogin(QWidget* parent, Connection& connection, LoginResult& user, LoginGuard& guard)
{
    TwoStepDialog dialog(connection, user.userId, user.userName, &guard, parent);
    QString because;
    try {
        because = TwoStep::requiredBecause(connection, user.userId);
    } catch (const DbError& e) {
        qWarning() << e.message();
    }
    dialog.cmd_close->setText(Texts::kCancel);
    dialog.lbl_reason->setText(QStringLiteral("A(z) „%1” felhasználónak kétlépcsős azonosítással kell belépnie%2. "
                                              "A program csak a beállítása után indul tovább.")
                                   .arg(user.userName, because.isEmpty() ? QString() : QStringLiteral(", mert ") + because));
    dialog.lbl_reason->show();
    dialog.exec();
    if (!dialog.enrolledHere()) return false;
    user.secondStep = TwoStep::Need::None;
    return true;
}

} // namespace NexoFrame::Shell
