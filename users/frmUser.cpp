#include "frmUser.h"
#include "Access.h"
#include "Connection.h"
#include "Secrets.h"
#include "ControlUtils.h"
#include "DateFormats.h"
#include "ErrorList.h"
#include "Module.h"
#include "ModuleTexts.h"
#include "QuickPick.h"
#include "RightsKeys.h"
#include "SettingKeys.h"
#include "cDDXUser.h"
#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>

namespace NexoFrame {

const QString frmUser::kKey1 = QStringLiteral("tazeq3wnk8");
const QString frmUser::kKey2 = QStringLiteral("prvd57gh2eb");

namespace {

cDDXUser* user(const EditDialog* d) { return static_cast<cDDXUser*>(d->oData()); }

QDateEdit* dateBox(QWidget* parent, const char* name)
{
    auto* box = new QDateEdit(parent);
    box->setObjectName(QString::fromLatin1(name));
    box->setCalendarPopup(true);
    box->setDisplayFormat(DateFormats::kDayPlain);
    return box;
}

} // namespace

frmUser::frmUser(QWidget* parent) : EditDialog(QStringLiteral("NexoFrame.frmUser"), QStringLiteral("Felhasználó"), parent)
{
    cmd_ok->setText(ModuleTexts::kSave);
    const cDDXUser probe;
    auto len = [&](const char* column) { return probe.columnLength(QString::fromLatin1(column)); };
    auto text = [&](const QString& caption, const char* name, const char* column) {
        return addText(caption, QString::fromLatin1(name), len(column));
    };

    addSection(QStringLiteral("Felhasználó"), QStringLiteral("ShortcutCaption1"));
    cbo_user_group_id = addCombo(QStringLiteral("Felhasználó csoport:"), QStringLiteral("cbo_user_group_id"));
    txt_user_name = text(QStringLiteral("Felhasználó név:"), "txt_user_name", "user_name");
    txt_display_name = text(QStringLiteral("Teljes név:"), "txt_display_name", "display_name");
    txt_abbreviation = text(QStringLiteral("Rövidítés:"), "txt_abbreviation", "abbreviation");
    txt_assignment = text(QStringLiteral("Beosztás:"), "txt_assignment", "assignment");
    txt_email = text(QStringLiteral("E-mail:"), "txt_email", "email");
    chk_access_denied = addCheck(QStringLiteral("Belépés tiltva:"), QStringLiteral("chk_access_denied"));
    txt_remark = new QPlainTextEdit(this);
    txt_remark->setObjectName(QStringLiteral("txt_remark"));
    txt_remark->setFixedHeight(50);
    form()->addRow(ModuleTexts::kRemarkLabel, txt_remark);

    addSection(QStringLiteral("Jelszóbeállítás"), QStringLiteral("ShortcutCaption2"));
    txt_password = text(QStringLiteral("Jelszó:"), "txt_password", "password");
    txt_password_2 = text(QStringLiteral("Jelszó megerősítése:"), "txt_password_2", "password");
    for (QLineEdit* box : {txt_password, txt_password_2}) box->setEchoMode(QLineEdit::Password);

    addSection(QStringLiteral("Útnyilvántartási adatok"), QStringLiteral("ShortcutCaption3"));
    qpi_mh_isz = new Controls::QuickPick(this);
    qpi_mh_isz->setObjectName(QStringLiteral("qpi_mh_isz"));
    form()->addRow(QStringLiteral("&Irányítószám:"), qpi_mh_isz);
    txt_mh_varos = text(QStringLiteral("&Város:"), "txt_mh_varos", "city");
    txt_mh_utca = text(QStringLiteral("&Cím:"), "txt_mh_utca", "street");
    auto pair = [&](const QString& caption, QLineEdit*& number, const char* name, const char* column, QDateEdit*& date,
                    const char* dateName) {
        auto* row = new QHBoxLayout;
        number = new QLineEdit(this);
        number->setObjectName(QString::fromLatin1(name));
        number->setMaxLength(len(column));
        date = dateBox(this, dateName);
        row->addWidget(number, 1);
        row->addWidget(new QLabel(QStringLiteral("Lejárat:"), this));
        row->addWidget(date);
        form()->addRow(caption, row);
    };
    pair(QStringLiteral("Szig. szám:"), txt_identity_card_number, "txt_identity_card_number", "identity_card_number",
         dtb_identity_card_expiration, "dtb_identity_card_expiration");
    pair(QStringLiteral("Jogosítvány:"), txt_drivers_license_number, "txt_drivers_license_number", "drivers_license_number",
         dtb_drivers_license_expiration, "dtb_drivers_license_expiration");
    chk_is_driver = addCheck(QStringLiteral("Gépjárművezető:"), QStringLiteral("chk_is_driver"));
    txt_phone = text(QStringLiteral("Telefon:"), "txt_phone", "phone");
    txt_mobil = text(QStringLiteral("Mobil:"), "txt_mobil", "mobil");
    txt_fax = text(QStringLiteral("Fax:"), "txt_fax", "fax");
    txt_tax_number = text(QStringLiteral("Adó azonosító:"), "txt_tax_number", "tax_number");
    connect(qpi_mh_isz, &Controls::QuickPick::picked, this, &frmUser::zipcodePicked);
    resize(560, sizeHint().height());
}

bool frmUser::InitializeControls()
{
    Connection* c = module().connection();
    auto groups = c->openRecordset(Tables::UserGroup);
    ComboFill(cbo_user_group_id, *groups, QStringLiteral("name"), QStringLiteral("id"), QStringLiteral("name"), false);
    ComboSelectFirst(cbo_user_group_id);
    qpi_mh_isz->setConnection(c);
    qpi_mh_isz->setLookup(Tables::Zipcode, QStringLiteral("zipcode"), QStringLiteral("city"));
    return true;
}

void frmUser::zipcodePicked(const QString& zipcode)
{
    trap("qpi_mh_isz_Picked", [&] {
        Connection* c = module().connection();
        if (c->seek(Tables::Zipcode, QStringLiteral("PrimaryKey"), {zipcode}))
            txt_mh_varos->setText(c->browseRecordset(Tables::Zipcode).field(QStringLiteral("city")).toString());
        return true;
    });
}

bool frmUser::DisplayData()
{
    cDDXUser* u = user(this);
    ComboSelectByData(cbo_user_group_id, u->user_group_id());
    txt_user_name->setText(u->user_name());
    txt_display_name->setText(u->display_name());
    txt_abbreviation->setText(u->abbreviation());
    txt_assignment->setText(u->assignment());
    txt_email->setText(u->email());
    CheckSet(chk_access_denied, u->access_denied());
    txt_remark->setPlainText(u->remark());
    const QString shown = Secrets::ciphered(u->password(), kKey1, kKey2);
    txt_password->setText(shown);
    txt_password_2->setText(shown);
    qpi_mh_isz->setText(u->zipcode());
    txt_mh_varos->setText(u->city());
    txt_mh_utca->setText(u->street());
    txt_identity_card_number->setText(u->identity_card_number());
    dtb_identity_card_expiration->setDate(u->identity_card_expiration().date());
    txt_drivers_license_number->setText(u->drivers_license_number());
    dtb_drivers_license_expiration->setDate(u->drivers_license_expiration().date());
    CheckSet(chk_is_driver, u->is_driver());
    txt_phone->setText(u->phone());
    txt_mobil->setText(u->mobil());
    txt_fax->setText(u->fax());
    txt_tax_number->setText(u->tax_number());
    // Without the right the password is only seen masked and cannot be changed.
    const bool mayChange =
        rightsTest(*module().connection(), module().currentUserId(), RightsKeys::kUserChangePassword);
    // A user read from the directory has his name, e-mail, phone and password there: the sync
    // writes them, and his password is never kept here.
    const bool fromDirectory = !u->value(QStringLiteral("directory_dn")).toString().isEmpty();
    for (QLineEdit* box : {txt_user_name, txt_display_name, txt_email, txt_phone}) box->setReadOnly(fromDirectory);
    txt_password->setEnabled(mayChange && !fromDirectory);
    txt_password_2->setEnabled(mayChange && !fromDirectory);
    if (fromDirectory)
        for (QLineEdit* box : {txt_password, txt_password_2}) {
            box->clear();
            box->setPlaceholderText(QStringLiteral("a címtárban"));
        }
    return true;
}

bool frmUser::GetData()
{
    cDDXUser* u = user(this);
    // Compared exactly as typed: a difference in letter case is a difference. Nothing is
    // taken then.
    bool ok = true;
    const bool fromDirectory = !u->value(QStringLiteral("directory_dn")).toString().isEmpty();
    if (!fromDirectory && txt_password_2->text() != txt_password->text()) {
        AddError(eError, kFieldCheckNumber, QStringLiteral("Az új jelszó és a megerősítése nem azonos!"));
        ok = false;
    }
    // Only a password typed now must be long enough: an old short one that is saved again
    // unchanged (say by someone who may not change passwords) is not refused.
    const int minimum =
        module().connection()->settings().read(SettingKeys::kMainframe, SettingKeys::kMinPasswordLength, QStringLiteral("0")).trimmed().toInt();
    const bool typed = u->ItemStatus() == IsNew || txt_password->text() != Secrets::ciphered(u->password(), kKey1, kKey2);
    if (!fromDirectory && minimum > 0 && typed && txt_password->text().size() < minimum) {
        AddError(eError, kFieldCheckNumber, QStringLiteral("A jelszónak legalább %1 karakter hosszúnak kell lennie!").arg(minimum));
        ok = false;
    }
    if (!ok) {
        ShowErrorList(QStringLiteral("Hiba lista"));
        return false;
    }
    auto cut = [&](const QLineEdit* box, const char* column) { return textOf(box, u->columnLength(QString::fromLatin1(column))); };
    u->set_user_group_id(ComboGetData(cbo_user_group_id, -1));
    u->set_user_name(cut(txt_user_name, "user_name"));
    u->set_display_name(cut(txt_display_name, "display_name"));
    u->set_abbreviation(cut(txt_abbreviation, "abbreviation"));
    u->set_assignment(cut(txt_assignment, "assignment"));
    u->set_email(cut(txt_email, "email"));
    u->set_access_denied(CheckGet(chk_access_denied));
    u->set_remark(txt_remark->toPlainText().trimmed().left(u->columnLength(QStringLiteral("remark"))));
    u->set_zipcode(qpi_mh_isz->text().trimmed().left(u->columnLength(QStringLiteral("zipcode"))));
    u->set_city(cut(txt_mh_varos, "city"));
    u->set_street(cut(txt_mh_utca, "street"));
    u->set_identity_card_number(cut(txt_identity_card_number, "identity_card_number"));
    u->set_identity_card_expiration(dtb_identity_card_expiration->date().startOfDay());
    u->set_drivers_license_number(cut(txt_drivers_license_number, "drivers_license_number"));
    u->set_drivers_license_expiration(dtb_drivers_license_expiration->date().startOfDay());
    u->set_is_driver(CheckGet(chk_is_driver));
    u->set_phone(cut(txt_phone, "phone"));
    u->set_mobil(cut(txt_mobil, "mobil"));
    u->set_fax(cut(txt_fax, "fax"));
    u->set_tax_number(cut(txt_tax_number, "tax_number"));
    if (!fromDirectory) u->set_password(Secrets::ciphered(txt_password->text(), kKey1, kKey2));
    return true;
}

bool frmUser::AfterSave()
{
    if (!CheckGet(chk_is_driver)) return true;
    if (user(this)->LinkPartner()) return true;
    ShowErrorList(QStringLiteral("Hiba lista"));
    return false;
}

} // namespace NexoFrame
