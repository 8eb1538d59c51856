#include "EditDialog.h"
#include "ControlUtils.h"
#include "ErrorList.h"
#include "Module.h"
#include "ModuleTexts.h"
#include "Record.h"
#include "cMessage2.h"
#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QLabel>
#include <QSpinBox>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>
#include <limits>

namespace NexoFrame {

EditDialog::EditDialog(const QString& formName, const QString& title, QWidget* parent)
    : QDialog(parent), m_formName(formName)
{
    Module::objectCreated();
    setWindowTitle(title);
    setModal(true);
    auto* outer = new QVBoxLayout(this);
    m_form = new QFormLayout;
    outer->addLayout(m_form);
    outer->addStretch();
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    cmd_ok = new QPushButton(QStringLiteral("&OK"), this);
    cmd_ok->setObjectName(QStringLiteral("cmd_ok"));
    cmd_cancel = new QPushButton(ModuleTexts::kCancel, this);
    cmd_cancel->setObjectName(QStringLiteral("cmd_cancel"));
    // Plain Enter must not press a button: only Ctrl+Enter saves.
    for (QPushButton* b : {cmd_ok, cmd_cancel}) {
        b->setAutoDefault(false);
        b->setDefault(false);
        buttons->addWidget(b);
    }
    outer->addLayout(buttons);
    connect(cmd_ok, &QPushButton::clicked, this, [this] { DoOK(); });
    connect(cmd_cancel, &QPushButton::clicked, this, [this] { cancel(); });
    resize(460, sizeHint().height());
    PrepareForm(this);
}

EditDialog::~EditDialog() { Module::objectDestroyed(); }

bool EditDialog::trap(const char* step, const std::function<bool()>& fn)
{
    try {
        return fn();
    } catch (const std::exception& e) {
        module().message().MsgError(QStringLiteral("A művelet végrehajtása közben hiba keletkezett!"),
                                    m_formName + QLatin1Char(' ') + QString::fromLatin1(step) + QStringLiteral(": ")
                                        + QString::fromUtf8(e.what()));
        return false;
    }
}

bool EditDialog::Initialize()
{
    return trap("Initialize", [this] {
        m_returnValue = rvCancel;
        bool ok = true;
        if (m_data) {
            ok = trap("InitializeControls", [this] { return InitializeControls(); })
                && trap("DisplayData", [this] { return DisplayData(); });
        }
        while (QGuiApplication::overrideCursor()) QGuiApplication::restoreOverrideCursor();
        return ok;
    });
}

bool EditDialog::SaveData()
{
    return trap("SaveData", [this] {
        if (!m_data->SetFinal()) return false;
        m_data->SetModified();
        if (!m_data->CoreUpdate()) {
            ShowErrorList(QStringLiteral("Hiba lista"));
            return false;
        }
        return true;
    });
}

void EditDialog::DoOK()
{
    trap("DoOK", [this] {
        if (!m_data) return false;
        if (!trap("GetData", [this] { return GetData(); })) return false;
        if (!SaveData()) {
            ShowErrorList(QStringLiteral("Hiba lista"));
            return false;
        }
        // Saved: the dialog ends with OK even when the step after the save fails.
        m_returnValue = rvOK;
        trap("AfterSave", [this] { return AfterSave(); });
        hide();
        done(QDialog::Accepted);
        return true;
    });
}

void EditDialog::cancel()
{
    hide();
    done(QDialog::Rejected);
}

void EditDialog::keyPressEvent(QKeyEvent* e)
{
    const bool enter = e->key() == Qt::Key_Return || e->key() == Qt::Key_Enter;
    if (enter && (e->modifiers() & Qt::ControlModifier)) {
        e->accept();
        DoOK();
        return;
    }
    if (e->key() == Qt::Key_Escape && e->modifiers() == Qt::NoModifier) {
        e->accept();
        cancel();
        return;
    }
    if (enter) {
        // Enter alone stays with the controls.
        e->accept();
        return;
    }
    QDialog::keyPressEvent(e);
}

template <class Field>
Field* EditDialog::addField(const QString& label, const QString& objectName)
{
    auto* box = new Field(this);
    box->setObjectName(objectName);
    m_form->addRow(label, box);
    return box;
}

QLineEdit* EditDialog::addText(const QString& label, const QString& objectName, int maxLength, bool readOnly)
{
    auto* box = addField<QLineEdit>(label, objectName);
    if (maxLength > 0) box->setMaxLength(maxLength);
    box->setReadOnly(readOnly);
    return box;
}

QCheckBox* EditDialog::addCheck(const QString& label, const QString& objectName)
{
    return addField<QCheckBox>(label, objectName);
}

QSpinBox* EditDialog::addNumber(const QString& label, const QString& objectName)
{
    auto* box = addField<QSpinBox>(label, objectName);
    box->setRange(std::numeric_limits<int>::min(), std::numeric_limits<int>::max());
    box->setMaximumWidth(140);
    return box;
}

QComboBox* EditDialog::addCombo(const QString& label, const QString& objectName)
{
    return addField<QComboBox>(label, objectName);
}

QLabel* EditDialog::addSection(const QString& caption, const QString& objectName)
{
    auto* head = new QLabel(caption, this);
    head->setObjectName(objectName);
    QFont f = head->font();
    f.setBold(true);
    head->setFont(f);
    if (m_form->rowCount() > 0) head->setContentsMargins(0, 8, 0, 0);
    m_form->addRow(head);
    return head;
}

QString EditDialog::textOf(const QLineEdit* box, int maxLength)
{
    QString t = box->text().trimmed();
    return maxLength > 0 ? t.left(maxLength) : t;
}

} // namespace NexoFrame
