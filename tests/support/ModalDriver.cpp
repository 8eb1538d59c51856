#include "ModalDriver.h"

#include <QAbstractButton>
#include <QApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QLabel>
#include <QList>
#include <QPointer>
#include <QStringList>
#include <QTimer>
#include <QWidget>

namespace NexoFrame {

namespace {

constexpr int kPollMs = 10;

class ModalDriverImpl : public QObject {
public:
    explicit ModalDriverImpl(QObject* parent)
        : QObject(parent)
    {
        m_timer.setInterval(kPollMs);
        connect(&m_timer, &QTimer::timeout, this, &ModalDriverImpl::poll);
    }

    void enqueue(ModalAction action, int timeoutMs)
    {
        if (m_queue.isEmpty())
            m_headSince.start();
        m_queue.append({std::move(action), timeoutMs});
        m_timer.start();
    }

    int pending() const { return int(m_queue.size()); }
    int expired() const { return m_expired; }

    void reset()
    {
        m_queue.clear();
        m_expired = 0;
        forgetAnswered();
        m_timer.stop();
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
        if (m_queue.isEmpty()) {
            m_timer.stop();
            return;
        }
        QWidget* dialog = QApplication::activeModalWidget();
        const bool alreadyAnswered = dialog == m_answered && !m_answeredHidden;
        if (!dialog || !dialog->isVisible() || alreadyAnswered) {
            if (m_headSince.elapsed() > m_queue.first().timeoutMs) {
                m_queue.removeFirst();
                m_headSince.start();
                ++m_expired;
                qWarning("ModalDriver: no modal dialog appeared for a queued answer; dropped it");
            }
            return;
        }

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

    QTimer m_timer;
    QList<Pending> m_queue;
    QElapsedTimer m_headSince;
    QPointer<QWidget> m_answered;
    bool m_answeredHidden = false;
    int m_expired = 0;
};

ModalDriverImpl* driver()
{
    static QPointer<ModalDriverImpl> instance;
    if (!instance)
        instance = new ModalDriverImpl(QCoreApplication::instance());
    return instance;
}

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
