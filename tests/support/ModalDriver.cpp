#include "ModalDriver.h"

#include <QAbstractButton>
#include <QApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QLabel>
#include <QList>
#include <QPointer>
#include <QStringList>
#include <QTest>
#include <QTimer>
#include <QWidget>

namespace NexoFrame {

namespace {

constexpr int kPollMs = 10;
constexpr int kUnansweredMs = 10000;

class ModalDriverImpl : public QObject {
public:
    explicit ModalDriverImpl(QObject* parent)
        : QObject(parent)
    {
        m_timer.setInterval(kPollMs);
        connect(&m_timer, &QTimer::timeout, this, &ModalDriverImpl::poll);
        // Always on, so that a dialog no test answers is noticed too.
        m_timer.start();
    }

    void enqueue(ModalAction action, int timeoutMs)
    {
        if (m_queue.isEmpty())
            m_headSince.start();
        m_queue.append({std::move(action), timeoutMs});
    }

    int pending() const { return int(m_queue.size()); }
    int expired() const { return m_expired; }

    void reset()
    {
        m_queue.clear();
        m_expired = 0;
        forgetAnswered();
        m_unanswered = nullptr;
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (watched == m_answered && event->type() == QEvent::Hide)
            m_answeredHidden = true;
        return QObject::eventFilter(watched, event);
    }

private:
    struct Pending {
        ModalAction action;
        int timeoutMs;
    };

    void forgetAnswered()
    {
        if (m_answered)
            m_answered->removeEventFilter(this);
        m_answered = nullptr;
        m_answeredHidden = false;
    }

    void poll()
    {
        QWidget* dialog = QApplication::activeModalWidget();
        if (dialog && !dialog->isVisible())
            dialog = nullptr;
        // Once another dialog has been over the answered one (or it has gone), the answered
        // one may take the next answer: a form that stays open after its error list closed.
        if (dialog != m_answered)
            forgetAnswered();

        if (!m_queue.isEmpty()) {
            const bool alreadyAnswered = dialog && dialog == m_answered && !m_answeredHidden;
            if (dialog && !alreadyAnswered) {
                answer(dialog);
                m_unanswered = nullptr;
                return;
            }
            if (m_headSince.elapsed() > m_queue.first().timeoutMs) {
                m_queue.removeFirst();
                m_headSince.start();
                ++m_expired;
                fail(QStringLiteral("no dialog came up for a queued answer"));
            }
        }

        // A dialog nobody answers would hang the test: close it after a while and fail.
        if (!dialog) {
            m_unanswered = nullptr;
        } else if (dialog != m_unanswered) {
            m_unanswered = dialog;
            m_unansweredSince.start();
        } else if (m_unansweredSince.elapsed() > kUnansweredMs) {
            fail(QStringLiteral("closed a dialog left without an answer: %1 \"%2\" %3")
                     .arg(dialog->objectName(), dialog->windowTitle(),
                          dialogText(dialog).replace(QLatin1Char('\n'), QLatin1Char(' '))));
            m_unanswered = nullptr;
            dialog->close();
            if (dialog->isVisible())
                dialog->hide();
        }
    }

    void answer(QWidget* dialog)
    {
        Pending next = m_queue.takeFirst();
        m_headSince.start();
        forgetAnswered();
        m_answered = dialog;
        dialog->installEventFilter(this);

        // Run from a posted event, not from this timer's slot: an action that opens a further
        // dialog blocks in that dialog's event loop, and the timer must keep firing there.
        QPointer<QWidget> target(dialog);
        QMetaObject::invokeMethod(
            this,
            [target, action = std::move(next.action)] {
                if (target)
                    action(target);
                else
                    qWarning("ModalDriver: the dialog was gone before its answer ran");
            },
            Qt::QueuedConnection);
    }

    static void fail(const QString& message)
    {
        const QByteArray text = "ModalDriver: " + message.toUtf8();
        if (QTest::currentTestFunction())
            QTest::qFail(text.constData(), __FILE__, __LINE__);
        else
            qWarning("%s", text.constData());
    }

    QTimer m_timer;
    QList<Pending> m_queue;
    QElapsedTimer m_headSince;
    QPointer<QWidget> m_answered;
    bool m_answeredHidden = false;
    QPointer<QWidget> m_unanswered;
    QElapsedTimer m_unansweredSince;
    int m_expired = 0;
};

ModalDriverImpl* driver()
{
    static QPointer<ModalDriverImpl> instance;
    if (!instance)
        instance = new ModalDriverImpl(QCoreApplication::instance());
    return instance;
}

// Watch from the first event loop on, before a test queues its first answer. The
// application is still being constructed here, so the driver is made a little later.
void startDriver()
{
    QMetaObject::invokeMethod(
        QCoreApplication::instance(),
        [] {
            if (qobject_cast<QApplication*>(QCoreApplication::instance()))
                driver();
        },
        Qt::QueuedConnection);
}
Q_COREAPP_STARTUP_FUNCTION(startDriver)

QString withoutMnemonics(QString text)
{
    // "&&" is a literal ampersand; a single '&' only marks the shortcut letter.
    text.replace(QLatin1String("&&"), QChar(0x1));
    text.remove(QLatin1Char('&'));
    text.replace(QChar(0x1), QLatin1Char('&'));
    return text;
}

} // namespace

void onNextModal(ModalAction action, int timeoutMs)
{
    driver()->enqueue(std::move(action), timeoutMs);
}

void answerNextModal(const QString& objectNameOrText, int timeoutMs)
{
    onNextModal([objectNameOrText](QWidget* dlg) { clickButton(dlg, objectNameOrText); },
                timeoutMs);
}

void closeNextModal(int timeoutMs)
{
    onNextModal([](QWidget* dlg) { dlg->close(); }, timeoutMs);
}

int pendingModalActions()
{
    return driver()->pending();
}

int expiredModalActions()
{
    return driver()->expired();
}

void resetModalDriver()
{
    driver()->reset();
}

QAbstractButton* findButton(QWidget* dlg, const QString& objectNameOrText)
{
    if (!dlg)
        return nullptr;
    const QList<QAbstractButton*> buttons = dlg->findChildren<QAbstractButton*>();
    for (QAbstractButton* b : buttons) {
        if (b->objectName() == objectNameOrText && b->isVisibleTo(dlg))
            return b;
    }
    const QString wanted = withoutMnemonics(objectNameOrText);
    for (QAbstractButton* b : buttons) {
        if (withoutMnemonics(b->text()) == wanted && b->isVisibleTo(dlg))
            return b;
    }
    return nullptr;
}

bool clickButton(QWidget* dlg, const QString& objectNameOrText)
{
    if (QAbstractButton* b = findButton(dlg, objectNameOrText)) {
        b->click();
        return true;
    }
    QStringList shown;
    if (dlg) {
        for (QAbstractButton* b : dlg->findChildren<QAbstractButton*>()) {
            if (b->isVisibleTo(dlg))
                shown << QStringLiteral("%1 \"%2\"").arg(b->objectName(), b->text());
        }
    }
    qWarning("ModalDriver: no button \"%s\" on %s; it shows: %s", qPrintable(objectNameOrText),
             dlg ? qPrintable(dlg->objectName()) : "no dialog", qPrintable(shown.join(", ")));
    return false;
}

QString dialogText(QWidget* dlg)
{
    QStringList texts;
    if (dlg) {
        for (QLabel* label : dlg->findChildren<QLabel*>()) {
            if (label->isVisibleTo(dlg) && !label->text().isEmpty())
                texts << label->text();
        }
    }
    return texts.join(QLatin1Char('\n'));
}

} // namespace NexoFrame
