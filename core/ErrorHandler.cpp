#include "ErrorHandler.h"
#include "Module.h"
#include "Texts.h"
#include "cMessage2.h"

#include <QFont>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>
#include <exception>
#include <optional>

namespace NexoFrame {

ErrorHandler::ErrorHandler(QWidget* parent)
    : QDialog(parent)
{
    setObjectName(QStringLiteral("ErrorHandler"));
    setWindowTitle(QStringLiteral("Hibakezelő"));
    setModal(true);
    setWindowFlags(Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint
                   | Qt::WindowCloseButtonHint);

    pctIco = new QLabel(this);
    pctIco->setObjectName(QStringLiteral("pctIco"));
    const int iconPx = style()->pixelMetric(QStyle::PM_MessageBoxIconSize, nullptr, this);
    pctIco->setPixmap(style()->standardIcon(QStyle::SP_MessageBoxCritical, nullptr, this)
                          .pixmap(iconPx, iconPx));
    pctIco->setAlignment(Qt::AlignTop);

    lblMessage = new QLabel(Texts::kUnexpectedError, this);
    lblMessage->setObjectName(QStringLiteral("lblMessage"));
    QFont bold = lblMessage->font();
    bold.setBold(true);
    lblMessage->setFont(bold);

    auto makeValue = [this](const char* name) {
        auto* label = new QLabel(this);
        label->setObjectName(QLatin1String(name));
        label->setTextFormat(Qt::PlainText);
        label->setWordWrap(true);
        label->setTextInteractionFlags(Qt::TextSelectableByMouse);
        label->setMinimumWidth(320);
        return label;
    };
    lblSource = makeValue("lblSource");
    lblNumber = makeValue("lblNumber");
    lblDescription = makeValue("lblDescription");

    auto* details = new QGridLayout;
    details->addWidget(new QLabel(QStringLiteral("Forrás:"), this), 0, 0, Qt::AlignTop);
    details->addWidget(lblSource, 0, 1);
    details->addWidget(new QLabel(QStringLiteral("Hibaszám:"), this), 1, 0, Qt::AlignTop);
    details->addWidget(lblNumber, 1, 1);
    details->addWidget(new QLabel(QStringLiteral("Leírás:"), this), 2, 0, Qt::AlignTop);
    details->addWidget(lblDescription, 2, 1);
    details->setColumnStretch(1, 1);

    auto* text = new QVBoxLayout;
    text->addWidget(lblMessage);
    text->addLayout(details);

    auto* top = new QHBoxLayout;
    top->addWidget(pctIco, 0, Qt::AlignTop);
    top->addLayout(text, 1);

    auto makeButton = [this](const char* name, const QString& caption, HandlerAction action) {
        auto* button = new QPushButton(caption, this);
        button->setObjectName(QLatin1String(name));
        connect(button, &QPushButton::clicked, this, [this, action] {
            m_action = action;
            accept();
        });
        return button;
    };
    cmdRetry = makeButton("cmdRetry", QStringLiteral("Újra"), HandlerAction::Retry);
    cmdResume = makeButton("cmdResume", QStringLiteral("Folytatás"), HandlerAction::Resume);
    cmdLeave = makeButton("cmdLeave", QStringLiteral("Kilépés"), HandlerAction::Leave);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(cmdRetry);
    buttons->addWidget(cmdResume);
    buttons->addWidget(cmdLeave);
    buttons->addStretch(1);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addSpacing(8);
    layout->addLayout(buttons);
    layout->setSizeConstraint(QLayout::SetFixedSize);
}

ErrorHandler::~ErrorHandler() = default;

HandlerAction ErrorHandler::show(const RuntimeError& error)
{
    ArrowCursorScope cursor;
    lblSource->setText(error.source());
    lblNumber->setText(QString::number(error.number()));
    lblDescription->setText(error.description());
    m_action = HandlerAction::Leave;
    cmdLeave->setFocus();
    exec();
    return m_action;
}

StepRunner::StepRunner(QString source, std::function<void()> onError)
    : m_source(std::move(source)), m_onError(std::move(onError))
{
}

bool StepRunner::step(const std::function<void()>& fn)
{
    if (m_left)
        return false;
    for (;;) {
        std::optional<RuntimeError> error;
        try {
            fn();
            return true;
        } catch (const RuntimeError& e) {
            error = e;
        } catch (const std::exception& e) {
            error = RuntimeError(QString::fromUtf8(e.what()));
        } catch (...) {
            error = RuntimeError(QStringLiteral("Ismeretlen hiba."));
        }

        if (m_onError) {
            // The clean-up must not hide the error the user is about to see.
            try {
                m_onError();
            } catch (...) {
            }
        }
        error->setSource(m_source);

        switch (module().errorHandler().show(*error)) {
        case HandlerAction::Retry:
            continue;
        case HandlerAction::Resume:
            return true;
        case HandlerAction::Leave:
            break;
        }
        m_left = true;
        return false;
    }
}

} // namespace NexoFrame
